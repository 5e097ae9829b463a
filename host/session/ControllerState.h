#pragma once

#include <string>

namespace Rvl {

/// One controller at one moment, as tables, records and summaries show it. Values are scaled ones.
struct SControllerState
{
    std::string name;
    std::string unit; ///< of set point and actual value; empty if they have none
    double setPoint = 0.0;
    double actualValue = 0.0;
    double controlValue = 0.0;
    bool enabled = false;
    bool manual = false;
    std::string state; ///< "ok", "off" or "fault: ..."
};

/// "off", "auto" or "manual".
inline std::string modeOf(const SControllerState& state)
{
    return !state.enabled ? "off" : state.manual ? "manual" : "auto";
}

} // namespace Rvl
