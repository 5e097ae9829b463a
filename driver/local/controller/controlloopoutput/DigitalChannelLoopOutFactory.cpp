#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOutFactory.h"

#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOut.h"

namespace Rvl {

std::string CDigitalChannelLoopOutFactory::getTypeName()
{
    return "Rvl::CDigitalChannelLoopOut";
}

ILoopOut* CDigitalChannelLoopOutFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CDigitalChannelLoopOut(tree);
}

} // namespace Rvl
