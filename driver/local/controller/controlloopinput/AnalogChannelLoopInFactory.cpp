#include "driver/local/controller/controlloopinput/AnalogChannelLoopInFactory.h"

#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"

namespace Rvl {

std::string CAnalogChannelLoopInFactory::getTypeName()
{
    return "Rvl::CAnalogChannelLoopIn";
}

ILoopIn* CAnalogChannelLoopInFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CAnalogChannelLoopIn(tree);
}

} // namespace Rvl
