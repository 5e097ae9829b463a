#include "host/process/CrashSignals.h"

#include <windows.h>

namespace Rvl {

void handleCrashSignals(void (*)(int signal)) {}

void restoreCrashSignals() {}

void sleepInHandler(std::chrono::milliseconds duration)
{
    Sleep(static_cast<DWORD>(duration.count()));
}

} // namespace Rvl
