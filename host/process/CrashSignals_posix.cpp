#include "host/process/CrashSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>

namespace Rvl {

namespace {

constexpr std::array<int, 7> crashSignals{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};

std::array<struct sigaction, crashSignals.size()> formerActions;
std::atomic<void (*)(int)> crashAction{nullptr};

/// Puts in force what was before, for one signal.
void restore(int signal)
{
    for (std::size_t index = 0; index < crashSignals.size(); ++index) {
        if (crashSignals[index] == signal) {
            sigaction(signal, &formerActions[index], nullptr);
        }
    }
}

void onCrash(int signal, siginfo_t* information, void*)
{
    const int error = errno;
    if (auto* const action = crashAction.load()) {
        action(signal);
    }
    restore(signal);
    // An instruction that failed fails again as soon as this returns, with all that a sanitizer reports or a
    // core dump shows of it. What was sent has to be sent again, and so has what continues behind the
    // instruction.
    const bool failsAgain = information->si_code > 0 && signal != SIGTRAP && signal != SIGSYS;
    if (!failsAgain) {
        std::raise(signal);
    }
    errno = error;
}

} // namespace

void handleCrashSignals(void (*action)(int signal))
{
    crashAction = action;
    struct sigaction handler = {};
    handler.sa_sigaction = &onCrash;
    handler.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&handler.sa_mask);
    for (std::size_t index = 0; index < crashSignals.size(); ++index) {
        sigaction(crashSignals[index], &handler, &formerActions[index]);
    }
}

void restoreCrashSignals()
{
    for (const int signal : crashSignals) {
        restore(signal);
    }
    crashAction = nullptr;
}

bool handleQuickExit(void (*action)())
{
    return std::at_quick_exit(action) == 0;
}

void sleepInHandler(std::chrono::milliseconds duration)
{
    timespec left{static_cast<time_t>(duration.count() / 1000),
                  static_cast<long>(duration.count() % 1000) * 1000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

} // namespace Rvl
