#include "runtime/BackgroundThread.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Rvl {

void makeBackgroundThread()
{
    constexpr int nice = 10;
    // of Linux, where each thread has its own
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), nice);
}

} // namespace Rvl
