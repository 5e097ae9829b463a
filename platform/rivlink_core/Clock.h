#pragma once

#include "platform/rivlink_core/Export.h"

#include <chrono>

namespace Rvl {

/// Where everything that lives in laboratory time reads it: simulated devices, recorders, supervision. The
/// system's clock unless a program puts another in its place (a virtual clock, a clock of a test).
class RIVLINK_CORE_EXPORT IClock
{
public:
    virtual ~IClock();

    /// Time since an arbitrary start. Never goes back, whatever happens to the calendar.
    virtual std::chrono::nanoseconds monotonic() const = 0;
    /// The calendar's time.
    virtual std::chrono::system_clock::time_point utc() const = 0;

    /// The clock in force. Safe from any thread.
    static const IClock& current();
    /// Puts `clock` in force, or the system's clock again if it is null. Not owned: it must outlive its use.
    static void setCurrent(const IClock* clock);
};

} // namespace Rvl
