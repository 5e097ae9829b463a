#pragma once

namespace Rvl::Test {

/// The CPU time that this process has used. std::clock() is no help: on Windows it returns the time of day.
double processCpuTime_s();

/// The CPU time that the calling thread has used.
double threadCpuTime_s();

} // namespace Rvl::Test
