#include "host/configuration/EffectiveConfiguration.h"

#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Rvl::Test {

TEST(EffectiveConfigurationTest, HasEveryDefaultAndPassesTheCheck)
{
    const CTemporaryFolder folder;
    const std::string sound = (std::filesystem::path(RIVLINK_HOST_TEST_FOLDER) / "sound").string();
    const SProgramResult printed = runHost({"print", "two_controllers.xml"}, sound);
    EXPECT_EQ(printed.err, "");
    EXPECT_EQ(printed.exitCode, 0);
    EXPECT_EQ(printed.out, readFile(sound + "/two_controllers.effective"));

    const std::string file = folder.write("effective.xml", printed.out);
    EXPECT_EQ(runHost({"check", file}).out, file + ": no faults\n");
    EXPECT_EQ(runHost({"print", file}).out, printed.out);
}

TEST(EffectiveConfigurationTest, LimitThatIsNoneIsLeftOut)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [{"name": "X", "kind": "channel", "keys": [
        {"path": "Range.<xmlattr>.Minimum", "type": "real", "default": -1.7976931348623157e+308,
         "unlimited": true, "meaning": "m"},
        {"path": "Range.<xmlattr>.Maximum", "type": "real", "default": 1.7976931348623157e+308,
         "unlimited": true, "meaning": "m"},
        {"path": "Range.<xmlattr>.Step", "type": "real", "default": 2, "meaning": "m"}]}]})",
                      "x");
    catalogue.resolve();
    const std::string text = effectiveConfiguration(
        CConfiguration::parse("<Configuration><Plugins/><Channels><Channel Name='A' Type='X'>"
                              "<Range Maximum='80'/></Channel></Channels></Configuration>",
                              "x"),
        catalogue);
    EXPECT_NE(text.find("<Range Maximum=\"80\" Step=\"2\" />"), std::string::npos) << text;
}

TEST(EffectiveConfigurationTest, FaultyConfigurationIsNotPrinted)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", "<Configuration><Plugins/></Configuration>");
    const SProgramResult result = runHost({"print", file});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, file + ":1: /Configuration/Channels: is missing; expected an element\n");
    EXPECT_EQ(result.exitCode, 78);
}

} // namespace Rvl::Test
