#include "host/process/ThreadPriority.h"

#include "host/base/SystemText.h"

#include <cerrno>
#include <fstream>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>

namespace Rvl {

namespace {

/// Above every ordinary program, below the system's own real-time threads.
constexpr int loopPriority = 10;
constexpr int ownPriority = 1;

int setPriority(int priority)
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

/// Whether the calling thread has at least that real-time priority.
bool hasRealtimePriority(int priority)
{
    int policy = SCHED_OTHER;
    sched_param present{};
    pthread_getschedparam(pthread_self(), &policy, &present);
    return (policy == SCHED_FIFO || policy == SCHED_RR) && present.sched_priority >= priority;
}

/// Whether this process may lock memory without limit.
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
        start(); // the host was started with real-time priority
        return {};
    }
    const int error = setPriority(loopPriority);
    start();
    if (error != 0) {
        return {"--realtime: the system refuses real-time scheduling (" +
                systemMessage(static_cast<unsigned long>(error)) +
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
    // Pages are locked when they are first used, as most of a thread's stack never is. A limit counts unused
    // pages as well: with one, locking future allocations would make the next thread fail to start.
    const int all = MCL_CURRENT | MCL_ONFAULT | (mayLockEverything() ? MCL_FUTURE : 0);
    if (mlockall(all) == 0) {
        return {};
    }
    return {"--realtime: the system refuses to lock memory (" +
            systemMessage(static_cast<unsigned long>(errno)) +
            "); it takes root, the capability CAP_IPC_LOCK or no limit RLIMIT_MEMLOCK"};
}

} // namespace Rvl
