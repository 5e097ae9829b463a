#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOut.h"

#include "platform/rivlink_device/AnalogOutChannel.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl {

CAnalogChannelLoopOut::CAnalogChannelLoopOut(const boost::property_tree::ptree& tree)
    : channel_(CAnalogOutChannel::NameServer.lookupObject(tree.get<std::string>("Channel")))
{}

CAnalogChannelLoopOut::CAnalogChannelLoopOut(CAnalogOutChannel* channel) : channel_(channel) {}

void CAnalogChannelLoopOut::setAnalogOutputChannel(CAnalogOutChannel* channel)
{
    channel_ = channel;
}

void CAnalogChannelLoopOut::writeOutputValue(double value)
{
    channel_->safeWriteOutput(value);
}

} // namespace Rvl
