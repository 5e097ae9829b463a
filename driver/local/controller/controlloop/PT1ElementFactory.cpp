#include "driver/local/controller/controlloop/PT1ElementFactory.h"

#include "driver/local/controller/controlloop/PT1Element.h"

namespace Rvl {

std::string CPT1ElementFactory::getTypeName()
{
    return "Rvl::CPT1Element";
}

ILoopInOut* CPT1ElementFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CPT1Element(tree);
}

} // namespace Rvl
