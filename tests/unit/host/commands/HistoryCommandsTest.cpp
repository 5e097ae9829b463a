#include "host/commands/HistoryCommands.h"

#include "host/process/DeadlineTasks.h"
#include "tests/support/MatchesPattern.h"
#include "tests/unit/host/history/HistoryFixture.h"
#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <SQLiteCpp/SQLiteCpp.h>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace Rvl::Test {

using namespace std::chrono_literals;

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Runs of a configuration of the tests' plug-in with a history, and what is taken out of that.
class HistoryCommandsTest : public testing::Test
{
protected:
    std::vector<std::string> arguments(const std::vector<std::string>& more) const
    {
        std::vector<std::string> result{"run", folder.write("c.xml", configuration.text()), "--quiet",
                                        "--history", history};
        result.insert(result.end(), more.begin(), more.end());
        return result;
    }
    std::map<std::string, std::string> environment() const
    {
        return {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}};
    }
    SProgramResult run(const std::vector<std::string>& more)
    {
        return runHost(arguments(more), {}, environment());
    }
    /// A history with two controllers.
    void writeHistory() const
    {
        CHistoryWriter writer(history);
        writeSteady(writer, noon, 100ms, 6000, 2);
        writer.write({{}, {{noon + 1min, SHistoryEvent::Command, "A", "page: A: set point <1> -> 2"}}});
    }

    CTemporaryFolder folder;
    const std::string history = folder.file("h");
    SFakeConfiguration configuration;
};

} // namespace

TEST_F(HistoryCommandsTest, RunKeepsEveryControllerAndSeveralRunsAppend)
{
    configuration.vesselContent = "<Scaling Unit=\"degC\"/>";
    for (int i = 0; i < 2; ++i) {
        const SProgramResult result = run({"--for", "1s"});
        EXPECT_EQ(0, result.exitCode) << result.err;
        EXPECT_EQ("", result.err);
        EXPECT_FALSE(std::filesystem::exists(history + "-wal")) << "one file is left";
    }
    const CHistoryReader reader(history);
    EXPECT_EQ("degC", reader.channels().at(0).unit);
    const auto samples = samplesOf(reader, "Vessel");
    EXPECT_GE(samples.size(), 10U);
    EXPECT_LE(samples.size(), 24U);
    EXPECT_EQ(25.0, samples.front().actualValue);
    EXPECT_EQ(7.0, samples.back().controlValue) << "the disabled value";
    EXPECT_FALSE(samples.back().enabled);
    std::string texts;
    for (const SHistoryEvent& event : reader.events({noon, reader.range()->to + 1h})) {
        texts += event.text + '\n';
    }
    const std::string once = "the run has begun\nVessel: off\nthe run has ended\n";
    EXPECT_EQ(once + once, texts);
}

TEST_F(HistoryCommandsTest, IntervalIsKept)
{
    EXPECT_EQ(0, run({"--for", "500ms", "--history-interval", "400ms"}).exitCode);
    EXPECT_EQ(3U, samplesOf(CHistoryReader(history), "Vessel").size()) << "with the end";
}

