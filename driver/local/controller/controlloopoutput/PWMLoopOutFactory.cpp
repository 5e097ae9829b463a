#include "driver/local/controller/controlloopoutput/PWMLoopOutFactory.h"

#include "driver/local/controller/controlloopoutput/PWMLoopOut.h"

namespace Rvl {

std::string CPWMLoopOutFactory::getTypeName()
{
    return "Rvl::CPWMLoopOut";
}

ILoopOut* CPWMLoopOutFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CPWMLoopOut(tree);
}

} // namespace Rvl
