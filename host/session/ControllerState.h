#pragma once

#include "common/LoopGraph.h"

#include <string>
#include <vector>

namespace Rvl {

/// Whether a controller controls, and if not, why.
enum class EHealth
{
    Ok,
    Off,      ///< not enabled
    Waiting,  ///< enabled, but has had no good actual value yet
    BadInput, ///< does what its configuration says about bad input
    Fault     ///< of one of its channels, or of its loops
};

struct SHealth
{
    EHealth kind = EHealth::Ok;
    std::string text = "ok"; ///< "ok", "off", "bad input: ..." or "fault: CHANNEL: ..."
};

/// One controller at one moment. Values are scaled ones, but for those of the loops.
struct SControllerState
{
    std::string name;
    std::string unit; ///< of set point and actual value; empty if they have none
    double setPoint = 0.0;
    double actualValue = 0.0;
    double controlValue = 0.0;
    bool enabled = false;
    bool manual = false;
    SHealth health;
    std::vector<SLoopStatus>
        loops; ///< the outermost first; empty if the channel is not made of a plug-in's loops
};

/// "off", "auto" or "manual".
inline std::string modeOf(const SControllerState& state)
{
    return !state.enabled ? "off" : state.manual ? "manual" : "auto";
}

} // namespace Rvl