TEST_F(HistoryCommandsTest, WhatIsNoHistoryKeepsTheRunFromStarting)
{
    folder.write("h", "precious");
    const SProgramResult result = run({"--for", "1min"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(history + " is not a history\n", result.err);
    EXPECT_EQ("precious", readFile(history));
    EXPECT_THAT(readFile(folder.file("journal")), Not(HasSubstr("connect")));
}

TEST_F(HistoryCommandsTest, KillLosesAtMostASecondAndNeverTheFile)
{
    for (const int least : {1, 12}) {
        const std::size_t before =
            std::filesystem::exists(history) ? samplesOf(CHistoryReader(history), "Vessel").size() : 0;
        CProgramRun program(RIVLINK_HOST_PROGRAM, withTestPlugins(arguments({})), "", environment());
        const auto written = [&] {
            return std::filesystem::exists(history)
                       ? samplesOf(CHistoryReader(history), "Vessel").size() - before
                       : 0U;
        };
        ASSERT_TRUE(eventually([&] { return written() >= static_cast<std::size_t>(least); }));
        // not just after a batch was written, but so long after it that all of the next ones had to be
        const auto later = std::chrono::system_clock::now() + 1200ms;
        ASSERT_TRUE(eventually([&] { return std::chrono::system_clock::now() >= later; }));
        const auto killed = std::chrono::system_clock::now();
        program.end(eEnd::Kill);
        EXPECT_EQ(killedExitCode, program.wait().exitCode);
        {
            SQLite::Database database(history, SQLite::OPEN_READWRITE);
            EXPECT_EQ("ok", database.execAndGet("PRAGMA integrity_check").getString());
        }
        const auto samples = samplesOf(CHistoryReader(history), "Vessel");
        ASSERT_GE(samples.size(), before + static_cast<std::size_t>(least));
        EXPECT_LE(killed - samples.back().time, 1s);
        for (std::size_t i = before + 1; i < samples.size(); ++i) {
            EXPECT_LE(samples[i].time - samples[i - 1].time, 1s) << "no hole";
        }
    }
}

TEST_F(HistoryCommandsTest, FileThatStaysLockedEndsNeitherTheControlNorItsEnd)
{
    {
        CHistoryWriter writer(history);
    }
    SQLite::Database database(history, SQLite::OPEN_READWRITE);
    database.exec("BEGIN IMMEDIATE");
    const SProgramResult result = run({"--for", "600ms"});
    EXPECT_EQ(1, result.exitCode);
    const auto lines = linesOf(result.err);
    ASSERT_EQ(2U, lines.size()) << result.err;
    EXPECT_EQ("writing the history failed: database is locked; control goes on, and it is tried again",
              lines[0]);
    EXPECT_THAT(lines[1],
                MatchesPattern("the last [0-9]+ snapshots are missing in the history: database is locked"));
    EXPECT_THAT(readFile(folder.file("journal")), HasSubstr("output Heater = 7\n"));
}

TEST_F(HistoryCommandsTest, WriteThatHangsDelaysTheEndByTheLimitOnly)
{
    {
        CHistoryWriter writer(history);
    }
    SQLite::Database database(history, SQLite::OPEN_READWRITE);
    database.exec("BEGIN IMMEDIATE"); // for which each write waits for a second
    const SProgramResult result = run({"--for", "1s", "--limit-scale", "0.1"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.err, HasSubstr("hung call: the history has not returned for "));
    EXPECT_THAT(result.err, HasSubstr("hung call: the history was not written within 500 ms\n"));
    EXPECT_THAT(readFile(folder.file("journal")), HasSubstr("device Bench disconnect, last output 7"));
}

#if !defined(_WIN32)
TEST_F(HistoryCommandsTest, FullDiskDoesNotEndTheControl)
{
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit tight{80'000, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &tight); // which the program inherits
    CProgramRun program(RIVLINK_HOST_PROGRAM,
                        withTestPlugins(arguments({"--for", "2500ms", "--history-interval", "1ms"})), "",
                        environment());
    setrlimit(RLIMIT_FSIZE, &former);
    const SProgramResult result = program.wait();
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.err, StartsWith("writing the history failed: disk I/O error; control goes on"));
    EXPECT_THAT(readFile(folder.file("journal")), HasSubstr("device Bench disconnect, last output 7"));
    SQLite::Database database(history, SQLite::OPEN_READWRITE);
    EXPECT_EQ("ok", database.execAndGet("PRAGMA integrity_check").getString());
}
#endif

TEST_F(HistoryCommandsTest, ExportHasTheColumnsOfARecordInTheOrderOfTime)
{
    writeHistory();
    const SProgramResult all = runHost({"export", history});
    EXPECT_EQ(0, all.exitCode);
    EXPECT_EQ("", all.err);
    const auto lines = linesOf(all.out);
    ASSERT_EQ(12'001U, lines.size());
    EXPECT_EQ("time,channel,set point [degC],actual value [degC],control value,enabled,manual,state",
              lines[0]);
    EXPECT_EQ("2026-03-01T12:00:00.000Z,A,45,0,-0,true,false,ok", lines[1]);
    EXPECT_EQ("2026-03-01T12:00:00.000Z,B,45,0,-0,true,true,ok", lines[2]);
    EXPECT_EQ("2026-03-01T12:09:59.900Z,B,45,99,-99,true,true,ok", lines[12'000]);
    const auto some = linesOf(runHost({"export", history, "--from", "2026-03-01T12:05Z", "--to",
                                       "2026-03-01T12:05:01Z", "--channel", "B"})
                                  .out);
    ASSERT_EQ(12U, some.size());
    EXPECT_THAT(some[1], StartsWith("2026-03-01T12:05:00.000Z,B,"));
    EXPECT_THAT(some[11], StartsWith("2026-03-01T12:05:01.000Z,B,"));
    EXPECT_EQ(6U, linesOf(runHost({"export", history, "--from", "-400ms", "--channel", "A"}).out).size());
}

TEST_F(HistoryCommandsTest, ExportSkipsTimesWithoutValues)
{
    {
        CHistoryWriter writer(history, {24h * 365 * 100, 2'000'000'000});
        writeSteady(writer, noon - 24h * 365 * 20, 100ms, 5);
        writeSteady(writer, noon, 100ms, 5);
        writeSteady(writer, noon + 30min, 30min, 3); // single values far apart
    }
    EXPECT_EQ(14U, linesOf(runHost({"export", history}).out).size());
}

TEST_F(HistoryCommandsTest, OutputIsReplacedOnlyIfAllowedAndIsNeverTheHistory)
{
    writeHistory();
    const std::string output = folder.write("out.csv", "precious");
    EXPECT_EQ(output + " already exists; --force replaces it\n",
              runHost({"export", history, "--output", output}).err);
    EXPECT_EQ("precious", readFile(output));
    EXPECT_EQ(0, runHost({"export", history, "--output", output, "--force"}).exitCode);
    EXPECT_EQ(12'001U, linesOf(readFile(output)).size());
    const SProgramResult own = runHost({"report", history, "--output", history, "--force"});
    EXPECT_EQ(64, own.exitCode);
    EXPECT_EQ("the output " + history + " is the history\n", own.err);
}

TEST_F(HistoryCommandsTest, WhatCannotBeChosenIsNamed)
{
    writeHistory();
    const auto errorOf = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"export", history});
        return runHost(more).err;
    };
    EXPECT_EQ("the history " + history +
                  " has no controller \"C\"; expected one of A, B (did you mean \"A\"?)\n",
              errorOf({"--channel", "C"}));
    EXPECT_EQ("the time ends at 2026-03-01T12:01:00.000Z before it begins at 2026-03-01T12:02:00.000Z\n",
              errorOf({"--from", "2026-03-01T12:02Z", "--to", "2026-03-01T12:01Z"}));
    EXPECT_THAT(errorOf({"--from", "yesterday"}),
                HasSubstr("\"yesterday\" is no time; expected one such as"));
    EXPECT_EQ("there is no history " + folder.file("missing") + "\n",
              runHost({"export", folder.file("missing")}).err);
    for (const char* good : {"2026-03-01", "2026-03-01T12:00Z", "-90s", "-7d"}) {
        EXPECT_TRUE(isHistoryTime(good)) << good;
    }
    EXPECT_FALSE(isHistoryTime("90s"));
    for (const char* good : {"2%", "0.5", "0"}) {
        EXPECT_TRUE(isHistoryBand(good)) << good;
    }
    EXPECT_FALSE(isHistoryBand("-1%"));
    EXPECT_FALSE(isHistoryBand("%"));
}

TEST_F(HistoryCommandsTest, ReportIsOnePageThatNeedsNothingElse)
{
    writeHistory();
    const SProgramResult result = runHost({"report", history, "--band", "10"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.out, AllOf(StartsWith("<!DOCTYPE html>"), EndsWith("</html>\n")));
    EXPECT_THAT(result.out, HasSubstr("2026-03-01 12:00:00 to 2026-03-01 12:09:59 UTC"));
    EXPECT_THAT(result.out, HasSubstr("page: A: set point &lt;1&gt; -&gt; 2"));
    EXPECT_THAT(result.out, HasSubstr("beyond ±10<"));
    // as many trends as controllers
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("aria-label=\"trend of A\""), HasSubstr("aria-label=\"trend of B\"")));
    for (const char* outside : {"<script", "src=", "href=\"http", "url(", "@import", "<link"}) {
        EXPECT_THAT(result.out, Not(HasSubstr(outside)));
    }
    const SProgramResult one = runHost({"report", history, "--channel", "B"});
    EXPECT_THAT(one.out,
                AllOf(Not(HasSubstr("trend of A")), HasSubstr("trend of B"), Not(HasSubstr("page: A"))));
}

} // namespace Rvl::Test
