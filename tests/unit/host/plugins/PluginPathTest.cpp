#include "host/plugins/PluginPath.h"

#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Rvl::Test {

TEST(PluginPathTest, FirstFolderWithThePluginIsTaken)
{
    const CTemporaryFolder first;
    const CTemporaryFolder second;
    const std::string library =
        CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}).findLibrary("rivlink_fake")->filename().string();
    second.write(library, "");
    const CPluginPath path({first.file(""), second.file(""), RIVLINK_TEST_PLUGIN_DIRECTORY});
    EXPECT_EQ(path.findLibrary("rivlink_fake"), std::filesystem::path(second.file("")) / library);
    first.write(library, "");
    EXPECT_EQ(path.findLibrary("rivlink_fake"), std::filesystem::path(first.file("")) / library);
    EXPECT_FALSE(path.findLibrary("rivlink_nowhere"));
}

TEST(PluginPathTest, PluginsAreLibrariesWithADescription)
{
    EXPECT_EQ(CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY, "no/such/folder"}).plugins(),
              (std::vector<std::string>{
                  "broken_loops_version", "broken_no_library", "broken_throwing", "broken_throwing_a_number",
                  "broken_throwing_at_load", "broken_without_entry", "linked_plugin", "linked_without_entry",
                  "linking_plugin", "linking_without_entry", "rivlink_current", "rivlink_fake"}));
}

TEST(PluginPathTest, EnvironmentComesAfterTheCommandLine)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", SFakeConfiguration().text());
    const std::string separator(1, std::filesystem::path::preferred_separator == '\\' ? ';' : ':');
    const SProgramResult result =
        runProgram(RIVLINK_HOST_PROGRAM, {"check", file}, {},
                   {{"RIVLINK_PLUGIN_PATH", "no/such/folder" + separator + RIVLINK_TEST_PLUGIN_DIRECTORY}});
    EXPECT_EQ(result.out, file + ": no faults\n");
    EXPECT_EQ(result.err, "");
}

} // namespace Rvl::Test
