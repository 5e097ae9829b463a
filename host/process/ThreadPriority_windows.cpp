#include "host/process/ThreadPriority.h"

#include <windows.h>

namespace Rvl {

std::vector<std::string> raisePriority(const std::function<void()>& start)
{
    // not the class "real time": an endless loop would starve even keyboard and disk
    const bool agreed = SetPriorityClass(GetCurrentProcess(), HIGH_PRIORITY_CLASS) != 0;
    start();
    return agreed ? std::vector<std::string>()
                  : std::vector<std::string>{"--realtime: the system refuses a higher priority"};
}

void raiseOwnPriority() {}

std::vector<std::string> lockMemory()
{
    return {"--realtime: memory is not locked on this system"};
}

} // namespace Rvl
