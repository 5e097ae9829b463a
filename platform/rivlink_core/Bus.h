#pragma once

#include "platform/rivlink_core/NamedObject.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <memory>
#include <string>
#include <vector>

namespace Rvl {

class CCommunicationStateRequest;
class IDeviceInterface;

/// The connection, real or not, to a set of devices. The host calls, one at a time: setProperties(), init(),
/// connect() before the devices are connected, disconnect() after they are disconnected, shutdown().
class RIVLINK_CORE_EXPORT IBus : public INamedObject
{
public:
    ~IBus() override;

    /// Adds a device to the bus. It is not owned; a device already there is not added again.
    virtual void addDevice(IDeviceInterface* device);
    /// Removes a device. Nothing happens if it is not on the bus.
    virtual void removeDevice(IDeviceInterface* device);
    virtual void setProperties(const boost::property_tree::ptree& tree) = 0;
    virtual void init() = 0;
    virtual void connect() = 0;
    virtual void disconnect() = 0;
    virtual void requestCommunicationStateChange(const CCommunicationStateRequest& request) = 0;
    virtual bool isConnected() const = 0;
    virtual const std::string& getTypeName() const = 0;
    virtual void shutdown() = 0;

    /// The devices in the order in which they were added.
    const std::vector<IDeviceInterface*>& devices() const;

protected:
    IBus();

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
