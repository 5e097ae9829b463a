#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Rvl::Test {

/// One row of a record that the host wrote.
struct SRecordRow
{
    double time_s; ///< since the record's first row
    std::string channel;
    double setPoint;
    double actualValue;
    double controlValue;
    bool enabled;
    bool manual;
    std::string state;
};

/// Reads a record, but for the rows with which a run ends once everything is disabled. Throws
/// std::runtime_error if a row has not the fields it should have.
std::vector<SRecordRow> readRecord(const std::string& path);
/// The rows with which a run ends, one for each controller; none if it has not ended in order.
std::vector<SRecordRow> readEndOfRecord(const std::string& path);

/// The rows of one channel from a time on, in seconds.
std::vector<SRecordRow> rowsOf(const std::vector<SRecordRow>& record, const std::string& channel,
                               double from_s = 0.0);

/// The mean of a number over the rows; NaN without any.
double meanOf(const std::vector<SRecordRow>& rows, const std::function<double(const SRecordRow&)>& number);

} // namespace Rvl::Test
