#include "host/configuration/DrivenOutput.h"

#include "host/base/NumberText.h"
#include "host/configuration/FaultText.h"

#include <cstdint>
#include <limits>

namespace Rvl {

std::string SDrivenOutput::faultOf(double value) const
{
    return range.contains(value) ? std::string()
                                 : quoted(exactText(value)) + " is outside the range of output " +
                                       quoted(range.actuator) + "; expected " + range.expected();
}

bool SDrivenOutput::isBound(const std::string& role, bool isInnermost) const
{
    return role == "minimum" || role == "maximum" || role == "level" || role == "passedSetPoint" ||
           role == "setPointMinimum" || role == "setPointMaximum" ||
           (drives == "onOff" && isInnermost && role == "disabledValue"); // for others the range says more
}

std::optional<SDrivenOutput::SEffect> SDrivenOutput::effectOf(double value) const
{
    const bool switches = drives == "onOff";
    if ((!switches && drives != "dutyCycle") || !(value < 0)) {
        return std::nullopt;
    }
    // a duty cycle is made of the lowest 32 bits, which are those of a positive number from here on
    const bool isFullPower = !switches && value < std::numeric_limits<std::int32_t>::min();
    const std::string output = "output " + quoted(range.actuator);
    const std::string effect = switches      ? ", which switches " + output + " on"
                               : isFullPower ? " so far that " + output + " makes a duty cycle of 100 of it"
                                             : ", of which " + output + " makes a duty cycle of 0";
    return SEffect{"lets the control value be negative" + effect + "; expected 0 or more", isFullPower};
}

bool SControllerLoops::passesSetPoint() const
{
    return reachesOutputs(0) && types.front()->keyOfRole("passedSetPoint");
}

bool SControllerLoops::reachesOutputs(std::size_t loop) const
{
    for (std::size_t inner = loop + 1; inner < types.size(); ++inner) {
        if (!types[inner]->keyOfRole("passedSetPoint")) {
            return false;
        }
    }
    return loop < types.size();
}

} // namespace Rvl
