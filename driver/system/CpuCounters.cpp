#include "driver/system/CpuCounters.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <algorithm>
#include <cstddef>
#include <locale>
#include <sstream>
#include <vector>

namespace Rvl {

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
    stream.imbue(std::locale::classic());
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
