#include "host/Realtime.h"

#include <cerrno>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#endif

namespace Rvl {

#if defined(_WIN32)

CRealtime::CRealtime()
{
    // without the privilege for more, the system makes it the class "high" and reports success
    if (!SetPriorityClass(GetCurrentProcess(), REALTIME_PRIORITY_CLASS)) {
        refusals_.push_back("--realtime: the system refuses a higher priority");
    }
    refusals_.push_back("--realtime: memory is not locked on this system");
}

CRealtime::~CRealtime() = default;

#else

namespace {

/// Above every ordinary program, below whatever the system itself serves in real time.
constexpr int priority = 10;

} // namespace

CRealtime::CRealtime()
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    const int error = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
    scheduled_ = error == 0;
    if (!scheduled_) {
        refusals_.push_back(std::string("--realtime: the system refuses real-time scheduling (") +
                            std::strerror(error) +
                            "); it takes root, the capability CAP_SYS_NICE or a limit RLIMIT_RTPRIO of " +
                            std::to_string(priority) + " or more");
    }
    // pages as they come into use: a thread's stack is mostly never used
    if (mlockall(MCL_CURRENT | MCL_FUTURE | MCL_ONFAULT) != 0) {
        refusals_.push_back(std::string("--realtime: the system refuses to lock memory (") +
                            std::strerror(errno) +
                            "); it takes root, the capability CAP_IPC_LOCK or a larger RLIMIT_MEMLOCK");
    }
}

CRealtime::~CRealtime()
{
    if (scheduled_) {
        const sched_param ordinary{};
        pthread_setschedparam(pthread_self(), SCHED_OTHER, &ordinary);
    }
}

#endif

} // namespace Rvl
