#include "host/base/RecordText.h"

#include "host/base/CsvField.h"
#include "host/base/NumberText.h"

#include <algorithm>

namespace Rvl {

namespace {

/// The unit behind a column's name: the common one, or each controller's.
std::string unitText(const std::vector<std::pair<std::string, std::string>>& controllers)
{
    if (controllers.empty()) {
        return {};
    }
    const std::string& first = controllers.front().second;
    if (std::all_of(controllers.begin(), controllers.end(),
                    [&](const auto& controller) { return controller.second == first; })) {
        return first.empty() ? "" : " [" + first + "]";
    }
    std::string result;
    for (const auto& [name, unit] : controllers) {
        if (!unit.empty()) {
            result += (result.empty() ? "" : "; ") + name + ": " + unit;
        }
    }
    return " [" + result + "]";
}

} // namespace

std::string recordHeader(const std::vector<std::pair<std::string, std::string>>& controllers)
{
    const std::string unit = unitText(controllers);
    return "time,channel," + csvField("set point" + unit) + ',' + csvField("actual value" + unit) +
           ",control value,enabled,manual,state";
}

std::string recordRow(const std::string& time, const SRecordRow& row)
{
    return time + ',' + csvField(row.controller) + ',' + exactText(row.setPoint) + ',' +
           exactText(row.actualValue) + ',' + exactText(row.controlValue) + ',' +
           (row.enabled ? "true" : "false") + ',' + (row.manual ? "true" : "false") + ',' +
           csvField(row.state) + '\n';
}

} // namespace Rvl
