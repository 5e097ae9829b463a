#include "driver/simulated/SimulatedFactoriesRegistration.h"

#include "driver/simulated/ChipHeater.h"
#include "driver/simulated/PeltierBench.h"
#include "driver/simulated/PumpedVessel.h"
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
    CPeltierBench peltier{"Peltier"};
    const std::vector<std::string> samples{
        "<Device Name=\"Bench\" Type=\"Rvl::CThermalBench\">"
        "<Fault Kind=\"SensorNaN\" Signal=\"VesselTemperature\"/></Device>",
        "<Device Name=\"Chip\" Type=\"Rvl::CChipHeater\"><Fault Kind=\"DeviceAway\"/></Device>",
        "<Device Name=\"Bench\" Type=\"Rvl::CPeltierBench\"><Fault Kind=\"DeviceAway\"/></Device>",
        "<Device Name=\"Vessel\" Type=\"Rvl::CPumpedVessel\"><Fault Kind=\"DeviceAway\"/></Device>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedAnalogInChannel\"><Device>Present</Device>"
        "<Signal>VesselTemperature</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedAnalogOutChannel\"><Device>Present</Device>"
        "<Signal>Heater</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedDigitalOutChannel\"><Device>Present</Device>"
        "<Signal>Heater</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedDigitalPortChannel\"><Device>Peltier</Device>"
        "<Signal>Direction</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedPumpChannel\"><Device>Present</Device>"
        "<Signal>Heater</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSimulatedFaultSwitch\"><Device>Present</Device>"
        "<Kind>DeviceAway</Kind></Channel>",
    };
};

/// What a device shows at all its sensors in some seconds, and how often: driven by what `drive` writes
/// before each step.
template <class Device, class Drive>
std::vector<double> shownBy(const boost::property_tree::ptree& node, Drive drive)
{
    Device device("Bench");
    device.setProperties(node);
    std::vector<double> values{static_cast<double>(device.updateInterval_ms())};
    std::vector<std::unique_ptr<CSignalAnalogInChannel>> channels;
    for (const std::string& sensor : device.sensors()) {
        channels.push_back(std::make_unique<CSignalAnalogInChannel>(sensor, simulatedDevices));
        device.bindSensor(sensor, *channels.back());
    }
    for (int i = 0; i < 20; ++i) {
        drive(device, i);
        device.step(0.13);
        for (const auto& channel : channels) {
            values.push_back(channel->readValue());
        }
    }
    for (const auto& channel : channels) {
        device.unbind(*channel);
    }
    return values;
}

using Behaviour = std::vector<double> (*)(const boost::property_tree::ptree& node);

/// What a bench with these attributes shows in some seconds of heating.
std::vector<double> behaviour(const boost::property_tree::ptree& node)
{
    return shownBy<CThermalBench>(node, [](CThermalBench& bench, int) { bench.writeActuator(0, 60.0); });
}

std::vector<double> behaviourOfChip(const boost::property_tree::ptree& node)
{
    return shownBy<CChipHeater>(node, [](CChipHeater& chip, int) {
        chip.writeActuator(0, 60.0);
        chip.writeActuator(1, 1.0);
    });
}

/// Heating, then cooling.
std::vector<double> behaviourOfPeltier(const boost::property_tree::ptree& node)
{
    return shownBy<CPeltierBench>(node, [](CPeltierBench& bench, int step) {
        bench.writeActuator(0, step < 10 ? 2.0 : 1.0);
        bench.writeActuator(1, 60.0);
    });
}

/// Filling up to where a relief valve would open, then emptying, as fast as the pump can.
std::vector<double> behaviourOfVessel(const boost::property_tree::ptree& node)
{
    return shownBy<CPumpedVessel>(
        node, [](CPumpedVessel& vessel, int step) { vessel.writeActuator(0, step < 15 ? 1e6 : -1e6); });
}

struct SSpecimen
{
    std::string type;
    Behaviour behaviour;
    /// An attribute without whose noise the seed would not show.
    std::string noise;
};

const std::vector<SSpecimen> specimens{{"Rvl::CChipHeater", &behaviourOfChip, "Noise"},
                                       {"Rvl::CPeltierBench", &behaviourOfPeltier, "Noise"},
                                       {"Rvl::CPumpedVessel", &behaviourOfVessel, "PressureNoise"},
                                       {"Rvl::CThermalBench", &behaviour, "Noise"}};

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

TEST_F(SimulatedTypes, EverySignalIsDescribedAndViceVersa)
{
    const std::string wrong = wrongSignals(descriptions, "Rvl::CChipHeater", CChipHeater("Chip")) +
                              wrongSignals(descriptions, "Rvl::CPeltierBench", peltier) +
                              wrongSignals(descriptions, "Rvl::CPumpedVessel", CPumpedVessel("Vessel")) +
                              wrongSignals(descriptions, "Rvl::CThermalBench", present);
    EXPECT_EQ("", wrong);
    for (const std::string& device : typeNames(descriptions, "device")) {
        EXPECT_FALSE(signalsOf(descriptions, device, {"sensor"}).empty()) << device;
    }
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
    std::vector<std::string> types;
    int checked = 0;
    for (const SSpecimen& specimen : specimens) {
        types.push_back(specimen.type);
        for (const auto& key : keysOf(descriptions, specimen.type)) {
            const std::string path = key.at("path");
            if (!key.contains("default") || path.rfind("<xmlattr>", 0) != 0) {
                continue;
            }
            auto absent = nodeOf("<Device/>");
            if (path == "<xmlattr>.Seed") {
                absent.put("<xmlattr>." + specimen.noise, "0.1");
            } else if (path == "<xmlattr>.ReliefPressure") {
                absent.put("<xmlattr>.MaximumFlow", "4000"); // enough to open the valve
            }
            auto written = absent;
            written.put(path, textOf(key.at("default")));
            EXPECT_EQ(specimen.behaviour(absent), specimen.behaviour(written)) << specimen.type << path;
            auto changed = absent;
            changed.put(path, key.at("type") == "integer"
                                  ? textOf(key.at("default").get<long long>() + 1)
                                  : textOf(key.at("default").get<double>() * 1.5 + 0.25));
            EXPECT_NE(specimen.behaviour(absent), specimen.behaviour(changed)) << specimen.type << path;
            ++checked;
        }
    }
    EXPECT_EQ(typeNames(descriptions, "device"), types);
    EXPECT_EQ(11 + 11 + 7 + 8, checked);
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
    EXPECT_EQ(4U, environment.getDeviceFactoryRegistry().size());
    EXPECT_EQ(6U, environment.getIoChannellFactoryRegistry().size());
}
