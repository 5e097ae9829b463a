#include "platform/rivlink_device/AnalogInChannel.h"

#include <limits>

namespace Rvl {

CNameServer<CAnalogInChannel*> CAnalogInChannel::NameServer;

CAnalogInChannel::CAnalogInChannel(const std::string& name)
    : IIoChannelInterface(name), CNameServerRegistrator(NameServer, name, this),
      value_(std::numeric_limits<double>::quiet_NaN())
{}

CAnalogInChannel::~CAnalogInChannel() = default;

double CAnalogInChannel::readValue()
{
    return getScaledValue(readValueUnscaled());
}

double CAnalogInChannel::readValueUnscaled() const
{
    return value_.load();
}

void CAnalogInChannel::publishValue(double value)
{
    value_.store(value);
    raiseEvent(EventNewValue);
}

} // namespace Rvl
