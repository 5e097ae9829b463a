#include "platform/rivlink_device/ControllerChannel.h"

#include "common/LoggedThrow.h"

#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace Rvl {

CNameServer<IControllerChannel*> IControllerChannel::NameServer;

IControllerChannel::IControllerChannel(const std::string& name)
    : IIoChannelInterface(name), CNameServerRegistrator(NameServer, name, this),
      setpointMinimum_(std::numeric_limits<double>::lowest()),
      setpointMaximum_(std::numeric_limits<double>::max())
{}

IControllerChannel::~IControllerChannel() = default;

void IControllerChannel::writeSetPoint(double setPoint)
{
    if (!(setPoint >= setpointMinimum_ && setPoint <= setpointMaximum_)) {
        std::ostringstream message;
        message.imbue(std::locale::classic());
        message << "Set point " << setPoint << " of channel " << getName() << " is outside its range "
                << setpointMinimum_ << " to " << setpointMaximum_;
        RVL_THROW(std::out_of_range, message.str());
    }
    writeSetPointUnscaled(getUnscaledValue(setPoint));
}

double IControllerChannel::readActualValue()
{
    return getScaledValue(readActualValueUnscaled());
}

void IControllerChannel::setSetpointRange(double minimum, double maximum)
{
    setpointMinimum_ = minimum;
    setpointMaximum_ = maximum;
}

double IControllerChannel::setpointMinimum() const
{
    return setpointMinimum_;
}

double IControllerChannel::setpointMaximum() const
{
    return setpointMaximum_;
}

} // namespace Rvl
