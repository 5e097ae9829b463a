#include "tests/support/Record.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <stdexcept>

namespace Rvl::Test {

namespace {

/// "2026-01-31T12:34:56.789Z" as seconds since midnight; records of tests are shorter than a day.
double secondsOfDay(const std::string& time)
{
    int hours = 0;
    int minutes = 0;
    double seconds = 0.0;
    char separator = 0;
    std::istringstream clock(time.substr(time.find('T') + 1));
    clock >> hours >> separator >> minutes >> separator >> seconds;
    if (!clock || time.back() != 'Z') {
        throw std::runtime_error("not a time: " + time);
    }
    return hours * 3600.0 + minutes * 60.0 + seconds;
}

double number(const std::string& text)
{
    return text == "nan" || text == "NaN" ? std::numeric_limits<double>::quiet_NaN() : std::stod(text);
}

std::vector<SRecordRow> readRows(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) {
        throw std::runtime_error("no record in " + path);
    }
    std::vector<SRecordRow> rows;
    double start_s = 0.0;
    while (std::getline(file, line)) {
        std::vector<std::string> fields;
        std::istringstream fieldsOfLine(line);
        for (std::string field; std::getline(fieldsOfLine, field, ',');) {
            fields.push_back(field);
        }
        if (fields.size() != 8) {
            throw std::runtime_error("not a row: " + line);
        }
        double time_s = secondsOfDay(fields[0]);
        if (rows.empty()) {
            start_s = time_s;
        }
        time_s -= start_s;
        if (time_s < -43200.0) {
            time_s += 86400.0; // past midnight
        }
        rows.push_back({time_s, fields[1], number(fields[2]), number(fields[3]), number(fields[4]),
                        fields[5] == "true" || fields[5] == "1", fields[6] == "true" || fields[6] == "1",
                        fields[7]});
    }
    return rows;
}

/// Where the rows of the end begin.
std::vector<SRecordRow>::const_iterator endOf(const std::vector<SRecordRow>& rows)
{
    std::set<std::string> channels;
    for (const SRecordRow& row : rows) {
        channels.insert(row.channel);
    }
    if (rows.size() <= channels.size()) {
        return rows.end();
    }
    const auto begin = rows.end() - static_cast<std::ptrdiff_t>(channels.size());
    return std::none_of(begin, rows.end(), [](const SRecordRow& row) { return row.enabled; }) ? begin
                                                                                              : rows.end();
}

} // namespace

std::vector<SRecordRow> readRecord(const std::string& path)
{
    std::vector<SRecordRow> rows = readRows(path);
    rows.erase(endOf(rows), rows.end());
    return rows;
}

std::vector<SRecordRow> readEndOfRecord(const std::string& path)
{
    const std::vector<SRecordRow> rows = readRows(path);
    return {endOf(rows), rows.end()};
}

std::vector<SRecordRow> rowsOf(const std::vector<SRecordRow>& record, const std::string& channel,
                               double from_s)
{
    std::vector<SRecordRow> result;
    for (const SRecordRow& row : record) {
        if (row.channel == channel && row.time_s >= from_s) {
            result.push_back(row);
        }
    }
    return result;
}

double meanOf(const std::vector<SRecordRow>& rows, const std::function<double(const SRecordRow&)>& number)
{
    if (rows.empty()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    double sum = 0.0;
    for (const SRecordRow& row : rows) {
        sum += number(row);
    }
    return sum / static_cast<double>(rows.size());
}

} // namespace Rvl::Test
