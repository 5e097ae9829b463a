#include "driver/simulated/SimulatedFactoriesRegistration.h"

#include "driver/simulated/ThermalBench.h"
#include "platform/rivlink_core/Environment.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

#include <memory>
#include <sstream>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class SimulatedTypes : public testing::Test
{
protected:
    SimulatedTypes() { CEnvironment::getInstance()->registerFactories()(); }

    const nlohmann::json descriptions = typeDescriptions("rivlink_simulated");
    CThermalBench present{"Present"};
    const std::vector<std::string> samples{
        "<Device Name=\"Bench\" Type=\"Rvl::CThermalBench\">"
        "<Fault Kind=\"SensorNaN\" Signal=\"VesselTemperature\"/></Device>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedAnalogInChannel\"><Device>Present</Device>"
        "<Signal>VesselTemperature</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedAnalogOutChannel\"><Device>Present</Device>"
        "<Signal>Heater</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedDigitalOutChannel\"><Device>Present</Device>"
        "<Signal>Heater</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedFaultSwitch\"><Device>Present</Device>"
        "<Kind>DeviceAway</Kind></Channel>",
    };
};

/// What a bench with these attributes shows in some seconds of heating.
std::vector<double> behaviour(const boost::property_tree::ptree& node)
{
    CThermalBench bench("Bench");
    bench.setProperties(node);
    std::vector<double> values{static_cast<double>(bench.updateInterval_ms())};
    CSignalAnalogInChannel jacket("Jacket", simulatedDevices);
    CSignalAnalogInChannel vessel("Vessel", simulatedDevices);
    bench.bindSensor("JacketTemperature", jacket);
    bench.bindSensor("VesselTemperature", vessel);
    bench.writeActuator(0, 60.0);
    for (int i = 0; i < 20; ++i) {
        bench.step(0.13);
        values.push_back(jacket.readValue());
        values.push_back(vessel.readValue());
    }
    bench.unbind(jacket);
    bench.unbind(vessel);
    return values;
}

std::string textOf(const nlohmann::json& number)
{
    return number.dump();
}

} // namespace

TEST_F(SimulatedTypes, DescriptionsAreSound)
{
    EXPECT_THAT(faultsOf(descriptions), testing::IsEmpty());
    EXPECT_THAT(faultsOf(typeDescriptions("rivlink_platform")), testing::IsEmpty());
}

TEST_F(SimulatedTypes, EveryFactoryIsDescribedAndViceVersa)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    EXPECT_EQ(typeNames(descriptions, "device"), environment.getDeviceFactoryRegistry().names());
    EXPECT_EQ(typeNames(descriptions, "channel"), environment.getIoChannellFactoryRegistry().names());
    EXPECT_EQ(samples.size(),
              typeNames(descriptions, "device").size() + typeNames(descriptions, "channel").size());
}

TEST_F(SimulatedTypes, MissingRequiredKeyIsNamed)
{
    EXPECT_THAT(requiredKeysNotMissed(descriptions, samples), testing::IsEmpty());
}

TEST_F(SimulatedTypes, BadNumbersAreRefused)
{
    EXPECT_THAT(badNumbersAccepted(descriptions, samples), testing::IsEmpty());
}

TEST_F(SimulatedTypes, EachDefaultBehavesAsIfWritten)
{
    // noise makes the seed visible, and both are attributes with a default of their own
    const auto base = nodeOf("<Device/>");
    auto noisy = base;
    noisy.put("<xmlattr>.Noise", "0.1");
    int checked = 0;
    for (const auto& key : keysOf(descriptions, "Rvl::CThermalBench")) {
        const std::string path = key.at("path");
        if (!key.contains("default") || path.rfind("<xmlattr>", 0) != 0) {
            continue;
        }
        const auto& absent = path == "<xmlattr>.Seed" ? noisy : base;
        auto written = absent;
        written.put(path, textOf(key.at("default")));
        EXPECT_EQ(behaviour(absent), behaviour(written)) << path;
        auto changed = absent;
        changed.put(path, key.at("type") == "integer" ? textOf(key.at("default").get<long long>() + 1)
                                                      : textOf(key.at("default").get<double>() * 1.5 + 0.25));
        EXPECT_NE(behaviour(absent), behaviour(changed)) << path;
        ++checked;
    }
    EXPECT_EQ(11, checked);
}

TEST_F(SimulatedTypes, AbsentInitialTemperatureIsTheAmbientTemperature)
{
    EXPECT_EQ(behaviour(nodeOf("<Device AmbientTemperature=\"30\"/>")),
              behaviour(nodeOf("<Device AmbientTemperature=\"30\" InitialTemperature=\"30\"/>")));
    EXPECT_NE(behaviour(nodeOf("<Device AmbientTemperature=\"30\"/>")),
              behaviour(nodeOf("<Device AmbientTemperature=\"30\" InitialTemperature=\"22\"/>")));
}

TEST_F(SimulatedTypes, DefaultOfAFaultsBeginIsAsIfWritten)
{
    const auto faulty = [](const std::string& from) {
        return behaviour(
            nodeOf("<Device><Fault Kind=\"ActuatorDead\" Signal=\"Heater\" " + from + "/></Device>"));
    };
    EXPECT_EQ(faulty(""), faulty("From_s=\"0\""));
    EXPECT_NE(faulty(""), faulty("From_s=\"1\""));
    EXPECT_NE(faulty(""), faulty("To_s=\"1\""));
}

TEST_F(SimulatedTypes, EveryFaultKindIsDescribed)
{
    for (const std::string type : {"Rvl::CThermalBench", "Rvl::CSimulatedFaultSwitch"}) {
        for (const auto& key : keysOf(descriptions, type)) {
            if (key.at("type") == "choice") {
                std::string list;
                for (const std::string kind : key.at("choices")) {
                    EXPECT_NO_THROW(CSimulatedDevice::faultOfName(kind));
                    list += (list.empty() ? "" : ", ") + kind;
                }
                EXPECT_EQ("There is no kind of fault ?; kinds are: " + list,
                          messageOf<std::exception>([] { CSimulatedDevice::faultOfName("?"); }));
            }
        }
    }
}

TEST(SimulatedFactoriesRegistration, ConnectsAtLoadAndOnceMoreOnRequest)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    const std::size_t slots = environment.registerFactories().num_slots();
    EXPECT_GE(slots, 1U);
    registerSimulatedPlugin();
    EXPECT_EQ(slots + 1, environment.registerFactories().num_slots());
    environment.registerFactories()();
    EXPECT_EQ(1U, environment.getDeviceFactoryRegistry().size());
    EXPECT_EQ(4U, environment.getIoChannellFactoryRegistry().size());
}
