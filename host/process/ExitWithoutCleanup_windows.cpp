#include "host/process/ExitWithoutCleanup.h"

#include <cstdlib>

#include <windows.h>

namespace Rvl {

void exitWithoutCleanup(int exitCode)
{
    // ExitProcess() and _exit() let libraries destroy their objects after all other threads were ended,
    // perhaps with locks held
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    std::_Exit(exitCode);
}

} // namespace Rvl
