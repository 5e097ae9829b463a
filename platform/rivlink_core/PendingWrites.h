#pragma once

#include "platform/rivlink_core/Export.h"

namespace Rvl {

/// What a device offers besides IDeviceInterface if it carries out on a thread of its own, and so later, what
/// is written to its channels.
class RIVLINK_CORE_EXPORT IPendingWrites
{
public:
    virtual ~IPendingWrites();

    /// Returns once everything that was written before the call has been carried out, which takes as long as
    /// the device does. Nothing happens while the device is not connected. From any thread.
    virtual void carryOutPendingWrites() = 0;
};

} // namespace Rvl
