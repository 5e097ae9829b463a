#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Rvl {

/// The time of all cores together since the system started, in the system's own unit: idle, and in total.
struct SCpuCounters
{
    std::uint64_t idle = 0;
    std::uint64_t total = 0;
};

/// Reads the operating system's counters. Throws CDeviceAccessException if that fails.
SCpuCounters readCpuCounters();

/// The CPU use between two readings, in percent of all cores; nothing if the total has not increased. An idle
/// time that decreases slightly, as it does while cores change their state, counts as unchanged.
std::optional<double> cpuUse(const SCpuCounters& before, const SCpuCounters& after);

/// From the first line of Linux's /proc/stat, "cpu user nice system idle iowait irq softirq steal ...".
/// Waiting for input and output counts as idle; guests' time is contained in user and nice already. Throws
/// CDeviceAccessException if the line has fewer than these four numbers.
SCpuCounters cpuCountersFromStat(const std::string& line);

} // namespace Rvl
