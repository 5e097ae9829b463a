#include "driver/local/controller/controlloop/ConditionalControlLoopFactory.h"

#include "driver/local/controller/controlloop/ConditionalControlLoop.h"

namespace Rvl {

std::string CConditionalControlLoopFactory::getTypeName()
{
    return "Rvl::CConditionalControlLoop";
}

IControlLoop* CConditionalControlLoopFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CConditionalControlLoop(tree);
}

} // namespace Rvl
