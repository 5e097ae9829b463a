#pragma once

#include "driver/system/Export.h"

namespace Rvl {

/// Has the plug-in's factories filed when the host emits registerFactories. Loading the library does so, too;
/// a second time does no harm.
RIVLINK_SYSTEM_EXPORT void registerSystemPlugin();

} // namespace Rvl
