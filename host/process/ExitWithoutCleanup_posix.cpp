#include "host/process/ExitWithoutCleanup.h"

#include <cstdlib>

namespace Rvl {

void exitWithoutCleanup(int exitCode)
{
    std::_Exit(exitCode);
}

} // namespace Rvl
