#include "tests/support/FullDisk.h"
#include "tests/support/MatchesPattern.h"
#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

namespace Rvl::Test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// One run of a configuration of the tests' plug-in.
class RunCommandTest : public testing::Test
{
protected:
    std::vector<std::string> arguments(const std::vector<std::string>& more) const
    {
        std::vector<std::string> result{"run", folder.write("c.xml", configuration.text())};
        result.insert(result.end(), more.begin(), more.end());
        return result;
    }
    SProgramResult run(const std::vector<std::string>& more)
    {
        return runHost(arguments(more), {}, {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
    }
    std::unique_ptr<CProgramRun> start(const std::vector<std::string>& more)
    {
        return std::make_unique<CProgramRun>(
            RIVLINK_HOST_PROGRAM, withTestPlugins(arguments(more)), "",
            std::map<std::string, std::string>{{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
    }
    std::string journalText() const { return readFile(folder.file("journal")); }
    std::vector<std::string> journal() const { return linesOf(journalText()); }

    CTemporaryFolder folder;
    SFakeConfiguration configuration;
};

/// What must have happened between the start and the end of a run, whatever ended it.
const std::vector<std::string> completeJournal{"bus FakeBus init",
                                               "bus FakeBus connect",
                                               "device Bench connect",
                                               "controller Vessel enable",
                                               "output Heater = 10",
                                               "controller Vessel disable",
                                               "output Heater = 7",
                                               "controller Vessel begins to stop",
                                               "controller Vessel stopped",
                                               "loops of Vessel destroyed",
                                               "controller Vessel destroyed",
                                               "device Bench disconnect, last output 7",
                                               "output Heater destroyed",
                                               "input Temperature destroyed",
                                               "device Bench destroyed",
                                               "bus FakeBus disconnect",
                                               "bus FakeBus shutdown",
                                               "bus FakeBus destroyed"};

} // namespace

TEST_F(RunCommandTest, TakesEverythingDownInOrderWhenItsTimeIsOver)
{
    const SProgramResult result = run({"--for", "300ms", "--quiet"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(journal(), completeJournal);
}

class EndedBySignal : public RunCommandTest, public testing::WithParamInterface<eEnd>
{};

TEST_P(EndedBySignal, TakesEverythingDownInOrder)
{
    const auto program = start({"--quiet"});
    ASSERT_TRUE(eventually([&] { return journalText().find("output Heater = 10") != std::string::npos; }));
    program->end(GetParam());
    const SProgramResult result = program->wait();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(journal(), completeJournal);
    EXPECT_THAT(result.out, HasSubstr("Controllers at the end:\n"));
}

INSTANTIATE_TEST_SUITE_P(Signals, EndedBySignal,
                         testing::Values(eEnd::Interrupt, eEnd::Terminate, eEnd::HangUp));

TEST_F(RunCommandTest, RunsForTheTimeGiven)
{
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run({"--for", "700ms", "--quiet"}).exitCode, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(700));
}

TEST_F(RunCommandTest, ControllerThatCannotBeDisabledDoesNotKeepTheOthersFromIt)
{
    configuration.vessel += " FailAt=\"disable\"";
    configuration.moreChannels = SFakeConfiguration::controller("Second", "Enabled=\"true\"");
    const SProgramResult result = run({"--for", "100ms", "--quiet", "--log", "off"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "disabling Vessel: failing at disable as configured\n");
    EXPECT_THAT(journalText(), HasSubstr("controller Second disable\n"));
    EXPECT_THAT(journalText(), HasSubstr("controller Vessel stopped\n"));
    EXPECT_THAT(journalText(), HasSubstr("bus FakeBus shutdown\n"));
}

TEST_F(RunCommandTest, ControllerThatThrowsWhenReadIsDisabledLikeTheOthers)
{
    const std::string enabled = "Enabled=\"true\"";
    configuration.moreChannels =
        SFakeConfiguration::controller("Strange", enabled) + SFakeConfiguration::controller("Last", enabled);
    const SProgramResult result = run({"--for", "100ms", "--quiet", "--log", "off"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "stopped: no state\nasking Strange: no state\n");
    EXPECT_THAT(journal(),
                testing::IsSupersetOf({"controller Vessel disable", "controller Strange disable",
                                       "controller Last disable", "device Bench disconnect, last output 7"}));
}

TEST_F(RunCommandTest, DeviceThatCannotBeConnectedEndsTheRunWithNothingDriven)
{
    configuration.bench = "FailAt=\"connect\"";
    const SProgramResult result = run({"--for", "1min", "--quiet", "--log", "off"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "stopped: failing at connect as configured\n");
    EXPECT_THAT(journalText(), Not(HasSubstr("enable")));
    EXPECT_THAT(journalText(), Not(HasSubstr("=")));
    EXPECT_THAT(journalText(), HasSubstr("controller Vessel disable\n"));
    EXPECT_THAT(journalText(), HasSubstr("bus FakeBus shutdown\n"));
}

TEST_F(RunCommandTest, ControllerThatCannotBeEnabledEndsTheRunWithTheOthersDisabled)
{
    configuration.moreChannels =
        SFakeConfiguration::controller("Second", "Enabled=\"true\" FailAt=\"enable\"");
    const SProgramResult result = run({"--for", "1min", "--quiet", "--log", "off"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "stopped: failing at enable as configured\n");
    const auto lines = journal();
    EXPECT_THAT(lines, testing::IsSupersetOf({"controller Vessel enable", "controller Second enable",
                                              "controller Vessel disable", "output Heater = 7",
                                              "device Bench disconnect, last output 7"}));
}

TEST_F(RunCommandTest, BuildingThatFailsHalfWayDrivesNothing)
{
    configuration.moreChannels =
        SFakeConfiguration::controller("Second", "Enabled=\"true\" FailAt=\"setProperties\"");
    const SProgramResult result = run({"--for", "1min", "--log", "off"});
    EXPECT_EQ(result.exitCode, 78);
    EXPECT_EQ(result.err, folder.file("c.xml") + ":7: /Configuration/Channels/Channel[4]: cannot be built: "
                                                 "failing at setProperties as configured\n");
    EXPECT_EQ(journal(), (std::vector<std::string>{"controller Second destroyed", "loops of Vessel destroyed",
                                                   "controller Vessel destroyed", "output Heater destroyed",
                                                   "input Temperature destroyed", "device Bench destroyed",
                                                   "bus FakeBus destroyed"}));
}

TEST_F(RunCommandTest, OneLinePerSecondShowsEveryController)
{
    configuration.vesselContent = "<Scaling Unit=\"degC\"/>";
    configuration.moreChannels = SFakeConfiguration::controller("Spare", "");
    const SProgramResult result = run({"--for", "1500ms"});
    const auto lines = linesOf(result.out);
    ASSERT_GE(lines.size(), 3U);
    for (int line = 0; line < 2; ++line) {
        EXPECT_THAT(lines[static_cast<std::size_t>(line)],
                    MatchesPattern(
                        "[0-9-]+T[0-9:.]+Z  Vessel: auto, set point 30 degC, actual value 25 degC, control "
                        "value (0|10), ok; Spare: off, set point 30, actual value 25, control value 0, off"));
    }
    EXPECT_EQ(lines[2], "Loops:");
    EXPECT_THAT(
        result.out,
        MatchesPattern("[\\s\\S]*\n  Vessel   0     Rvl::CFakeLoop  [0-9]+ +10                0.25      "
                       "              -1.5                     3\n[\\s\\S]*"));
    EXPECT_THAT(result.out, HasSubstr("  Vessel   auto  30 degC    25 degC       5 degC     ok\n"));
    EXPECT_THAT(result.out,
                MatchesPattern("[\\s\\S]*\nFirst loop step [0-9.]+ ms after the start of the program\n"));
}

TEST_F(RunCommandTest, QuietLeavesTheSummary)
{
    const SProgramResult result = run({"--for", "100ms", "--quiet"});
    EXPECT_EQ(linesOf(result.out).at(0), "Loops:");
}

TEST_F(RunCommandTest, RecordHasARowPerControllerAndInterval)
{
    configuration.vesselContent = "<Scaling Unit=\"degC\"/>";
    const auto record = folder.file("r.csv");
    EXPECT_EQ(run({"--for", "1s", "--quiet", "--record", record}).exitCode, 0);
    const auto lines = linesOf(readFile(record));
    EXPECT_EQ(lines.at(0),
              "time,channel,set point [degC],actual value [degC],control value,enabled,manual,state");
    // ten intervals of 100 ms and the end; some may be left out on a busy machine, none comes in addition
    EXPECT_GE(lines.size(), 4U);
    EXPECT_LE(lines.size(), 13U);
    EXPECT_THAT(lines.back(), testing::EndsWith("Z,Vessel,30,25,7,false,false,off")) << "the disabled value";
    for (std::size_t line = 1; line + 1 < lines.size(); ++line) {
        EXPECT_THAT(lines[line],
                    MatchesPattern("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z,"
                                   "Vessel,30,25,(0|10),true,false,ok"));
    }
}

TEST_F(RunCommandTest, RecordIntervalIsKept)
{
    const auto record = folder.file("r.csv");
    EXPECT_EQ(run({"--for", "500ms", "--quiet", "--record", record, "--record-interval", "400ms"}).exitCode,
              0);
    EXPECT_EQ(linesOf(readFile(record)).size(), 4U) << "with the heading and the end";
}

TEST_F(RunCommandTest, RecordThatIsThereIsKeptAndNothingStarts)
{
    const auto record = folder.write("r.csv", "time,channel,precious\n");
    const SProgramResult refused = run({"--for", "1min", "--record", record});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err, "the record " + record + " already exists; --force replaces it\n");
    EXPECT_EQ(readFile(record), "time,channel,precious\n");
    EXPECT_THAT(journalText(), Not(HasSubstr("connect")));
    EXPECT_EQ(run({"--for", "50ms", "--quiet", "--record", record, "--force"}).exitCode, 0);
    EXPECT_THAT(readFile(record), testing::StartsWith("time,channel,set point"));
}

TEST_F(RunCommandTest, FullDiskEndsTheRecordButNotTheControl)
{
    const CFullDisk disk;
    const SProgramResult result = run({"--for", "500ms", "--quiet", "--record", disk.path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err,
              "writing the record " + disk.path() + " failed; control goes on without a record\n");
    EXPECT_EQ(journal(), completeJournal);
}

TEST_F(RunCommandTest, ClosedPipeDoesNotEndTheControl)
{
    const std::string file = folder.write("c.xml", configuration.text());
    // the reader leaves after the first line; the program writes about three
    const SProgramResult result =
        runProgramWithLeavingReader(RIVLINK_HOST_PROGRAM, withTestPlugins({"run", file, "--for", "2500ms"}),
                                    {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
    EXPECT_THAT(result.out, HasSubstr("Vessel: auto"));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(journal(), completeJournal);
}

TEST_F(RunCommandTest, KillLosesAtMostASecondOfTheRecord)
{
    const auto record = folder.file("r.csv");
    const auto program = start({"--quiet", "--record", record});
    ASSERT_TRUE(eventually([&] { return linesOf(readFile(record)).size() >= 8; }));
    const auto killed = std::chrono::system_clock::now();
    program->end(eEnd::Kill);
    EXPECT_EQ(program->wait().exitCode, killedExitCode);
    const std::string text = readFile(record);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    const auto lines = linesOf(text);
    for (std::size_t line = 1; line < lines.size(); ++line) {
        EXPECT_THAT(lines[line], MatchesPattern("[^,]+Z,Vessel,30,25,(0|10),true,false,ok"));
    }
    // hours, minutes and seconds of the last row against those of the kill
    int hours = 0;
    int minutes = 0;
    double seconds = 0.0;
    ASSERT_EQ(std::sscanf(lines.back().c_str() + 11, "%d:%d:%lf", &hours, &minutes, &seconds), 3);
    const double last_s = hours * 3600.0 + minutes * 60.0 + seconds;
    const double day_s = 86400.0;
    const double killed_s =
        std::fmod(std::chrono::duration<double>(killed.time_since_epoch()).count(), day_s);
    EXPECT_LE(std::fmod(killed_s - last_s + day_s, day_s), 1.0);
}

TEST_F(RunCommandTest, TextsOfPluginsForgeNoLinesAndReachTheTerminalEscaped)
{
    configuration.moreChannels =
        SFakeConfiguration::controller("Forging", "Enabled=\"true\" FailAt=\"enable\"");
    const SProgramResult result = run({"--for", "1min", "--log", "debug"});
    EXPECT_EQ(result.exitCode, 1);
    const std::string text = result.out + result.err;
    EXPECT_EQ(text.find_first_of("\r\x1b"), std::string::npos) << text;
    const std::string escaped = "failing at enable as configured\\r\\n12:00:00 \\x1b[2J";
    bool logged = false;
    bool reported = false;
    for (const std::string& line : linesOf(result.err)) {
        EXPECT_THAT(line, Not(testing::StartsWith("12:00:00 ")));
        const bool found = line.find(escaped) != std::string::npos;
        logged = logged || (found && line.find("[ExceptionLogger]") != std::string::npos);
        reported = reported || (found && line.find("[ExceptionLogger]") == std::string::npos);
    }
    EXPECT_TRUE(logged) << result.err;
    EXPECT_TRUE(reported) << result.err;
}

} // namespace Rvl::Test
