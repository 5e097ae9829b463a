#pragma once

#include "platform/rivlink_common/Factory.h"
#include "platform/rivlink_core/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

class IDeviceInterface;

/// Builds devices of one type.
class RIVLINK_CORE_EXPORT IDeviceFactory : public IFactory
{
public:
    IDeviceFactory();
    ~IDeviceFactory() override;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual IDeviceInterface* createObjectImpl(const boost::property_tree::ptree& tree) = 0;

public:
    /// Builds a device from its node of the configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory builds nothing; exceptions of the product's constructor pass
    /// unchanged.
    virtual IDeviceInterface* createObject(const boost::property_tree::ptree& tree);

    /// The device's name: the attribute "Name" of its node ("<xmlattr>.Name"). Throws the property tree's
    /// bad-path error if it is missing.
    static std::string deviceNameFromProperties(const boost::property_tree::ptree& tree);

protected:
    IDeviceFactory(const IDeviceFactory&);
    IDeviceFactory& operator=(const IDeviceFactory&);
};

} // namespace Rvl
