#pragma once

#include "host/process/ShutdownLimits.h"

#include <functional>
#include <memory>

namespace Rvl {

/// Carries out an action before a crash or a call of exit() or quick_exit() ends the process, on whichever
/// thread that happens. One at a time in a process.
///
/// The action runs on a thread that is ready from the object's construction on, for at most
/// SShutdownLimits::crash, while the thread that is the reason waits; others run on. A crash is SIGSEGV,
/// SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP or SIGSYS, caused by the process or sent to it; it then ends the
/// process as it would have without the object, which may leave a core dump. After exit() and quick_exit()
/// the process ends with the status ExitFailure, without destructors or further functions of std::atexit().
/// A stack that is used up is covered on threads that have a CAlternateStack.
///
/// On Windows only exit() is covered.
class CCrashHandler
{
public:
    /// What `action` throws is dropped. Throws std::system_error if there can be no more threads.
    explicit CCrashHandler(std::function<void()> action, const SShutdownLimits& limits = {});
    /// Does not return any more once the action has begun.
    ~CCrashHandler();
    CCrashHandler(const CCrashHandler&) = delete;
    CCrashHandler& operator=(const CCrashHandler&) = delete;

    /// Has crashes, and the end of the process, take their usual way from now on: the caller has taken the
    /// action and is about to end the process. From any thread.
    static void disarm();

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
