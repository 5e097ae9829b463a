#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOutFactory.h"

#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOut.h"

namespace Rvl {

std::string CPWMTwoQuadrantLoopOutFactory::getTypeName()
{
    return "Rvl::CPWMTwoQuadrantLoopOut";
}

ILoopOut* CPWMTwoQuadrantLoopOutFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CPWMTwoQuadrantLoopOut(tree);
}

} // namespace Rvl
