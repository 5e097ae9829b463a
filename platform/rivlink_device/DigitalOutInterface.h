#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_device/Export.h"

#include <cstdint>

namespace Rvl {

/// A digital output port of up to 32 bits that are written together.
class RIVLINK_DEVICE_EXPORT IDigitalOutInterface
{
public:
    /// Every live port by name. Implementations register themselves.
    static CNameServer<IDigitalOutInterface*> NameServer;

    virtual ~IDigitalOutInterface();

    /// Sets the bits that are 1 in `mask` to those of `value` and leaves the others. Must not throw for a
    /// device that is offline.
    virtual void writeMasked(std::uint32_t mask, std::uint32_t value) = 0;
};

} // namespace Rvl
