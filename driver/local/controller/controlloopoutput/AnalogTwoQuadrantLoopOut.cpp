#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOut.h"

#include "platform/rivlink_device/AnalogOutChannel.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl {

CAnalogTwoQuadrantLoopOut::CAnalogTwoQuadrantLoopOut(const boost::property_tree::ptree& tree)
    : CAbstractTwoQuadrantLoopOut(tree),
      channel_(CAnalogOutChannel::NameServer.lookupObject(tree.get<std::string>("Channel")))
{}

void CAnalogTwoQuadrantLoopOut::writeOuputChannel(double magnitude)
{
    channel_->safeWriteOutput(magnitude);
}

} // namespace Rvl
