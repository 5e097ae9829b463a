#include "host/commands/Application.h"

#include "tests/support/MatchesPattern.h"
#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace Rvl::Test {

namespace {

using testing::HasSubstr;

SProgramResult apply(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "rivlink-host");
    std::ostringstream out;
    std::ostringstream err;
    const int code = runApplication(static_cast<int>(arguments.size()), arguments.data(),
                                    std::chrono::steady_clock::now(), out, err);
    return {code, out.str(), err.str()};
}

} // namespace

TEST(ApplicationTest, VersionIsShown)
{
    const SProgramResult result = apply({"--version"});
    EXPECT_EQ(result.out, "rivlink-host " RIVLINK_TEST_VERSION "\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ApplicationTest, HelpListsCommandsOptionsAndExitCodes)
{
    const SProgramResult result = apply({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    for (const char* text :
         {"Runs closed control loops over laboratory devices.\n",
          "Usage: rivlink-host [OPTIONS] SUBCOMMAND\n", "--plugin-path DIR",
          "--log LEVEL:{trace,debug,info,warn,error,off}=warn", "--version", "\n  run ", "\n  check ",
          "\n  print ", "\n  export ", "\n  report ", "\n  types ", "\n  schema ", "\n  docs ",
          "Exit status: 0 done, 1 failure at run time, 64 wrong usage, 65 not well-formed "
          "XML, 78 faults in the "
          "configuration."}) {
        EXPECT_THAT(result.out, HasSubstr(text));
    }
}

TEST(ApplicationTest, HelpOfACommandListsItsOptions)
{
    const SProgramResult result = apply({"run", "--help"});
    EXPECT_EQ(result.exitCode, 0);
    for (const char* text :
         {"Usage: rivlink-host run [OPTIONS] CONFIG\n", "--for DURATION", "--record FILE",
          "--record-interval DURATION=100ms", "--history FILE", "--history-interval DURATION=100ms",
          "--history-keep DURATION=30d", "--history-size SIZE=2GB", "--force", "--quiet"}) {
        EXPECT_THAT(result.out, HasSubstr(text));
    }
    EXPECT_THAT(apply({"types", "--help"}).out, HasSubstr("--json"));
    for (const char* command : {"types", "schema", "docs"}) {
        EXPECT_THAT(apply({command, "--help"}).out, HasSubstr("--plugin PLUGIN"));
    }
    EXPECT_THAT(apply({"schema", "--help"}).out, HasSubstr("an XML Schema of configurations"));
    EXPECT_THAT(apply({"docs", "--help"}).out, HasSubstr("the manual of configurations (Markdown)"));
    EXPECT_THAT(apply({"check", "--help"}).out, HasSubstr("drives nothing"));
    EXPECT_THAT(apply({"print", "--help"}).out, HasSubstr("effective configuration"));
}

TEST(ApplicationTest, WrongUsageIsReported)
{
    const std::vector<std::pair<std::vector<const char*>, std::string>> cases{
        {{}, "A subcommand is required\n"},
        {{"run"}, "CONFIG is required\n"},
        {{"fly"}, "A subcommand is required\n"},
        {{"run", "c.xml", "--fast"}, "The following argument was not expected: --fast\n"},
        {{"run", "c.xml", "--for", "5"},
         "--for: \"5\" is no duration; expected one such as 500ms, 30s, 5min or 2h\n"},
        {{"run", "c.xml", "--record", "r", "--record-interval", "0s"},
         "--record-interval: \"0s\" is no interval; expected a duration of 1ms or more\n"},
        {{"run", "c.xml", "--history", "h", "--history-size", "2"},
         "--history-size: \"2\" is no size of 1MB or more; expected one such as 500MB or 2GB\n"},
        {{"run", "c.xml", "--history-keep", "1d"}, "--history-keep requires --history\n"},
        {{"run", "c.xml", "--force"}, "--force requires --record\n"},
        {{"--log", "loud", "check", "c.xml"}, "--log: loud not in {trace,debug,info,warn,error,off}\n"},
    };
    for (const auto& [arguments, message] : cases) {
        const SProgramResult result = apply(arguments);
        EXPECT_EQ(result.exitCode, 64) << message;
        EXPECT_EQ(result.err, message + "Run with --help for more information.\n");
        EXPECT_EQ(result.out, "");
    }
}

#if !defined(_WIN32) // where no file has such a name
TEST(ApplicationTest, ControlCharactersOfNamesDoNotReachTheTerminal)
{
    const CTemporaryFolder folder;
    const std::string name = "a\x1b[2Jb.xml";
    const std::string sound = folder.write(name, SFakeConfiguration().text());
    EXPECT_EQ(runHost({"check", sound}).out, folder.file("a\\x1b[2Jb.xml") + ": no faults\n");
    folder.write(name, "<Configuration><Chanels/></Configuration>");
    EXPECT_THAT(runHost({"check", sound}).out,
                testing::StartsWith(folder.file("a\\x1b[2Jb.xml") + ":1: /Configuration/Plugins: "));
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"check", folder.file("no\x1b[2J.xml")},
          {"run", folder.file("no\x1b[2J.xml")},
          {"types", "no\x1b[2J", "--plugin", "rivlink_fake"},
          {"types", "--plugin", "no\x1b[2J"}}) {
        const SProgramResult result = runHost(arguments);
        EXPECT_NE(result.exitCode, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, testing::HasSubstr("no\\x1b[2J")) << arguments.front();
        EXPECT_THAT(result.err, testing::Not(testing::HasSubstr("\x1b"))) << arguments.front();
    }
}
#endif

TEST(ApplicationTest, LogGoesToStandardErrorWithItsLogger)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", SFakeConfiguration().text());
    const SProgramResult result = runHost({"--log", "info", "check", file});
    EXPECT_EQ(result.out, file + ": no faults\n");
    EXPECT_THAT(
        result.err,
        MatchesPattern("[\\s\\S]*[0-9:.]+ INFO  \\[EnvLogger\\] Factory Rvl::CFakeDevice registered in "
                       "registry\n[\\s\\S]*"));
    EXPECT_EQ(runHost({"check", file, "--log", "error"}).err, "");
}

} // namespace Rvl::Test
