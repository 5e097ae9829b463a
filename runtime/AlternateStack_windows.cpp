#include "runtime/AlternateStack.h"

namespace Rvl {

CAlternateStack::CAlternateStack() noexcept = default;

CAlternateStack::~CAlternateStack() = default;

} // namespace Rvl
