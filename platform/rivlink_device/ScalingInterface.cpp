#include "platform/rivlink_device/ScalingInterface.h"

namespace Rvl {

IScalingInterface::~IScalingInterface() = default;

} // namespace Rvl
