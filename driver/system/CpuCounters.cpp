#include "driver/system/CpuCounters.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <sstream>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace Rvl {

#if defined(_WIN32)

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
        RVL_THROW(CDeviceAccessException, "The system does not tell how busy its cores are");
    }
    // the kernel's time contains the idle time
    return {ticksOf(idle), ticksOf(kernel) + ticksOf(user)};
}

#else

SCpuCounters readCpuCounters()
{
    std::ifstream file("/proc/stat");
    std::string line;
    if (!std::getline(file, line)) {
        RVL_THROW(CDeviceAccessException, "The system does not tell how busy its cores are");
    }
    return cpuCountersFromStat(line);
}

#endif

std::optional<double> cpuUse(const SCpuCounters& before, const SCpuCounters& after)
{
    if (after.total <= before.total) {
        return std::nullopt;
    }
    const auto total = static_cast<double>(after.total - before.total);
    const double idle = after.idle > before.idle ? static_cast<double>(after.idle - before.idle) : 0.0;
    return std::clamp(100.0 * (1.0 - idle / total), 0.0, 100.0);
}

SCpuCounters cpuCountersFromStat(const std::string& line)
{
    constexpr std::size_t idleIndex = 3;
    constexpr std::size_t ioWaitIndex = 4;
    constexpr std::size_t lastOwnIndex = 7; // steal; guests' time follows
    std::istringstream stream(line);
    std::string label;
    stream >> label;
    std::vector<std::uint64_t> numbers;
    for (std::uint64_t number = 0; stream >> number;) {
        numbers.push_back(number);
    }
    if (label != "cpu" || numbers.size() <= idleIndex) {
        RVL_THROW(CDeviceAccessException, "The system's counters cannot be read: \"" + line + "\"");
    }
    SCpuCounters counters;
    for (std::size_t i = 0; i < numbers.size() && i <= lastOwnIndex; ++i) {
        counters.total += numbers[i];
        if (i == idleIndex || i == ioWaitIndex) {
            counters.idle += numbers[i];
        }
    }
    return counters;
}

} // namespace Rvl
