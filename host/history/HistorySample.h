#pragma once

#include "host/session/ControllerState.h"

#include <chrono>
#include <string>

namespace Rvl {

/// A controller at one moment, as a history keeps it: values are scaled ones.
struct SHistorySample
{
    std::chrono::system_clock::time_point time; ///< in whole milliseconds
    double setPoint = 0.0;
    double actualValue = 0.0;
    double controlValue = 0.0;
    bool enabled = false;
    bool manual = false;
    SHealth health;
};

/// Something that happened at a moment.
struct SHistoryEvent
{
    enum eKind
    {
        Run = 0,     ///< a run began or ended
        Command = 1, ///< a command, refused ones included
        Health = 2,  ///< the health of a controller changed
        Gap = 3      ///< values are missing, as they could not be written in time
    };

    std::chrono::system_clock::time_point time;
    eKind kind = Run;
    std::string channel; ///< empty if it concerns the whole run
    std::string text;    ///< such as "page: Vessel: set point 30 -> 40" or "Vessel: fault: Heater: offline"

    bool operator==(const SHistoryEvent&) const = default;
};

/// "run", "command", "health" or "gap".
const char* textOf(SHistoryEvent::eKind kind);

} // namespace Rvl
