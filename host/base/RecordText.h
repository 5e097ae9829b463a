#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

// The columns of a record: of the file that a run writes, and of what is taken out of a history.

/// The line with the columns' names, without its end. Units stand behind set point and actual value: one that
/// all controllers share, or each controller's. `controllers` are their names and units.
std::string recordHeader(const std::vector<std::pair<std::string, std::string>>& controllers);

/// What one line says.
struct SRecordRow
{
    const std::string& controller;
    double setPoint;
    double actualValue;
    double controlValue;
    bool enabled;
    bool manual;
    const std::string& state;
};

/// A line with its end. `time` is a text of utcText().
std::string recordRow(const std::string& time, const SRecordRow& row);

} // namespace Rvl
