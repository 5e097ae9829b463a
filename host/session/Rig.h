#pragma once

#include "host/session/Controller.h"
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/IoChannelInterface.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// The objects that were built from a configuration. CShutdown takes them down; a rig that never got that far
/// destroys them in the reverse order of their building.
struct SRig
{
    SRig() = default;
    SRig(SRig&&) = default;
    SRig& operator=(SRig&&) = default; ///< only to a rig that is empty
    ~SRig()
    {
        while (!channels.empty()) {
            channels.pop_back();
        }
        while (!devices.empty()) {
            devices.pop_back();
        }
    }

    struct SDevice
    {
        std::string name;
        std::string type;    ///< as the configuration names it
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
};

} // namespace Rvl
