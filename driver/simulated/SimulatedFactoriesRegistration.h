#pragma once

#include "driver/simulated/Export.h"

namespace Rvl {

/// Connects the registration of the plug-in's factories to registerFactories. Loading the library does the
/// same; a second call is harmless.
RIVLINK_SIMULATED_EXPORT void registerSimulatedPlugin();

} // namespace Rvl
