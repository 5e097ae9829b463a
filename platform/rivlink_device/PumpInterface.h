#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_device/Export.h"

namespace Rvl {

/// A pump whose flow can be commanded. Flows are in the pump's own unit.
class RIVLINK_DEVICE_EXPORT IPumpInterface
{
public:
    /// Every live pump by name. Implementations register themselves.
    static CNameServer<IPumpInterface*> NameServer;

    virtual ~IPumpInterface();

    /// The largest flow, in either direction; never negative.
    virtual double maximumFlow() = 0;
    /// Sets the flow; its sign is the direction. Must not throw for a pump that is offline.
    virtual void generateFlow(double flow) = 0;
};

} // namespace Rvl
