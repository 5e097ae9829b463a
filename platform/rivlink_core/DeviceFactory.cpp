#include "platform/rivlink_core/DeviceFactory.h"

#include "common/LoggedThrow.h"

#include <boost/property_tree/ptree.hpp>

#include <stdexcept>

namespace Rvl {

IDeviceFactory::IDeviceFactory() = default;
IDeviceFactory::~IDeviceFactory() = default;
IDeviceFactory::IDeviceFactory(const IDeviceFactory&) = default;
IDeviceFactory& IDeviceFactory::operator=(const IDeviceFactory&) = default;

IDeviceInterface* IDeviceFactory::createObject(const boost::property_tree::ptree& tree)
{
    IDeviceInterface* object = createObjectImpl(tree);
    if (!object) {
        RVL_THROW(std::runtime_error, "Could not create object of type " + getTypeName());
    }
    return object;
}

std::string IDeviceFactory::deviceNameFromProperties(const boost::property_tree::ptree& tree)
{
    return tree.get<std::string>("<xmlattr>.Name");
}

} // namespace Rvl
