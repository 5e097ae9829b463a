#include "driver/system/CpuCounters.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <windows.h>

namespace Rvl {

namespace {

std::uint64_t ticksOf(const FILETIME& time)
{
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32U) | time.dwLowDateTime;
}

} // namespace

SCpuCounters readCpuCounters()
{
    FILETIME idle{};
    FILETIME kernel{};
    FILETIME user{};
    if (!GetSystemTimes(&idle, &kernel, &user)) {
        RVL_THROW(CDeviceAccessException, "The system does not report its CPU use");
    }
    // the kernel's time contains the idle time
    return {ticksOf(idle), ticksOf(kernel) + ticksOf(user)};
}

} // namespace Rvl
