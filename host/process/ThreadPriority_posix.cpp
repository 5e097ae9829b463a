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
    // Pages as they come into use: a thread's stack is mostly never used. With a limit, which counts unused
    // pages too, locking what comes later would have the next thread fail.
    const int all = MCL_CURRENT | MCL_ONFAULT | (mayLockEverything() ? MCL_FUTURE : 0);
    if (mlockall(all) == 0) {
        return {};
    }
    return {"--realtime: the system refuses to lock memory (" +
            systemMessage(static_cast<unsigned long>(errno)) +
            "); it takes root, the capability CAP_IPC_LOCK or no limit RLIMIT_MEMLOCK"};
}

} // namespace Rvl
