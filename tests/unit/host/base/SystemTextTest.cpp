#include "host/base/SystemText.h"

#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace Rvl::Test {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct SName
{
    const char* of; ///< as part of a test's name
    std::string text;
};

void PrintTo(const SName& name, std::ostream* stream)
{
    *stream << name.of;
}

/// A folder with the name given. No code page of Windows has all the names here, so code that goes by
/// the user's own page loses one of them on every system.
class NamedFolder : public testing::TestWithParam<SName>
{
protected:
    std::string path(const std::string& file = {}) const
    {
        return parent.file(file.empty() ? GetParam().text : textOf(pathOf(GetParam().text) / pathOf(file)));
    }
    /// Copies the tests' plug-in, with all that belongs to it, and returns where its library stands now.
    std::string copyPlugin(const std::string& to) const
    {
        std::string library;
        std::filesystem::create_directories(pathOf(to));
        for (const auto& entry : std::filesystem::directory_iterator(RIVLINK_TEST_PLUGIN_DIRECTORY)) {
            const std::string name = textOf(entry.path().filename());
            if (name.find("rivlink_") == std::string::npos) {
                continue;
            }
            std::filesystem::copy(entry.path(), pathOf(to) / entry.path().filename());
            if (name.find("rivlink_fake") != std::string::npos && !name.ends_with(".json")) {
                library = textOf(pathOf(to) / entry.path().filename());
            }
        }
        return library;
    }
    std::string writeConfiguration(const std::string& name) const
    {
        std::filesystem::create_directories(pathOf(path()));
        return parent.write(textOf(pathOf(GetParam().text) / pathOf(name)), configuration.text());
    }

    CTemporaryFolder parent;
    SFakeConfiguration configuration;
};

std::string testName(const testing::TestParamInfo<SName>& name)
{
    return name.param.of;
}

} // namespace

TEST_P(NamedFolder, ConfigurationPluginAndRecordMayBeInIt)
{
    copyPlugin(path());
    const std::string record = path(GetParam().text + ".csv");
    const std::string file = writeConfiguration(GetParam().text + ".xml");
    const SProgramResult result =
        runProgram(RIVLINK_HOST_PROGRAM,
                   {"run", file, "--plugin-path", path(), "--for", "300ms", "--quiet", "--record", record});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(readFile(record), StartsWith("time,channel,"));
    EXPECT_EQ(
        runProgram(RIVLINK_HOST_PROGRAM, {"run", file, "--plugin-path", path(), "--record", record}).err,
        "the record " + record + " already exists; --force replaces it\n");
}

TEST_P(NamedFolder, EnvironmentAndConfigurationMayNameIt)
{
    const std::string library = copyPlugin(path());
    const std::string file = parent.write("c.xml", configuration.text());
    const SProgramResult found =
        runProgram(RIVLINK_HOST_PROGRAM, {"check", file}, {}, {{"RIVLINK_PLUGIN_PATH", path()}});
    EXPECT_EQ(found.out, file + ": no faults\n");
    EXPECT_EQ(found.err, "");
    configuration.plugins = "<Plugin Name=\"rivlink_fake\" Path=\"" + library + "\"/>";
    const std::string other = writeConfiguration("other.xml");
    const SProgramResult named = runProgram(RIVLINK_HOST_PROGRAM, {"check", "other.xml"}, path());
    EXPECT_EQ(named.out, "other.xml: no faults\n");
    EXPECT_EQ(named.err, "");
    std::filesystem::remove(pathOf(library));
    EXPECT_THAT(
        runProgram(RIVLINK_HOST_PROGRAM, {"check", other}).out,
        testing::AllOf(StartsWith(other + ":"), HasSubstr("the library " + library + " does not exist")));
}

TEST_P(NamedFolder, ProgramInItFindsThePluginsBesideIt)
{
    const std::filesystem::path program(RIVLINK_HOST_PROGRAM);
    const std::filesystem::path folder = pathOf(path("bin"));
    std::filesystem::create_directories(folder);
    std::filesystem::copy(program, folder / program.filename());
    for (const auto& entry : std::filesystem::directory_iterator(program.parent_path())) {
        if (entry.path().extension() == ".dll") {
            std::filesystem::copy(entry.path(), folder / entry.path().filename());
        }
    }
    copyPlugin(path("plugins"));
    const std::string file = writeConfiguration("c.xml");
    const SProgramResult result = runProgram(textOf(folder / program.filename()), {"check", file});
    EXPECT_EQ(result.out, file + ": no faults\n");
    EXPECT_EQ(result.err, "");
}

TEST_P(NamedFolder, PathAndTextAreMadeOfEachOther)
{
    const std::string text = path("file");
    EXPECT_EQ(textOf(pathOf(text)), text);
}

INSTANTIATE_TEST_SUITE_P(Names, NamedFolder,
                         testing::Values(SName{"Western", "Küche"}, SName{"Polish", "Łódź"},
                                         SName{"Chinese", "温度"}),
                         &testName);

TEST(SystemTextTest, MessageIsTheSystemsWithoutAFullStop)
{
    // file not found, on every system
    EXPECT_THAT(systemMessage(2),
                testing::AnyOf("No such file or directory", "The system cannot find the file specified",
                               "File not found"));
}

TEST(SystemTextTest, VariableOfTheEnvironmentIsRead)
{
    EXPECT_TRUE(environmentVariable("PATH"));
    EXPECT_FALSE(environmentVariable("RIVLINK_NO_SUCH_VARIABLE"));
}

} // namespace Rvl::Test
