#include "driver/local/controller/common/ControlLoopValueListener.h"

namespace Rvl {

IControlLoopValueListener::~IControlLoopValueListener() = default;

} // namespace Rvl
