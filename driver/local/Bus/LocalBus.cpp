#include "driver/local/Bus/LocalBus.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_core/CommunicationStateRequest.h"

#include <atomic>
#include <utility>

namespace Rvl {

struct CLocalBus::LocalBusPrivate
{
    LocalBusPrivate(CLocalBus* bus, std::string busName) : owner(bus), name(std::move(busName)) {}

    /// Asks the owner itself, so that a derived bus may have its own idea of being connected.
    void requireConnection() const
    {
        if (!owner->isConnected()) {
            RVL_THROW(CDeviceAccessException, "Data link layer error - bus " + name + " not connected");
        }
    }

    CLocalBus* const owner;
    std::atomic<bool> connected{false};
    const std::string name;
};

namespace {

log4cplus::Logger localLogger()
{
    return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("LocalLogger"));
}

} // namespace

CLocalBus::CLocalBus(std::string name) : private_(std::make_unique<LocalBusPrivate>(this, std::move(name)))
{
    LOG4CPLUS_TRACE(localLogger(), "Creating CLocalBus with name " << private_->name);
}

CLocalBus::~CLocalBus() = default;

const std::string& CLocalBus::getName() const
{
    return private_->name;
}

void CLocalBus::setProperties(const boost::property_tree::ptree&) {}

void CLocalBus::init()
{
    LOG4CPLUS_TRACE(localLogger(), "CLocalBus " << private_->name << " init");
}

void CLocalBus::connect()
{
    private_->connected = true;
    LOG4CPLUS_TRACE(localLogger(), "CLocalBus " << private_->name << " connect");
}

void CLocalBus::disconnect()
{
    private_->connected = false;
    LOG4CPLUS_TRACE(localLogger(), "CLocalBus " << private_->name << " disconnect");
}

void CLocalBus::requestCommunicationStateChange(const CCommunicationStateRequest& request)
{
    LOG4CPLUS_TRACE(localLogger(), "CLocalBus " << private_->name << " request comm. state " << request);
}

bool CLocalBus::isConnected() const
{
    return private_->connected;
}

const std::string& CLocalBus::getTypeName() const
{
    static const std::string typeName("Rvl::CLocalBus");
    return typeName;
}

void CLocalBus::shutdown()
{
    LOG4CPLUS_TRACE(localLogger(), "CLocalBus " << private_->name << " shutdown");
}

void CLocalBus::writeData()
{
    private_->requireConnection();
}

} // namespace Rvl
