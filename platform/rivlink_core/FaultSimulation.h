#pragma once

#include "platform/rivlink_core/Export.h"

#include <string>
#include <vector>

namespace Rvl {

/// What a device offers besides IDeviceInterface if it can be made to fail on purpose, as simulated devices
/// can. All operations may be called from any thread.
class RIVLINK_CORE_EXPORT IFaultSimulation
{
public:
    struct SFault
    {
        std::string kind;
        std::string signal;    ///< empty for a fault of the whole device
        bool isActive = false; ///< for whatever reason
    };

    virtual ~IFaultSimulation();

    /// Every fault that the device can simulate.
    virtual std::vector<SFault> simulatedFaults() const = 0;
    /// Switches one of these on or off. Throws CConfigurationException for one that it cannot simulate.
    virtual void simulateFault(const std::string& kind, const std::string& signal, bool on) = 0;
};

} // namespace Rvl
