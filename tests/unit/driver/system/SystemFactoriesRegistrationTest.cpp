#include "driver/system/SystemFactoriesRegistration.h"

#include "driver/system/Computer.h"
#include "platform/rivlink_core/Environment.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

#include <tuple>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class SystemTypes : public testing::Test
{
protected:
    SystemTypes() { CEnvironment::getInstance()->registerFactories()(); }

    const nlohmann::json descriptions = typeDescriptions("rivlink_system");
    CComputer present{"Present"};
    const std::vector<std::string> samples{
        "<Device Name=\"Machine\" Type=\"Rvl::CComputer\"/>",
        "<Channel Name=\"C\" Type=\"Rvl::CSystemAnalogInChannel\"><Device>Present</Device>"
        "<Signal>CpuUse</Signal></Channel>",
        "<Channel Name=\"C\" Type=\"Rvl::CSystemPwmOutChannel\"><Device>Present</Device>"
        "<Signal>Load</Signal></Channel>",
    };
};

/// All that the attributes of a computer decide.
std::tuple<int, double, unsigned, int> settings(const boost::property_tree::ptree& node)
{
    CComputer computer("Machine");
    computer.setProperties(node);
    return {computer.updateInterval_ms(), computer.smoothingTimeConstant_s(), computer.loadThreads(),
            computer.loadPeriod_ms()};
}

} // namespace

TEST_F(SystemTypes, DescriptionsAreSound)
{
    EXPECT_THAT(faultsOf(descriptions), testing::IsEmpty());
}

TEST_F(SystemTypes, EveryFactoryIsDescribedAndViceVersa)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    EXPECT_EQ(typeNames(descriptions, "device"), environment.getDeviceFactoryRegistry().names());
    EXPECT_EQ(typeNames(descriptions, "channel"), environment.getIoChannellFactoryRegistry().names());
    EXPECT_EQ(samples.size(),
              typeNames(descriptions, "device").size() + typeNames(descriptions, "channel").size());
}

TEST_F(SystemTypes, EverySignalIsDescribedAndViceVersa)
{
    EXPECT_EQ("", wrongSignals(descriptions, "Rvl::CComputer", CComputer("Probe")));
    EXPECT_EQ(std::vector<std::string>{"CpuUse"}, signalsOf(descriptions, "Rvl::CComputer", {"sensor"}));
}

TEST_F(SystemTypes, MissingRequiredKeyIsNamed)
{
    EXPECT_THAT(requiredKeysNotMissed(descriptions, samples), testing::IsEmpty());
}

TEST_F(SystemTypes, BadNumbersAreRefused)
{
    EXPECT_THAT(badNumbersAccepted(descriptions, samples), testing::IsEmpty());
}

TEST_F(SystemTypes, EachDefaultBehavesAsIfWritten)
{
    const auto absent = nodeOf("<Device/>");
    int checked = 0;
    for (const auto& key : keysOf(descriptions, "Rvl::CComputer")) {
        if (!key.contains("default")) {
            continue;
        }
        const std::string path = key.at("path");
        auto written = absent;
        written.put(path, key.at("default").dump());
        EXPECT_EQ(settings(absent), settings(written)) << path;
        written.put(path, key.at("default").get<int>() + 1);
        EXPECT_NE(settings(absent), settings(written)) << path;
        ++checked;
    }
    EXPECT_EQ(3, checked);
}

TEST(SystemFactoriesRegistration, ConnectsAtLoadAndOnceMoreOnRequest)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    const std::size_t slots = environment.registerFactories().num_slots();
    EXPECT_GE(slots, 1U);
    registerSystemPlugin();
    EXPECT_EQ(slots + 1, environment.registerFactories().num_slots());
    environment.registerFactories()();
    EXPECT_EQ(1U, environment.getDeviceFactoryRegistry().size());
    EXPECT_EQ(2U, environment.getIoChannellFactoryRegistry().size());
}
