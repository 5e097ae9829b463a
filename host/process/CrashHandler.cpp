#include "host/process/CrashHandler.h"

#include "host/base/ExitCode.h"
#include "host/process/CrashSignals.h"
#include "host/process/ExitWithoutCleanup.h"
#include "runtime/ThreadName.h"

#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <utility>

namespace Rvl {

namespace {

constexpr int endOfProcess = 0; ///< in place of a signal: exit() or quick_exit()
constexpr std::chrono::milliseconds messageLimit(300);

/// What the thread that was made ready waits for. A handler of a signal may release it, which no condition
/// variable allows. std::binary_semaphore would do, but is suspected (gcc 12, in Wine) of missing a release
/// that comes while the thread is about to wait.
class CWake
{
public:
    CWake() { sem_init(&semaphore_, 0, 0); }
    ~CWake() { sem_destroy(&semaphore_); }
    CWake(const CWake&) = delete;
    CWake& operator=(const CWake&) = delete;

    void release() { sem_post(&semaphore_); }
    void acquire()
    {
        while (sem_wait(&semaphore_) != 0 && errno == EINTR) {
        }
    }

private:
    sem_t semaphore_{};
};

} // namespace

struct CCrashHandler::Private
{
    enum eState
    {
        Armed,
        Disarmed, ///< or there is no object
        Crashed
    };

    Private(std::function<void()> crashAction, const SShutdownLimits& limits)
        : action(std::move(crashAction)), limit(limits.crash)
    {}

    /// On the thread that was made ready.
    void serve()
    {
        setThreadName("crash guard");
        wake.acquire();
        if (state != Crashed) {
            return;
        }
        try {
            action();
        } catch (...) {
            // nothing is left that could be done about it
        }
        actionEnded = true;
        try {
            const int signal = reason;
            std::cerr << (signal == endOfProcess
                              ? std::string("the process ends because a plug-in called exit() or "
                                            "quick_exit()\n")
                              : "the process ends because of a crash (signal " + std::to_string(signal) +
                                    ")\n")
                      << std::flush;
        } catch (...) {
            // no memory for it
        }
        messageEnded = true;
    }

    /// Has the action carried out, and waits for that within the limits. In a signal's handler: nothing but
    /// atomics, the semaphore and sleeping. False if there is nothing to do before the end.
    static bool onEnd(int why)
    {
        eState expected = Armed;
        if (!state.compare_exchange_strong(expected, Crashed)) {
            if (expected == Crashed) {
                // another thread's reason came first: its action is under way
                sleepInHandler(messageLimit + current.load()->limit);
            }
            return expected == Crashed;
        }
        Private& handler = *current.load();
        handler.reason = why;
        handler.wake.release();
        waitFor(handler.actionEnded, handler.limit);
        if (handler.actionEnded) {
            waitFor(handler.messageEnded, messageLimit);
        }
        return true;
    }

    static void waitFor(const std::atomic<bool>& ended, std::chrono::milliseconds limit)
    {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!ended && std::chrono::steady_clock::now() < end) {
            sleepInHandler(std::chrono::milliseconds(1));
        }
    }

    static void onExit()
    {
        if (onEnd(endOfProcess)) {
            exitWithoutCleanup(ExitFailure);
        }
    }

    static void handleEndOfProcess()
    {
        // after those of the plug-ins that are loaded by now, and so carried out before them
        [[maybe_unused]] static const int atExit = std::atexit(&Private::onExit);
        [[maybe_unused]] static const bool atQuickExit = handleQuickExit(&Private::onExit);
    }

    static inline std::atomic<eState> state{Disarmed};
    static inline std::atomic<Private*> current{nullptr};

    const std::function<void()> action;
    const std::chrono::milliseconds limit;
    std::atomic<int> reason{endOfProcess};
    std::atomic<bool> actionEnded{false};
    std::atomic<bool> messageEnded{false};
    CWake wake;
    std::thread thread{[this] { serve(); }}; ///< last, as it uses all of the above
};

CCrashHandler::CCrashHandler(std::function<void()> action, const SShutdownLimits& limits)
    : private_(std::make_unique<Private>(std::move(action), limits))
{
    Private::current = private_.get();
    Private::handleEndOfProcess();
    Private::state = Private::Armed;
    handleCrashSignals([](int signal) { Private::onEnd(signal); });
}

CCrashHandler::~CCrashHandler()
{
    Private::eState expected = Private::Armed;
    while (!Private::state.compare_exchange_strong(expected, Private::Disarmed) &&
           expected == Private::Crashed) {
        std::this_thread::sleep_for(std::chrono::seconds(1)); // the process is ending
    }
    restoreCrashSignals();
    private_->wake.release();
    private_->thread.join();
    Private::current = nullptr;
}

void CCrashHandler::disarm()
{
    Private::eState expected = Private::Armed;
    Private::state.compare_exchange_strong(expected, Private::Disarmed);
}

} // namespace Rvl
