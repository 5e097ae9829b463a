#include "platform/rivlink_device/DigitalOutChannel.h"

#include "common/LoggedThrow.h"
#include "common/TreeValues.h"
#include "platform/kor/Mutex.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <limits>
#include <optional>

namespace Rvl {

CNameServer<CDigitalOutChannel*> CDigitalOutChannel::NameServer;

struct CDigitalOutChannel::Private
{
    mutable Kor::CMutex mutex;
    std::optional<bool> requestedOn;
    std::optional<bool> requestedPWMMode;
    std::optional<unsigned> requestedDutyCycle;
    bool on = false;
    bool pwmMode = false;
    unsigned dutyCycle = 0;
    unsigned safeDutyCycle = 0;
};

namespace {

/// Runs one access to the device and sets or clears the channel's fault by its result.
template <class Access> void driveSafely(IIoChannelInterface& channel, Access access)
{
    try {
        access();
        channel.setFault("");
    } catch (const CDeviceAccessException& exception) {
        channel.setFault(exception.what());
    }
}

} // namespace

CDigitalOutChannel::CDigitalOutChannel(const std::string& name)
    : IIoChannelInterface(name), CNameServerRegistrator(NameServer, name, this),
      private_(std::make_unique<Private>())
{}

CDigitalOutChannel::~CDigitalOutChannel() = default;

void CDigitalOutChannel::setProperties(const boost::property_tree::ptree& tree)
{
    const int safe = treeValueIfThere(tree, "<xmlattr>.SafeValue", 0);
    if (safe < 0 || safe > static_cast<int>(MaximumDutyCycle)) {
        RVL_THROW(CConfigurationException,
                  "SafeValue of channel " + getName() + " does not lie between 0 and 100 percent");
    }
    {
        Kor::CGuard guard(private_->mutex);
        private_->safeDutyCycle = static_cast<unsigned>(safe);
    }
    IIoChannelInterface::setProperties(tree);
}

void CDigitalOutChannel::writeOutput(bool on)
{
    Kor::CGuard guard(private_->mutex);
    private_->requestedOn = on;
    driveSafely(*this, [&] {
        driveOutput(on);
        private_->on = on;
    });
}

void CDigitalOutChannel::setPWMMode(bool on)
{
    Kor::CGuard guard(private_->mutex);
    private_->requestedPWMMode = on;
    driveSafely(*this, [&] {
        drivePWMMode(on);
        private_->pwmMode = on;
    });
}

void CDigitalOutChannel::safeWritePWMDutyCycle(unsigned percent)
{
    Kor::CGuard guard(private_->mutex);
    // a negative number taken as unsigned asks for less than nothing, not for full power
    constexpr unsigned largestPositive = std::numeric_limits<int>::max();
    const unsigned limited = percent > largestPositive ? 0 : std::min(percent, MaximumDutyCycle);
    private_->requestedDutyCycle = limited;
    if (!private_->pwmMode) {
        setPWMMode(true);
    }
    driveSafely(*this, [&] {
        driveDutyCycle(limited);
        private_->dutyCycle = limited;
    });
}

void CDigitalOutChannel::restoreOutput()
{
    Kor::CGuard guard(private_->mutex);
    if (private_->requestedPWMMode) {
        setPWMMode(*private_->requestedPWMMode);
    }
    if (private_->requestedOn) {
        writeOutput(*private_->requestedOn);
    }
    if (private_->requestedDutyCycle) {
        safeWritePWMDutyCycle(*private_->requestedDutyCycle);
    }
}

unsigned CDigitalOutChannel::safeDutyCycle() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->safeDutyCycle;
}

bool CDigitalOutChannel::isOn() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->on;
}

bool CDigitalOutChannel::isPWMMode() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->pwmMode;
}

unsigned CDigitalOutChannel::dutyCycle() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->dutyCycle;
}

} // namespace Rvl
