#include "host/process/AbortAlarm.h"

#include "host/process/CrashHandler.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>

namespace Rvl {

void abortByAlarmAfter(std::chrono::milliseconds limit)
{
    static std::atomic_flag isSet = ATOMIC_FLAG_INIT;
    if (isSet.test_and_set()) {
        return;
    }
    std::signal(SIGALRM, [](int) {
        CCrashHandler::disarm();
        std::abort();
    });
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    alarm(static_cast<unsigned>(std::max<std::int64_t>(limit.count() / 1000, 1)));
}

} // namespace Rvl
