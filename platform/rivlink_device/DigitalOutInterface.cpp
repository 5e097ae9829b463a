#include "platform/rivlink_device/DigitalOutInterface.h"

namespace Rvl {

CNameServer<IDigitalOutInterface*> IDigitalOutInterface::NameServer;

IDigitalOutInterface::~IDigitalOutInterface() = default;

} // namespace Rvl
