#include "driver/simulated/SimulatedFactoriesRegistration.h"

#include "driver/common/SignalChannels.h"
#include "driver/simulated/ChipHeater.h"
#include "driver/simulated/PeltierBench.h"
#include "driver/simulated/PumpedVessel.h"
#include "driver/simulated/SimulatedFaultSwitch.h"
#include "driver/simulated/ThermalBench.h"
#include "platform/rivlink_core/Environment.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <memory>

namespace Rvl {

namespace {

class CSimulatedFaultSwitchFactory : public IIoChannelFactory
{
public:
    std::string getTypeName() override { return "Rvl::CSimulatedFaultSwitch"; }

protected:
    IIoChannelInterface* createObjectImpl(const boost::property_tree::ptree& tree) override
    {
        return new CSimulatedFaultSwitch(channelNameFromProperties(tree));
    }
};

template <class Device> void putDevice(const char* typeName)
{
    CEnvironment::getInstance()->getDeviceFactoryRegistry().put(
        std::make_shared<CSignalDeviceFactory<Device>>(typeName));
}

template <class Channel> void putChannel(const char* typeName)
{
    CEnvironment::getInstance()->getIoChannellFactoryRegistry().put(
        std::make_shared<CSignalChannelFactory<Channel>>(typeName, simulatedDevices));
}

void registerSimulatedFactories()
{
    LOG4CPLUS_INFO(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("EnvLogger")),
                   "Registering Simulated plugin factories");
    putDevice<CChipHeater>("Rvl::CChipHeater");
    putDevice<CPeltierBench>("Rvl::CPeltierBench");
    putDevice<CPumpedVessel>("Rvl::CPumpedVessel");
    putDevice<CThermalBench>("Rvl::CThermalBench");
    putChannel<CSignalAnalogInChannel>("Rvl::CSimulatedAnalogInChannel");
    putChannel<CSignalAnalogOutChannel>("Rvl::CSimulatedAnalogOutChannel");
    putChannel<CSignalDigitalOutChannel>("Rvl::CSimulatedDigitalOutChannel");
    putChannel<CSignalDigitalPortChannel>("Rvl::CSimulatedDigitalPortChannel");
    putChannel<CSignalPumpChannel>("Rvl::CSimulatedPumpChannel");
    CEnvironment::getInstance()->getIoChannellFactoryRegistry().put(
        std::make_shared<CSimulatedFaultSwitchFactory>());
}

[[maybe_unused]] const bool connectedAtLoad = (registerSimulatedPlugin(), true);

} // namespace

void registerSimulatedPlugin()
{
    CEnvironment::getInstance()->registerFactories().connect(&registerSimulatedFactories);
}

} // namespace Rvl
