#include "driver/system/SystemFactoriesRegistration.h"

#include "driver/common/SignalChannels.h"
#include "driver/system/Computer.h"
#include "platform/rivlink_core/Environment.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <memory>

namespace Rvl {

namespace {

void registerSystemFactories()
{
    LOG4CPLUS_INFO(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("EnvLogger")),
                   "Registering System plugin factories");
    CEnvironment& environment = *CEnvironment::getInstance();
    environment.getDeviceFactoryRegistry().put(
        std::make_shared<CSignalDeviceFactory<CComputer>>("Rvl::CComputer"));
    auto& channels = environment.getIoChannellFactoryRegistry();
    channels.put(std::make_shared<CSignalChannelFactory<CSignalAnalogInChannel>>(
        "Rvl::CSystemAnalogInChannel", systemDevices));
    channels.put(std::make_shared<CSignalChannelFactory<CSignalDigitalOutChannel>>(
        "Rvl::CSystemPwmOutChannel", systemDevices));
}

[[maybe_unused]] const bool connectedAtLoad = (registerSystemPlugin(), true);

} // namespace

void registerSystemPlugin()
{
    CEnvironment::getInstance()->registerFactories().connect(&registerSystemFactories);
}

} // namespace Rvl
