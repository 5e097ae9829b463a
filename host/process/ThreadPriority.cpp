#include "host/process/ThreadPriority.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <cerrno>
#include <cstring>
#include <fstream>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#endif

namespace Rvl {

#if defined(_WIN32)

std::vector<std::string> raisePriority(const std::function<void()>& start)
{
    // not the class "real time": a loop that never ends would leave neither keyboard nor disk any time
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

#else

namespace {

/// Above every ordinary program, below whatever the system itself serves in real time.
constexpr int loopPriority = 10;
constexpr int ownPriority = 1;

int setPriority(int priority)
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

/// Whether this thread is served at least that early.
bool hasRealtimePriority(int priority)
{
    int policy = SCHED_OTHER;
    sched_param present{};
    pthread_getschedparam(pthread_self(), &policy, &present);
    return (policy == SCHED_FIFO || policy == SCHED_RR) && present.sched_priority >= priority;
}

/// Whether the system lets this process lock as much memory as it likes.
bool mayLockEverything()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_MEMLOCK, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) {
        return true;
    }
    constexpr unsigned long long ipcLock = 1ULL << 14; // the number of CAP_IPC_LOCK
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "CapEff:") {
            unsigned long long capabilities = 0;
            status >> std::hex >> capabilities;
            return (capabilities & ipcLock) != 0;
        }
    }
    return false;
}

} // namespace

std::vector<std::string> raisePriority(const std::function<void()>& start)
{
    if (hasRealtimePriority(loopPriority)) {
        start(); // whoever started the host has seen to it
        return {};
    }
    const int error = setPriority(loopPriority);
    start();
    if (error != 0) {
        return {std::string("--realtime: the system refuses real-time scheduling (") + std::strerror(error) +
                "); it takes root, the capability CAP_SYS_NICE or a limit RLIMIT_RTPRIO of " +
                std::to_string(loopPriority) + " or more"};
    }
    setPriority(ownPriority);
    return {};
}

void raiseOwnPriority()
{
    if (!hasRealtimePriority(ownPriority)) {
        setPriority(ownPriority);
    }
}

std::vector<std::string> lockMemory()
{
    // Pages as they come into use: a thread's stack is mostly never used. With a limit, which counts unused
    // pages too, locking what comes later would have the next thread fail.
    const int all = MCL_CURRENT | MCL_ONFAULT | (mayLockEverything() ? MCL_FUTURE : 0);
    if (mlockall(all) == 0) {
        return {};
    }
    return {std::string("--realtime: the system refuses to lock memory (") + std::strerror(errno) +
            "); it takes root, the capability CAP_IPC_LOCK or no limit RLIMIT_MEMLOCK"};
}

#endif

} // namespace Rvl
