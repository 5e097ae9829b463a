#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Rvl {

/// The time that all cores together have spent since the system started, in the system's own unit: without
/// work, and altogether.
struct SCpuCounters
{
    std::uint64_t idle = 0;
    std::uint64_t total = 0;
};

/// Asks the operating system. Throws CDeviceAccessException if it does not tell.
SCpuCounters readCpuCounters();

/// The share of the time between two readings in which the cores worked, in percent of all of them; nothing
/// if no time was counted between them. Counters of idle time that run back a little, as they do while cores
/// change their state, count as standing still.
std::optional<double> cpuUse(const SCpuCounters& before, const SCpuCounters& after);

/// From the first line of Linux's /proc/stat, "cpu user nice system idle iowait irq softirq steal ...".
/// Waiting for input and output counts as idle; guests' time is contained in user and nice already. Throws
/// CDeviceAccessException if the line has fewer than these four numbers.
SCpuCounters cpuCountersFromStat(const std::string& line);

} // namespace Rvl
