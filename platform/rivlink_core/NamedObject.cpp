#include "platform/rivlink_core/NamedObject.h"

namespace Rvl {

INamedObject::INamedObject() = default;

INamedObject::~INamedObject() = default;

} // namespace Rvl
