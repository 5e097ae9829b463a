#include "platform/rivlink_core/DeviceInterface.h"

namespace Rvl {

IDeviceInterface::NameServerType IDeviceInterface::NameServer;

IDeviceInterface::IDeviceInterface(const std::string& name)
    : name_(name), registrator_(NameServer, name, this)
{}

IDeviceInterface::~IDeviceInterface() = default;

const std::string& IDeviceInterface::getName() const
{
    return name_;
}

void IDeviceInterface::setProperties(const boost::property_tree::ptree&) {}

} // namespace Rvl
