#pragma once

#include <string>

namespace Rvl {

/// What the anti-windup of a PID loop does with its times.
struct SWindup
{
    enum eKind
    {
        Sound,
        Overshoots, ///< stable, but beyond the limit to the other side
        RunsAway
    };

    eKind kind = Sound;
    std::string text; ///< what is wrong, and what is expected; empty if sound
};

/// The back-calculation moves the integral by the share step / tracking time of what is beyond the limit:
/// above a share of 1/2 it overshoots, above 2 it grows. Times as a loop is given them: integral and tracking
/// time in s (a tracking time of 0 stands for 0.8 times the integral time), the sample time in ms, of which
/// less than 20 counts as 20. Without integral action, and for a negative tracking time, there is none.
SWindup windupOf(double integral_s, double tracking_s, double sample_ms);

} // namespace Rvl
