#include "host/configuration/Windup.h"

#include "host/base/NumberText.h"

#include <algorithm>
#include <cmath>

namespace Rvl {

SWindup windupOf(double integral_s, double tracking_s, double sample_ms)
{
    const double tracking = tracking_s == 0 ? 0.8 * integral_s : tracking_s;
    const double step = std::max(std::trunc(sample_ms), 20.0) / 1000.0;
    if (integral_s == 0 || tracking < 0 || !(step > tracking / 2)) {
        return {};
    }
    const std::string trackingText =
        "the tracking time of " + shortText(tracking) + " s" +
        (tracking_s == 0 ? ", which is 0.8 times the integral time" : std::string());
    const std::string stepText = "a sample time of " + shortText(step * 1000) + " ms";
    const bool unstable = step > 2 * tracking;
    // the largest sample time that is allowed counts only if it is one that a loop can have
    const double largest = std::floor(tracking * 1000 * (unstable ? 2.0 : 0.5));
    const std::string smallest = "Tt of " + shortText(step * (unstable ? 0.5 : 2.0)) + " s or more";
    const std::string expected =
        (largest >= 20 ? "a sample time of " + shortText(largest) + " ms or less, or " : std::string()) +
        "a " + smallest;
    if (unstable) {
        return {SWindup::RunsAway, stepText + " is above twice " + trackingText +
                                       ": the anti-windup runs away; expected " + expected};
    }
    return {SWindup::Overshoots, stepText + " is above half of " + trackingText +
                                     ": the anti-windup overshoots; expected " + expected};
}

} // namespace Rvl
