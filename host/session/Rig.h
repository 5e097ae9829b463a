#pragma once

#include "host/session/Controller.h"
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/IoChannelInterface.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// The objects that were built from a configuration. They have to be destroyed in the reverse order of their
/// building: by CShutdown.
struct SRig
{
    struct SDevice
    {
        std::string name;
        std::string busName; ///< empty if it is on no bus
        std::unique_ptr<IDeviceInterface> device;
    };
    struct SChannel
    {
        std::string name;
        std::size_t position = 0; ///< in the file
        std::unique_ptr<IIoChannelInterface> channel;
        std::unique_ptr<CController>
            controller; ///< null if the channel is none; destroyed before the channel
    };

    // in the order of building
    std::vector<std::unique_ptr<SDevice>> devices;
    std::vector<std::unique_ptr<SChannel>> channels;
    std::vector<CController*> controllers; ///< in the order of the file
    SLoopFunctions functions;
};

} // namespace Rvl
