#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_core/NamedObject.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

/// A device: it does its input and output on a thread of its own and passes values to and from its channels,
/// which find it by its name. The host calls, one at a time: setProperties(), connect() once all channels are
/// bound, disconnect() before the channels are destroyed.
class RIVLINK_CORE_EXPORT IDeviceInterface : public INamedObject
{
public:
    using NameServerType = CNameServer<IDeviceInterface*>;

    /// Every live device by name.
    static NameServerType NameServer;

    ~IDeviceInterface() override;

    const std::string& getName() const override;
    /// Reads the device's node of the configuration. Throws CConfigurationException or the property tree's
    /// errors for values that cannot be used.
    virtual void setProperties(const boost::property_tree::ptree& tree);
    /// Starts the exchange of values. Throws CDeviceAccessException if the device cannot be reached.
    virtual void connect() = 0;
    /// Carries out pending writes, sets every output to its safe value and ends the exchange.
    /// Nothing happens if the device is not connected. Must not throw.
    virtual void disconnect() = 0;
    virtual bool isConnected() const = 0;

protected:
    /// Registers the name. Throws CConfigurationException if another device has it.
    explicit IDeviceInterface(const std::string& name);

private:
    std::string name_;
    CNameServerRegistrator<IDeviceInterface*, NameServerType> registrator_;
};

} // namespace Rvl
