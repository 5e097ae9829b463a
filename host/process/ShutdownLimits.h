#pragma once

#include <chrono>
#include <string>

namespace Rvl {

/// How long each step of an orderly end may take. All of them are real time, also in a run on virtual time.
struct SShutdownLimits
{
    using Duration = std::chrono::milliseconds;

    /// One of several tasks, before the others are begun side by side instead of after it.
    Duration task{300};
    /// Several tasks one after another, before the rest are begun side by side.
    Duration sequence{1000};
    /// Any number of tasks without one of them ending, before the unfinished ones are left behind.
    Duration progress{5000};
    /// A call into a device, a controller or a record, before it is reported as hung.
    Duration call{2000};
    /// The last reading of the controllers for the summary, while they are still enabled.
    Duration summary{1000};
    /// What is written to standard output and standard error, until it is flushed.
    Duration output{2000};
    /// Disabling the controllers after an uncaught exception, before those whose locks the failed thread
    /// holds are disabled on that thread.
    Duration emergencyDisable{300};
    /// Disconnecting the devices after an uncaught exception.
    Duration emergencyDisconnect{2000};
    /// Everything that is done about a crash, or a plug-in's exit(), before the process ends.
    Duration crash{2000};
    /// Everything that is done about an uncaught exception before the process ends.
    Duration terminateAction{10000};
    /// Writing the message about it.
    Duration terminateMessage{300};

    /// The same limits, each multiplied by `factor`, at least 1 ms.
    SShutdownLimits scaled(double factor) const
    {
        SShutdownLimits result = *this;
        for (Duration SShutdownLimits::*const limit :
             {&SShutdownLimits::task, &SShutdownLimits::sequence, &SShutdownLimits::progress,
              &SShutdownLimits::call, &SShutdownLimits::summary, &SShutdownLimits::output,
              &SShutdownLimits::emergencyDisable, &SShutdownLimits::emergencyDisconnect,
              &SShutdownLimits::crash, &SShutdownLimits::terminateAction,
              &SShutdownLimits::terminateMessage}) {
            const double scaled_ms = static_cast<double>((result.*limit).count()) * factor;
            result.*limit = Duration(static_cast<Duration::rep>(scaled_ms < 1.0 ? 1.0 : scaled_ms));
        }
        return result;
    }
};

/// A limit as messages give it: "5 s", or "500 ms" below one second. Fractions of a second are left out.
inline std::string limitText(SShutdownLimits::Duration limit)
{
    return limit < std::chrono::seconds(1) ? std::to_string(limit.count()) + " ms"
                                           : std::to_string(limit.count() / 1000) + " s";
}

} // namespace Rvl
