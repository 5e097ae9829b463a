#include "host/process/CrashSignals.h"

#include <windows.h>

namespace Rvl {

void handleCrashSignals(void (*)(int signal)) {}

void restoreCrashSignals() {}

bool handleQuickExit(void (*)())
{
    return false;
}

void sleepInHandler(std::chrono::milliseconds duration)
{
    Sleep(static_cast<DWORD>(duration.count()));
}

} // namespace Rvl
