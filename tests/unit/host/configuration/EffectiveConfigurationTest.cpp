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
