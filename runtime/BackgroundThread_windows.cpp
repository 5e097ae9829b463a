#include "runtime/BackgroundThread.h"

#include <windows.h>

namespace Rvl {

void makeBackgroundThread()
{
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
}

} // namespace Rvl
