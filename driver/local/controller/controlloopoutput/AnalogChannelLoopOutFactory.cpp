#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOutFactory.h"

#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOut.h"

namespace Rvl {

std::string CAnalogChannelLoopOutFactory::getTypeName()
{
    return "Rvl::CAnalogChannelLoopOut";
}

ILoopOut* CAnalogChannelLoopOutFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CAnalogChannelLoopOut(tree);
}

} // namespace Rvl
