#include "host/configuration/OutputCheck.h"

#include "host/configuration/Configuration.h"
#include "host/configuration/ConfigurationFrame.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

/// Controllers A, B and C in lines 2 to 4.
class OutputCheckTest : public testing::Test
{
protected:
    void drive(int controller, const std::string& output, bool shared = false,
               std::uint32_t lines = 0xffffffffU, const std::string& server = "digitalOut")
    {
        const pugi::xml_node node =
            objectsOf(configuration.root(), "Channels", "Channel").at(static_cast<std::size_t>(controller));
        check.add(server, output, {node, configuration.fault(node, {}), shared}, lines);
    }

    std::string report() const { return faults.report("c"); }

    const CConfiguration configuration =
        CConfiguration::parse("<Configuration><Channels>\n<Channel Name='A'/>\n<Channel Name='B'/>\n"
                              "<Channel Name='C'/></Channels></Configuration>",
                              "c");
    CFaultList faults;
    COutputCheck check{faults};
};

std::string conflict(int line, const std::string& name, const std::string& other, int otherLine)
{
    return "c:" + std::to_string(line) + ": /Configuration/Channels/Channel[" + std::to_string(line - 1) +
           "]: \"Heater\" is driven by controller \"" + name + "\" and by controller \"" + other +
           "\" in line " + std::to_string(otherLine) +
           "; expected one controller for each output, or SharedOutput to be true for both\n";
}

} // namespace

TEST_F(OutputCheckTest, SecondControllerOfAnOutputIsRefused)
{
    drive(0, "Heater");
    drive(1, "Pump");
    EXPECT_EQ(report(), "");
    drive(2, "Heater");
    EXPECT_EQ(report(), conflict(4, "C", "A", 2));
}

TEST_F(OutputCheckTest, OutputsOfDifferentKindsMayShareAName)
{
    drive(0, "Heater");
    drive(1, "Heater", false, 0xffffffffU, "analogOut");
    EXPECT_EQ(report(), "");
}

TEST_F(OutputCheckTest, ControllersShareAnOutputIfAllAllowIt)
{
    drive(0, "Heater", true);
    drive(1, "Heater", true);
    EXPECT_EQ(report(), "");
    drive(2, "Heater");
    EXPECT_EQ(report(), conflict(4, "C", "A", 2));
}

TEST_F(OutputCheckTest, OutputThatIsNotSharedIsNotTakenByOneThatWouldShare)
{
    drive(0, "Heater");
    drive(1, "Heater", true);
    EXPECT_EQ(report(), conflict(3, "B", "A", 2));
}

TEST_F(OutputCheckTest, EnableLineThatIsTheOutputIsRefusedEvenIfShared)
{
    drive(0, "Heater", true);
    drive(0, "Heater", true);
    EXPECT_EQ(report(),
              "c:2: /Configuration/Channels/Channel[1]: \"Heater\" is driven by controller \"A\" twice, "
              "the other time in line 2; expected two different outputs\n");
}

TEST_F(OutputCheckTest, LinesOfAPortAreOutputsOfTheirOwn)
{
    drive(0, "Heater", false, 0x3, "digitalPort");
    drive(1, "Heater", false, 0xc, "digitalPort");
    EXPECT_EQ(report(), "");
    drive(2, "Heater", false, 0x8, "digitalPort");
    EXPECT_EQ(report(), conflict(4, "C", "B", 3));
}

} // namespace Rvl::Test
