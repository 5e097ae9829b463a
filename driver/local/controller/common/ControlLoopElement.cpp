#include "driver/local/controller/common/ControlLoopElement.h"

namespace Rvl {

IControlLoopElement::IControlLoopElement() : mutex_(std::make_unique<std::recursive_mutex>()) {}

IControlLoopElement::~IControlLoopElement() = default;

CControlLoopElementGuard& CControlLoopElementGuard::operator=(const CControlLoopElementGuard&) = default;

} // namespace Rvl
