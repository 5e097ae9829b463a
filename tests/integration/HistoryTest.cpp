// Histories of the examples on virtual time, which are the same each time, and what is taken out of them.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::string cascade = examples + "/cascade/cascade.xml";

SProgramResult runVirtually(const std::string& file, const std::vector<std::string>& more)
{
    std::vector<std::string> arguments{"run", file, "--virtual", "--for", "10min"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runProgram(host, arguments);
}

std::string outputOf(const std::vector<std::string>& arguments)
{
    const SProgramResult result = runProgram(host, arguments);
    EXPECT_EQ(0, result.exitCode) << result.err;
    return result.out;
}

} // namespace

TEST(History, HoldsWhatTheRecordDoes)
{
    const CTemporaryFolder folder;
    const SProgramResult run =
        runVirtually(cascade, {"--history", folder.file("h"), "--record", folder.file("r.csv")});
    ASSERT_EQ(0, run.exitCode) << run.err;
    const std::string record = readFile(folder.file("r.csv"));
    EXPECT_GT(linesOf(record).size(), 6000U);
    EXPECT_TRUE(record == outputOf({"export", folder.file("h")})) << "to the last bit";
}

TEST(History, IsTheSameEachTimeOnVirtualTime)
{
    const CTemporaryFolder folder;
    const std::string file = examples + "/bad-input/bad-input.xml";
    std::vector<std::string> exports;
    std::vector<std::string> reports;
    for (const char* name : {"one/h", "other/h"}) {
        std::filesystem::create_directory(std::filesystem::path(folder.file(name)).parent_path());
        ASSERT_EQ(0, runVirtually(file, {"--history", folder.file(name)}).exitCode);
        exports.push_back(outputOf({"export", folder.file(name)}));
        reports.push_back(
            outputOf({"report", folder.file(name)})); // made from the levels, too, and the events
    }
    EXPECT_TRUE(exports[0] == exports[1]);
    EXPECT_TRUE(reports[0] == reports[1]);
    EXPECT_THAT(reports[0], HasSubstr("bad input: "));
    EXPECT_TRUE(readFile(folder.file("one/h")) == readFile(folder.file("other/h")));
}

TEST(History, VirtualTimeIsNotMixedWithEarlierValues)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    ASSERT_EQ(0, runVirtually(cascade, {"--history", file}).exitCode);
    const std::string before = readFile(file);
    const SProgramResult again = runVirtually(cascade, {"--history", file});
    EXPECT_EQ(1, again.exitCode);
    EXPECT_EQ("the history " + file +
                  " already has values until 2000-01-01T00:10:00.000Z, and virtual time begins at "
                  "2000-01-01T00:00:00.000Z; expected another file\n",
              again.err);
    EXPECT_TRUE(before == readFile(file));
}
