#include "host/process/ExitWithoutCleanup.h"

#include <cstdlib>

#include <windows.h>

namespace Rvl {

void exitWithoutCleanup(int exitCode)
{
    // any milder end has libraries destroy their objects, with all other threads gone, locks held or not
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    std::_Exit(exitCode);
}

} // namespace Rvl
