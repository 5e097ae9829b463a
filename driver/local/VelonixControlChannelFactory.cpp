#include "driver/local/VelonixControlChannelFactory.h"

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/VelonixController.h"

#include <utility>

namespace Rvl {

std::string CVelonixControlChannelFactory::getTypeName()
{
    return "Rvl::CVelonixController";
}

CLocalControllerChannel*
CVelonixControlChannelFactory::createControlChannelObject(const std::string& name,
                                                          std::shared_ptr<IControlLoop> loop) const
{
    return new CVelonixController(name, std::move(loop));
}

} // namespace Rvl
