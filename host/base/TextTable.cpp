#include "host/base/TextTable.h"

#include <algorithm>

namespace Rvl {

namespace {

bool startsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

} // namespace

CTextTable::CTextTable(std::vector<std::string> headings)
{
    rows_.push_back(std::move(headings));
}

void CTextTable::add(std::vector<std::string> cells)
{
    rows_.push_back(std::move(cells));
}

std::vector<std::string> CTextTable::lines() const
{
    std::vector<std::size_t> widths(rows_.front().size());
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], characterCount(row[column]));
        }
    }
    std::vector<std::string> result;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < widths.size(); ++column) {
            line += row[column] + std::string(widths[column] - characterCount(row[column]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        result.push_back(line);
    }
    return result;
}

std::size_t characterCount(const std::string& utf8)
{
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), startsCharacter));
}

std::string firstCharacters(const std::string& utf8, std::size_t count)
{
    std::size_t characters = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if (startsCharacter(utf8[i]) && characters++ == count) {
            return utf8.substr(0, i);
        }
    }
    return utf8;
}

} // namespace Rvl
