#pragma once

#include "driver/system/Export.h"

namespace Rvl {

/// Connects the registration of the plug-in's factories to registerFactories. Loading the library does the
/// same; a second call is harmless.
RIVLINK_SYSTEM_EXPORT void registerSystemPlugin();

} // namespace Rvl
