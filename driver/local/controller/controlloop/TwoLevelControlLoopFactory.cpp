#include "driver/local/controller/controlloop/TwoLevelControlLoopFactory.h"

#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"

namespace Rvl {

std::string CTwoLevelControlLoopFactory::getTypeName()
{
    return "Rvl::CTwoLevelControlLoop";
}

IControlLoop* CTwoLevelControlLoopFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CTwoLevelControlLoop(tree);
}

} // namespace Rvl
