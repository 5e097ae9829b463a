#include "driver/local/controller/common/LoopElements.h"

#include <limits>

namespace Rvl {

ILoopInInterface::ILoopInInterface() = default;
ILoopInInterface::~ILoopInInterface() = default;

// NaN equals nothing, so the very first value is delivered whatever it is
ILoopOutInterface::ILoopOutInterface() : lastWrittenValue_(std::numeric_limits<double>::quiet_NaN()) {}
ILoopOutInterface::~ILoopOutInterface() = default;

void ILoopOutInterface::setEnabled(bool) {}

void ILoopOutInterface::adoptLastWrittenValue(const ILoopOutInterface& other)
{
    lastWrittenValue_ = other.lastWrittenValue_;
}

ILoopIn::ILoopIn() = default;
ILoopIn::~ILoopIn() = default;
void ILoopIn::init() {}

ILoopOut::ILoopOut() = default;
ILoopOut::~ILoopOut() = default;
void ILoopOut::init() {}

ILoopInOut::ILoopInOut() = default;
ILoopInOut::~ILoopInOut() = default;
void ILoopInOut::init() {}

} // namespace Rvl
