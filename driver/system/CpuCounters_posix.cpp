#include "driver/system/CpuCounters.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <fstream>

namespace Rvl {

SCpuCounters readCpuCounters()
{
    std::ifstream file("/proc/stat");
    std::string line;
    if (!std::getline(file, line)) {
        RVL_THROW(CDeviceAccessException, "The system does not report its CPU use");
    }
    return cpuCountersFromStat(line);
}

} // namespace Rvl
