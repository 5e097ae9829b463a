#include "driver/local/VelonixController.h"

#include "platform/rivlink_device/DigitalOutChannel.h"

#include <boost/property_tree/ptree.hpp>

#include <utility>

namespace Rvl {

CVelonixController::CVelonixController(const std::string& name, std::shared_ptr<IControlLoop> loop)
    : CLocalControllerChannel(name, std::move(loop))
{}

void CVelonixController::setProperties(const boost::property_tree::ptree& tree)
{
    IIoChannelInterface::setProperties(tree);
    const auto name = tree.get<std::string>("PwmOutputEnable");
    pwmOutputEnable_ = CDigitalOutChannel::NameServer.lookupObject(name);
}

void CVelonixController::setEnabled(bool enable)
{
    if (pwmOutputEnable_) {
        pwmOutputEnable_->writeOutput(enable);
    }
    CLocalControllerChannel::setEnabled(enable);
}

} // namespace Rvl
