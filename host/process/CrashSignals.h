#pragma once

#include <chrono>

namespace Rvl {

/// Has `action` called with the number of each signal that says that the process has crashed, in the signal's
/// handler on the thread that it came to, on that thread's alternate stack if it has one. What was in force
/// before is put in force again and takes effect when the action has returned. Nothing on Windows.
void handleCrashSignals(void (*action)(int signal));
/// Undoes handleCrashSignals().
void restoreCrashSignals();
/// Has `action` called by std::quick_exit(). False if that is not possible, as with Windows' run-time
/// library.
bool handleQuickExit(void (*action)());
/// Sleeps; also in a signal's handler.
void sleepInHandler(std::chrono::milliseconds duration);

} // namespace Rvl
