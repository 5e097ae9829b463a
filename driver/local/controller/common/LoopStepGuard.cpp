#include "driver/local/controller/common/LoopStepGuard.h"

namespace Rvl {

ILoopStepGuard::ILoopStepGuard() = default;

ILoopStepGuard::~ILoopStepGuard() = default;

} // namespace Rvl
