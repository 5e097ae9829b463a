#pragma once

#include "driver/local/Export.h"

namespace Rvl {

/// Files with the host what the plug-in offers: the channel factories "Rvl::CLocalControllerChannel" and
/// "Rvl::CVelonixController", the bus factory "Rvl::CLocalBus" and one bus named "LocalBus". What is already
/// filed under these names stays. Loops, inputs and outputs have registries of their own, which the host does
/// not see (CLocalControllerChannel).
/// A slot of the host's registerFactories signal; without state.
class RIVLINK_LOCAL_EXPORT RegisterLocalFactories
{
public:
    /// What a registry, the bus factory or the bus throws passes; what was filed before it stays.
    void operator()() const;
};

/// Connects the registration to the host's registerFactories signal once more: loading the plug-in has
/// already connected it once, and each connection files everything anew, which the registries then ignore.
RIVLINK_LOCAL_EXPORT void registerLocalPlugin();

} // namespace Rvl
