#include "driver/local/controller/controlloopoutput/PumpLoopOut.h"

#include "platform/rivlink_device/PumpInterface.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>

namespace Rvl {

CPumpLoopOut::CPumpLoopOut(const boost::property_tree::ptree& tree)
    : pump_(IPumpInterface::NameServer.lookupObject(tree.get<std::string>("Pump")))
{}

CPumpLoopOut::CPumpLoopOut(IPumpInterface* pump) : pump_(pump) {}

void CPumpLoopOut::writeOutputValue(double value)
{
    const double upper = pump_->maximumFlow();
    const double lower = -pump_->maximumFlow();
    pump_->generateFlow(upper > value ? std::max(value, lower) : upper);
}

} // namespace Rvl
