#include "driver/local/controller/common/LoopStepObserver.h"

namespace Rvl {

ILoopStepObserver::ILoopStepObserver() = default;

ILoopStepObserver::~ILoopStepObserver() = default;

} // namespace Rvl
