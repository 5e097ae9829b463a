#include "platform/rivlink_core/PendingWrites.h"

namespace Rvl {

IPendingWrites::~IPendingWrites() = default;

} // namespace Rvl
