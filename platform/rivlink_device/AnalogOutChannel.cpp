#include "platform/rivlink_device/AnalogOutChannel.h"

#include "common/LoggedThrow.h"
#include "common/TreeValues.h"
#include "platform/kor/Mutex.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace Rvl {

namespace {

// created in advance, as a step must not allocate memory
const std::string noFault;
const std::string notANumber = "the value to write is not a number; the safe value was written instead";

} // namespace

CNameServer<CAnalogOutChannel*> CAnalogOutChannel::NameServer;

struct CAnalogOutChannel::Private
{
    mutable Kor::CMutex mutex;
    double minimum = std::numeric_limits<double>::lowest();
    double maximum = std::numeric_limits<double>::max();
    double safeValue = 0.0;
    std::optional<double> requestedValue;
    double outputValue = std::numeric_limits<double>::quiet_NaN();
};

CAnalogOutChannel::CAnalogOutChannel(const std::string& name)
    : IIoChannelInterface(name), CNameServerRegistrator(NameServer, name, this),
      private_(std::make_unique<Private>())
{}

CAnalogOutChannel::~CAnalogOutChannel() = default;

void CAnalogOutChannel::setProperties(const boost::property_tree::ptree& tree)
{
    const double low =
        treeValueIfThere(tree, "Range.<xmlattr>.Minimum", std::numeric_limits<double>::lowest());
    const double high = treeValueIfThere(tree, "Range.<xmlattr>.Maximum", std::numeric_limits<double>::max());
    setRange(low, high, treeValueIfThere(tree, "<xmlattr>.SafeValue", 0.0));
    IIoChannelInterface::setProperties(tree);
}

void CAnalogOutChannel::safeWriteOutput(double value)
{
    Kor::CGuard guard(private_->mutex);
    private_->requestedValue = value;
    const bool isNumber = !std::isnan(value);
    const double output =
        isNumber ? std::clamp(value, private_->minimum, private_->maximum) : private_->safeValue;
    try {
        driveOutput(getUnscaledValue(output));
        private_->outputValue = output;
        setFault(isNumber ? noFault : notANumber);
    } catch (const CDeviceAccessException& exception) {
        setFault(exception.what());
    }
}

void CAnalogOutChannel::restoreOutput()
{
    Kor::CGuard guard(private_->mutex);
    if (private_->requestedValue) {
        safeWriteOutput(*private_->requestedValue);
    }
}

double CAnalogOutChannel::outputValue() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->outputValue;
}

double CAnalogOutChannel::minimum() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->minimum;
}

double CAnalogOutChannel::maximum() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->maximum;
}

double CAnalogOutChannel::safeValue() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->safeValue;
}

void CAnalogOutChannel::setRange(double minimum, double maximum, double safeValue)
{
    if (!(minimum <= safeValue && safeValue <= maximum)) {
        RVL_THROW(CConfigurationException,
                  "The safe value of channel " + getName() +
                      " does not lie between the minimum and the maximum of its range");
    }
    Kor::CGuard guard(private_->mutex);
    private_->minimum = minimum;
    private_->maximum = maximum;
    private_->safeValue = safeValue;
}

} // namespace Rvl
