#include "driver/local/controller/common/ControlLoopElement.h"

namespace Rvl {

IControlLoopElement::IControlLoopElement() : mutex_(std::make_unique<std::recursive_mutex>()) {}

IControlLoopElement::~IControlLoopElement() = default;

void IControlLoopElement::lockAccess() const
{
    mutex_->lock();
}

void IControlLoopElement::unlockAccess() const
{
    mutex_->unlock();
}

CControlLoopElementGuard::CControlLoopElementGuard(const IControlLoopElement* element) : element_(element)
{
    element_->lockAccess();
}

CControlLoopElementGuard::~CControlLoopElementGuard()
{
    element_->unlockAccess();
}

CControlLoopElementGuard& CControlLoopElementGuard::operator=(const CControlLoopElementGuard&) = default;

} // namespace Rvl
