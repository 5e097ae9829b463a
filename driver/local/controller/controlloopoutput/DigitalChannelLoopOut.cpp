#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOut.h"

#include "platform/rivlink_device/DigitalOutChannel.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl {

CDigitalChannelLoopOut::CDigitalChannelLoopOut(const boost::property_tree::ptree& tree)
    : channel_(CDigitalOutChannel::NameServer.lookupObject(tree.get<std::string>("Channel")))
{}

CDigitalChannelLoopOut::CDigitalChannelLoopOut(CDigitalOutChannel* channel) : channel_(channel) {}

void CDigitalChannelLoopOut::writeOutputValue(double value)
{
    channel_->writeOutput(value != 0.0);
}

} // namespace Rvl
