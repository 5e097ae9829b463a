// The zip for Windows, unpacked into an empty folder: all that a user needs.

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <set>

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

/// The one folder in the zip.
std::filesystem::path top()
{
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(RIVLINK_UNPACKED)) {
        found.push_back(entry.path());
    }
    EXPECT_EQ(1U, found.size());
    return found.at(0);
}

} // namespace

TEST(Package, ExampleRunsFromAnEmptyFolder)
{
    const std::string host = (top() / "bin" / "rivlink-host.exe").string();
    const std::map<std::string, std::string> nothingElse{{"PATH", ""}, {"RIVLINK_PLUGIN_PATH", ""}};
    const SProgramResult checked =
        runProgram(host, {"check", "examples/cascade/cascade.xml"}, top().string(), nothingElse);
    EXPECT_EQ("examples/cascade/cascade.xml: no faults\n", checked.out) << checked.err;
    const SProgramResult run =
        runProgram(host, {"run", "examples/cascade/cascade.xml", "--for", "2s"}, top().string(), nothingElse);
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_EQ("", run.err);
    EXPECT_THAT(run.out, HasSubstr("Vessel   0     Rvl::CPIDControlLoop"));
}

TEST(Package, EveryPluginIsInside)
{
    const SProgramResult types = runProgram((top() / "bin" / "rivlink-host.exe").string(), {"types"});
    EXPECT_EQ(0, types.exitCode) << types.err;
    for (const char* type : {"Rvl::CLocalControllerChannel", "Rvl::CThermalBench", "Rvl::CComputer"}) {
        EXPECT_THAT(types.out, HasSubstr(type));
    }
}

namespace {

const char* const nameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-";

} // namespace

TEST(Package, LicencesOfWhatIsInsideAreThere)
{
    std::set<std::string> licences;
    std::set<std::string> referredTo;
    for (const auto& entry : std::filesystem::directory_iterator(top() / "licences")) {
        EXPECT_GT(entry.file_size(), 500U) << entry.path();
        licences.insert(entry.path().filename().string());
        const std::string text = readFile(entry.path().string());
        const std::string folder = "/usr/share/common-licenses/";
        for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, at + 1)) {
            const std::size_t begin = at + folder.size();
            std::string name = text.substr(begin, text.find_first_not_of(nameCharacters, begin) - begin);
            name.erase(name.find_last_not_of('.') + 1);
            referredTo.insert(name + ".txt");
        }
    }
    EXPECT_TRUE(std::includes(licences.begin(), licences.end(), referredTo.begin(), referredTo.end()))
        << testing::PrintToString(referredTo);
    EXPECT_FALSE(referredTo.empty());
    EXPECT_THAT(licences,
                testing::IsSupersetOf({"gcc-mingw-w64-x86-64-posix-runtime.txt", "libboost1.74-dev.txt",
                                       "libcli11-dev.txt", "liblog4cplus-dev.txt", "libpugixml-dev.txt",
                                       "mingw-w64-x86-64-dev.txt", "nlohmann-json3-dev.txt"}));
}
