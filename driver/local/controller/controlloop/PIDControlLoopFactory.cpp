#include "driver/local/controller/controlloop/PIDControlLoopFactory.h"

#include "driver/local/controller/controlloop/PIDControlLoop.h"

namespace Rvl {

std::string CPIDControlLoopFactory::getTypeName()
{
    return "Rvl::CPIDControlLoop";
}

IControlLoop* CPIDControlLoopFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CPIDControlLoop(tree);
}

} // namespace Rvl
