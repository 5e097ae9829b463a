#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOutFactory.h"

#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOut.h"

namespace Rvl {

std::string CAnalogTwoQuadrantLoopOutFactory::getTypeName()
{
    return "Rvl::CAnalogTwoQuadrantLoopOut";
}

ILoopOut* CAnalogTwoQuadrantLoopOutFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CAnalogTwoQuadrantLoopOut(tree);
}

} // namespace Rvl
