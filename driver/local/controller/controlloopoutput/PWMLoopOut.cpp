#include "driver/local/controller/controlloopoutput/PWMLoopOut.h"

#include "driver/local/controller/controlloopoutput/DutyCycle.h"
#include "platform/rivlink_device/DigitalOutChannel.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl {

CPWMLoopOut::CPWMLoopOut(const boost::property_tree::ptree& tree)
    : channel_(CDigitalOutChannel::NameServer.lookupObject(tree.get<std::string>("Channel")))
{}

CPWMLoopOut::CPWMLoopOut(CDigitalOutChannel* channel) : channel_(channel) {}

void CPWMLoopOut::init()
{
    channel_->setPWMMode(true);
}

void CPWMLoopOut::writeOutputValue(double value)
{
    channel_->safeWritePWMDutyCycle(dutyCycleFromControlValue(value));
}

} // namespace Rvl
