#include "host/process/ExitWithoutCleanup.h"

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace Rvl {

void exitWithoutCleanup(int exitCode)
{
#if defined(_WIN32)
    // any milder end has libraries destroy their objects, with all other threads gone, locks held or not
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
#endif
    std::_Exit(exitCode);
}

} // namespace Rvl
