#pragma once

#include <string>
#include <vector>

namespace Rvl {

/// Text in aligned columns, two blanks apart, under a line of headings.
class CTextTable
{
public:
    explicit CTextTable(std::vector<std::string> headings);

    /// A row; it has as many cells as there are headings.
    void add(std::vector<std::string> cells);
    /// The headings and the rows, without blanks at the ends of lines.
    std::vector<std::string> lines() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

/// The number of characters of a UTF-8 text, which is what it takes on a screen.
std::size_t characterCount(const std::string& utf8);
/// The text's first characters, at most `count`.
std::string firstCharacters(const std::string& utf8, std::size_t count);

} // namespace Rvl
