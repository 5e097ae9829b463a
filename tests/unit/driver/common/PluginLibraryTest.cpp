// Loads both device plug-ins as a host does: as libraries, knowing nothing of them but the platform.
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "tests/support/DeviceTools.h"

#include <boost/dll/shared_library.hpp>
#include <gmock/gmock.h>

#include <filesystem>
#include <memory>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class PluginLibraries : public testing::Test
{
protected:
    PluginLibraries()
        : simulated(std::filesystem::absolute(SIMULATED_LIBRARY).string()),
          system(std::filesystem::absolute(SYSTEM_LIBRARY).string())
    {
        environment.registerFactories()();
    }
    // what the plug-ins filed is their code
    ~PluginLibraries() override { environment.releasePlugins(); }

    std::unique_ptr<IDeviceInterface> device(const std::string& xml)
    {
        const auto node = nodeOf(xml);
        std::unique_ptr<IDeviceInterface> made(environment.getDeviceFactoryRegistry()
                                                   .get(node.get<std::string>("<xmlattr>.Type"))
                                                   ->createObject(node));
        made->setProperties(node);
        return made;
    }
    std::unique_ptr<IIoChannelInterface> channel(const std::string& xml)
    {
        const auto node = nodeOf(xml);
        std::unique_ptr<IIoChannelInterface> made(environment.getIoChannellFactoryRegistry()
                                                      .get(node.get<std::string>("<xmlattr>.Type"))
                                                      ->createObject(node));
        made->setProperties(node);
        made->connectToDevice();
        return made;
    }

    CEnvironment& environment = *CEnvironment::getInstance();
    boost::dll::shared_library simulated;
    boost::dll::shared_library system;
};

} // namespace

TEST_F(PluginLibraries, WorkSideBySide)
{
    EXPECT_THAT(environment.getDeviceFactoryRegistry().names(),
                testing::IsSupersetOf({"Rvl::CComputer", "Rvl::CThermalBench"}));
    const auto bench = device("<Device Name=\"Bench\" Type=\"Rvl::CThermalBench\"/>");
    const auto machine = device("<Device Name=\"Machine\" Type=\"Rvl::CComputer\" Threads=\"1\"/>");
    const auto vessel = channel("<Channel Name=\"Vessel\" Type=\"Rvl::CSimulatedAnalogInChannel\">"
                                "<Device>Bench</Device><Signal>VesselTemperature</Signal></Channel>");
    // each plug-in has its own devices, although both are built on the same base
    EXPECT_EQ("Channel Use: device Machine is not a simulated device; simulated devices are: Bench",
              messageOf<std::exception>([&] {
                  channel("<Channel Name=\"Use\" Type=\"Rvl::CSimulatedAnalogInChannel\">"
                          "<Device>Machine</Device><Signal>CpuUse</Signal></Channel>");
              }));
    EXPECT_EQ("Channel T: device Bench is not a computer; computers are: Machine",
              messageOf<std::exception>([&] {
                  channel("<Channel Name=\"T\" Type=\"Rvl::CSystemAnalogInChannel\">"
                          "<Device>Bench</Device><Signal>VesselTemperature</Signal></Channel>");
              }));
    bench->connect();
    machine->connect();
    EXPECT_EQ(22.0, CAnalogInChannel::NameServer.lookupObject("Vessel")->readValue());
    bench->disconnect();
    machine->disconnect();
}

TEST_F(PluginLibraries, ExportTheirRegistration)
{
#if !defined(_MSC_VER) // the names are the Itanium ABI's, which every other compiler follows
    EXPECT_TRUE(simulated.has("_ZN3Rvl23registerSimulatedPluginEv"));
    EXPECT_TRUE(system.has("_ZN3Rvl20registerSystemPluginEv"));
    EXPECT_FALSE(
        simulated.has("_ZN3Rvl13CThermalBenchC1ERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"))
        << "what is not exported is hidden";
#endif
}
