#include "host/process/TimerResolution.h"

namespace Rvl {

CTimerResolution::CTimerResolution() = default;

CTimerResolution::~CTimerResolution() = default;

} // namespace Rvl
