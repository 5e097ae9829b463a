#include "driver/local/LocalFactoriesRegistration.h"

#include "driver/local/Bus/LocalBusFactory.h"
#include "driver/local/LocalControllerChannelFactory.h"
#include "driver/local/VelonixControlChannelFactory.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/property_tree/ptree.hpp>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <atomic>
#include <functional>
#include <memory>

namespace Rvl {

void RegisterLocalFactories::operator()() const
{
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("EnvLogger")),
                    "Registering Local plugin factories");
    CEnvironment& environment = *CEnvironment::getInstance();
    auto& channelFactories = environment.getIoChannellFactoryRegistry();
    channelFactories.put(std::make_shared<CLocalControllerChannelFactory>());
    channelFactories.put(std::make_shared<CVelonixControlChannelFactory>());
    auto& busFactories = environment.getBusFactoryRegistry();
    busFactories.put(std::make_shared<CLocalBusFactory>());

    boost::property_tree::ptree tree;
    tree.put("BusName", "LocalBus");
    const std::shared_ptr<IBus> bus(busFactories.get("Rvl::CLocalBus")->createObject(tree));
    bus->setProperties(tree);
    environment.busRegistry().put(bus);
}

namespace {

bool connectRegistration()
{
    // in a std::function: gcc 12 takes an object without members inside a boost::function for uninitialised
    CEnvironment::getInstance()->registerFactories().connect(std::function<void()>(RegisterLocalFactories()));
    return true;
}

/// Whether the registration is connected: it is from the moment the plug-in is loaded.
std::atomic<bool> registered{connectRegistration()};

} // namespace

void registerLocalPlugin()
{
    registered = connectRegistration();
}

} // namespace Rvl
