#include "platform/rivlink_device/PumpInterface.h"

namespace Rvl {

CNameServer<IPumpInterface*> IPumpInterface::NameServer;

IPumpInterface::~IPumpInterface() = default;

} // namespace Rvl
