#include "host/process/TimerResolution.h"

#if defined(_WIN32)
#include <windows.h>

#include <timeapi.h>
#endif

namespace Rvl {

#if defined(_WIN32)

namespace {

constexpr UINT resolution_ms = 1;

} // namespace

CTimerResolution::CTimerResolution()
{
    timeBeginPeriod(resolution_ms);
}

CTimerResolution::~CTimerResolution()
{
    timeEndPeriod(resolution_ms);
}

#else

CTimerResolution::CTimerResolution() = default;

CTimerResolution::~CTimerResolution() = default;

#endif

} // namespace Rvl
