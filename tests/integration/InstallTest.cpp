// The project as it is installed: a host that finds its plug-ins, and a package that others build against.

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::string cmake = RIVLINK_CMAKE_PROGRAM;
const std::string examples = RIVLINK_EXAMPLES_DIRECTORY;

class Installation : public testing::Test
{
protected:
    void SetUp() override
    {
        const SProgramResult result =
            runProgram(cmake, {"--install", RIVLINK_BUILD_DIRECTORY, "--prefix", prefix});
        ASSERT_EQ(0, result.exitCode) << result.out << result.err;
    }

    CTemporaryFolder folder;
    const std::string prefix = folder.file("installed");
};

/// The text between a line "```LANGUAGE" and the next "```".
std::string block(const std::string& text, const std::string& language, int which = 0)
{
    const std::string opening = "\n```" + language + "\n";
    std::size_t begin = 0;
    for (int i = 0; i <= which; ++i) {
        begin = text.find(opening, begin);
        if (begin == std::string::npos) {
            return "no such block";
        }
        begin += opening.size();
    }
    return text.substr(begin, text.find("```", begin) - begin);
}

} // namespace

TEST_F(Installation, HostFindsItsPlugins)
{
    const std::string host =
        (std::filesystem::path(prefix) / "bin" / std::filesystem::path(RIVLINK_HOST_PROGRAM).filename())
            .string();
    const SProgramResult types = runProgram(host, {"types"}, folder.file(""));
    EXPECT_EQ(0, types.exitCode) << types.err;
    for (const char* type : {"Rvl::CLocalControllerChannel", "Rvl::CThermalBench", "Rvl::CComputer"}) {
        EXPECT_THAT(types.out, HasSubstr(type));
    }
    const SProgramResult run = runProgram(host, {"run", examples + "/cascade/cascade.xml", "--for", "1s"});
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Vessel   0     Rvl::CPIDControlLoop"));
}

TEST_F(Installation, ProgramOfOnesOwnBuildsAndDoesWhatItsDescriptionSays)
{
    const std::string source = examples + "/embed";
    const std::string description = readFile(source + "/README.md");
    EXPECT_EQ(readFile(source + "/main.cpp"), block(description, "cpp"));

    const std::string build = folder.file("kettle");
    const SProgramResult configured =
        runProgram(cmake, {"-S", source, "-B", build, "-G", "Ninja", "-DCMAKE_PREFIX_PATH=" + prefix,
                           std::string("-DCMAKE_CXX_COMPILER=") + RIVLINK_COMPILER,
                           std::string("-DCMAKE_CXX_FLAGS=") + RIVLINK_FLAGS});
    ASSERT_EQ(0, configured.exitCode) << configured.out << configured.err;
    const SProgramResult built = runProgram(cmake, {"--build", build});
    ASSERT_EQ(0, built.exitCode) << built.out << built.err;
    const SProgramResult run = runProgram(build + "/kettle", {});
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_EQ(block(description.substr(description.find("and prints")), ""), run.out);
}
