// The project as it is installed: a host that finds its plug-ins, and a package that others build against.

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::filesystem::path prefix = RIVLINK_INSTALLED;
const std::string examples = RIVLINK_EXAMPLES_DIRECTORY;

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

TEST(Installation, HostFindsItsPlugins)
{
    const CTemporaryFolder folder;
    const std::string host =
        (prefix / "bin" / std::filesystem::path(RIVLINK_HOST_PROGRAM).filename()).string();
    const SProgramResult types = runProgram(host, {"types"}, folder.file(""));
    EXPECT_EQ(0, types.exitCode) << types.err;
    for (const char* type : {"Rvl::CLocalControllerChannel", "Rvl::CThermalBench", "Rvl::CComputer"}) {
        EXPECT_THAT(types.out, HasSubstr(type));
    }
    const SProgramResult run = runProgram(host, {"run", examples + "/cascade/cascade.xml", "--for", "1s"});
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Vessel   0     Rvl::CPIDControlLoop"));
}

TEST(Installation, ProgramOfOnesOwnDoesWhatItsDescriptionSays)
{
    const std::string source = examples + "/embed";
    const std::string description = readFile(source + "/README.md");
    EXPECT_EQ(readFile(source + "/main.cpp"), block(description, "cpp"));

    std::map<std::string, std::string> environment;
#if defined(_WIN32)
    // no program names the places of its libraries there: the user's path does
    const auto absolute = [](const std::filesystem::path& path) {
        return std::filesystem::absolute(path).make_preferred().string();
    };
    environment["PATH"] = absolute(prefix / "bin") + ";" + absolute(prefix / "lib/rivlink/plugins");
#endif
    const SProgramResult run = runProgram(RIVLINK_KETTLE, {}, {}, environment);
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_EQ(block(description.substr(description.find("and prints")), ""), run.out);
}
