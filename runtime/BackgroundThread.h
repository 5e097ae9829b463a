#pragma once

#include "runtime/Export.h"

namespace Rvl {

/// Has the calling thread give way to the others of the computer from now on: what it does may wait. Not for
/// one that calls into a loop or a device, whose locks it would hold for longer. Without effect where the
/// system refuses it.
RIVLINK_RUNTIME_EXPORT void makeBackgroundThread();

} // namespace Rvl
