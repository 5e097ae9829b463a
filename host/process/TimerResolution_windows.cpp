#include "host/process/TimerResolution.h"

#include <windows.h>

#include <timeapi.h>

namespace Rvl {

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

} // namespace Rvl
