#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOut.h"

#include "driver/local/controller/controlloopoutput/DutyCycle.h"
#include "platform/rivlink_device/DigitalOutChannel.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace Rvl {

CPWMTwoQuadrantLoopOut::CPWMTwoQuadrantLoopOut(const boost::property_tree::ptree& tree)
    : CPWMTwoQuadrantLoopOut(tree, nullptr)
{}

CPWMTwoQuadrantLoopOut::CPWMTwoQuadrantLoopOut(const boost::property_tree::ptree& tree,
                                               CDigitalOutChannel* channel)
    : CAbstractTwoQuadrantLoopOut(tree), channel_(channel)
{}

void CPWMTwoQuadrantLoopOut::init()
{
    if (channel_) {
        channel_->setPWMMode(true);
    } else if (!warned_) {
        warned_ = true;
        LOG4CPLUS_WARN(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("LocalLogger")),
                       "CPWMTwoQuadrantLoopOut has no PWM channel: it sets the direction and writes no "
                       "magnitude");
    }
}

void CPWMTwoQuadrantLoopOut::writeOuputChannel(double magnitude)
{
    if (channel_) {
        channel_->safeWritePWMDutyCycle(dutyCycleFromControlValue(magnitude));
    }
}

} // namespace Rvl
