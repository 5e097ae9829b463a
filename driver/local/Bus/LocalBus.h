#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_core/Bus.h"

#include <memory>
#include <string>

namespace Rvl {

/// The bus of the local controller channels. They run on this computer and hang on no wire, but the host
/// expects every channel to have a bus: this one keeps a name and whether it is connected, logs each
/// call, and does nothing else. The host calls it from one thread at a time.
class RIVLINK_LOCAL_EXPORT CLocalBus : public IBus
{
public:
    /// A disconnected bus of that name.
    explicit CLocalBus(std::string name);
    ~CLocalBus() override;

    const std::string& getName() const override;
    /// There is nothing to set: the properties are not looked at.
    void setProperties(const boost::property_tree::ptree& tree) override;
    void init() override;
    void connect() override;
    void disconnect() override;
    /// The request is logged and not acted on.
    void requestCommunicationStateChange(const CCommunicationStateRequest& request) override;
    bool isConnected() const override;
    /// "Rvl::CLocalBus".
    const std::string& getTypeName() const override;
    void shutdown() override;

    /// Where data would go out: throws CDeviceAccessException while the bus is not connected, and otherwise
    /// does nothing.
    void writeData();

private:
    struct LocalBusPrivate;
    std::unique_ptr<LocalBusPrivate> private_;
};

} // namespace Rvl
