#include "driver/local/controller/controlloopoutput/PumpLoopOutFactory.h"

#include "driver/local/controller/controlloopoutput/PumpLoopOut.h"

namespace Rvl {

std::string CPumpLoopOutFactory::getTypeName()
{
    return "Rvl::CPumpLoopOut";
}

ILoopOut* CPumpLoopOutFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CPumpLoopOut(tree);
}

} // namespace Rvl
