// What signals, crashes and calls that end the process do to outputs that are driven.

#include "tests/integration/HostProgram.h"
#include "tests/integration/JournalledRun.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/Record.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using namespace Rvl::Test;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

#if !defined(_WIN32)

#include <sys/types.h>

namespace {

/// A host with two driven outputs in two devices.
struct SDrivingHost
{
    SDrivingHost(const std::string& label, const std::map<std::string, std::string>& environment = {},
                 const std::vector<std::string>& arguments = {})
        : name(label), run(host, journal.arguments(arguments), "", journal.environment(environment))
    {}
    bool drives() const
    {
        return journal.gets("output Sound output = 20") && journal.gets("output Other output = 20");
    }

    const std::string name;
    const CJournal journal;
    CProgramRun run;
};

const std::vector<std::string> disabledOutputs{
    "output Sound output = 7", "output Other output = 7", "device Bench disconnect, last output 7",
    "device Bench 2 disconnect, last output 7", "device Bench destroyed"};

/// The state of a process as the system shows it: 'T' is stopped.
char stateOf(int process)
{
    const std::string text = readFile("/proc/" + std::to_string(process) + "/stat");
    const std::size_t at = text.rfind(") ");
    return at == std::string::npos ? '?' : text[at + 2];
}

/// The last row of the example's one controller in the record of a run that goes on; all 0 before its first.
/// The file is there before its first line, and that is there before the process takes signals.
SRecordRow lastRowOf(const std::string& record)
{
    std::error_code isNotThere;
    const auto size = std::filesystem::file_size(record, isNotThere);
    const auto rows =
        isNotThere || size == 0 ? std::vector<SRecordRow>{} : rowsOf(readRecord(record), "Jacket");
    return rows.empty() ? SRecordRow{} : rows.back();
}

std::ptrdiff_t count(const std::vector<std::string>& lines, const std::string& line)
{
    return std::count(lines.begin(), lines.end(), line);
}

} // namespace

TEST(HostEnds, EverySignalThatRequestsTheEndDisablesAllOutputsFirst)
{
    std::vector<std::pair<int, std::unique_ptr<SDrivingHost>>> hosts;
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPWR, SIGXCPU}) {
        hosts.emplace_back(signal, std::make_unique<SDrivingHost>("signal " + std::to_string(signal)));
    }
    for (auto& [signal, driving] : hosts) {
        ASSERT_TRUE(driving->drives()) << driving->name;
        kill(driving->run.process(), signal);
    }
    for (auto& [signal, driving] : hosts) {
        const SProgramResult result = driving->run.wait();
        EXPECT_EQ(0, result.exitCode) << driving->name;
        EXPECT_EQ("", result.err) << driving->name;
        EXPECT_THAT(driving->journal.lines(), IsSupersetOf(disabledOutputs)) << driving->name;
    }
}

TEST(HostEnds, SignalsWithoutAMeaningForTheHostChangeNothing)
{
    std::vector<int> signals{SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF,
                             SIGIO,   SIGTTIN, SIGTTOU, SIGSTKFLT};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        signals.push_back(signal);
    }
    SDrivingHost driving("the host");
    ASSERT_TRUE(driving.drives());
    for (const int signal : signals) {
        kill(driving.run.process(), signal);
        EXPECT_TRUE(driving.run.isRunning()) << signal;
    }
    EXPECT_NE('T', stateOf(driving.run.process()));
    driving.run.end(eEnd::Terminate);
    EXPECT_EQ(0, driving.run.wait().exitCode);
    EXPECT_THAT(driving.journal.lines(), IsSupersetOf(disabledOutputs));
}

TEST(HostEnds, QuitDuringAShutDownDoesNotCutItShort)
{
    const CJournal journal;
    CProgramRun run(host, journal.arguments(), "", journal.slowAt("output Sound output = 7", 300));
    ASSERT_TRUE(journal.gets("output Sound output = 20"));
    run.end(eEnd::Interrupt);
    ASSERT_TRUE(journal.gets("output Sound output = 7"));
    for (int i = 0; i < 3; ++i) {
        kill(run.process(), SIGQUIT);
        kill(run.process(), SIGTSTP);
    }
    EXPECT_EQ(0, run.wait().exitCode);
    EXPECT_THAT(journal.lines(), IsSupersetOf(disabledOutputs));
}

TEST(HostEnds, StopOfTheTerminalDisablesAllOutputsAndContinuingEnablesThemAgain)
{
    SDrivingHost driving("the host");
    ASSERT_TRUE(driving.drives());
    for (std::ptrdiff_t stops = 1; stops <= 2; ++stops) {
        kill(driving.run.process(), SIGTSTP);
        ASSERT_TRUE(eventually([&] { return stateOf(driving.run.process()) == 'T'; }, 20.0));
        for (const std::string output : {"Sound", "Other"}) {
            EXPECT_EQ(stops, count(driving.journal.lines(), "output " + output + " output = 7"));
            EXPECT_EQ(stops, count(driving.journal.lines(), "output " + output + " output = 20"));
        }
        kill(driving.run.process(), SIGCONT);
        for (const std::string output : {"Sound", "Other"}) {
            EXPECT_TRUE(eventually(
                [&] {
                    return count(driving.journal.lines(), "output " + output + " output = 20") == stops + 1;
                },
                20.0))
                << output;
        }
    }
    driving.run.end(eEnd::Terminate);
    const SProgramResult result = driving.run.wait();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(driving.journal.lines(), IsSupersetOf(disabledOutputs));
}

TEST(HostEnds, StopOfTheTerminalStopsAVirtualRunWhichContinues)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("r.csv");
    CProgramRun run(host, {"run", examples + "/pid/pid.xml", "--virtual", "--quiet", "--for", "2000h",
                           "--record", record, "--record-interval", "10min"});
    ASSERT_TRUE(eventually([&] { return lastRowOf(record).time_s > 0.0; }, 20.0)) << "it runs";
    kill(run.process(), SIGTSTP);
    ASSERT_TRUE(eventually([&] { return stateOf(run.process()) == 'T'; }, 20.0));
    kill(run.process(), SIGCONT);
    ASSERT_TRUE(eventually([&] { return stateOf(run.process()) != 'T'; }, 20.0));
    run.end(eEnd::Terminate);
    EXPECT_EQ(0, run.wait().exitCode);
}

/// A bench carries out at its next update what is written, so the disabled value of a stopped program would
/// come with the first update after it.
TEST(HostEnds, StopOfTheTerminalReachesOutputsOfDevicesThatWriteLater)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("r.csv");
    CProgramRun run(host, {"run", examples + "/pid/pid.xml", "--quiet", "--log", "off", "--record", record});
    ASSERT_TRUE(eventually([&] { return lastRowOf(record).actualValue > 25.0; }, 20.0));
    kill(run.process(), SIGTSTP);
    ASSERT_TRUE(eventually([&] { return stateOf(run.process()) == 'T'; }, 20.0));
    const SRecordRow before = lastRowOf(record);
    EXPECT_EQ(100.0, before.controlValue) << "it heats as it can";
    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // 8 K at full power
    kill(run.process(), SIGCONT);
    ASSERT_TRUE(eventually([&] { return lastRowOf(record).time_s > before.time_s + 1.0; }, 20.0));
    for (const SRecordRow& row : rowsOf(readRecord(record), "Jacket", before.time_s + 1.0)) {
        if (row.time_s < before.time_s + 1.7) {
            EXPECT_LT(row.actualValue, before.actualValue + 3.0);
        }
    }
    run.end(eEnd::Terminate);
    EXPECT_EQ(0, run.wait().exitCode);
}

TEST(HostEnds, CrashOfAPlugInTakesTheOtherOutputsToTheirDisabledValues)
{
    const std::vector<std::pair<std::string, int>> crashes{
        {"segv", SIGSEGV},  {"bus", SIGBUS},   {"fpe", SIGFPE},      {"ill", SIGILL},
        {"abort", SIGABRT}, {"trap", SIGTRAP}, {"overflow", SIGSEGV}};
    std::vector<std::unique_ptr<SDrivingHost>> hosts;
    for (const auto& [name, signal] : crashes) {
        hosts.push_back(std::make_unique<SDrivingHost>(
            name, std::map<std::string, std::string>{{"RIVLINK_FAKE_CRASH_AT", "output Sound output = 20"},
                                                     {"RIVLINK_FAKE_CRASH_AFTER", "output Other output = 20"},
                                                     {"RIVLINK_FAKE_CRASH", name}}));
    }
    for (std::size_t index = 0; index < crashes.size(); ++index) {
        SDrivingHost& driving = *hosts[index];
        const SProgramResult result = driving.run.wait();
#if defined(RIVLINK_SANITIZED)
        EXPECT_NE(0, result.exitCode) << driving.name << ": the sanitizer reports and ends in its own way";
#else
        EXPECT_EQ(128 + crashes[index].second, result.exitCode) << driving.name << result.err;
#endif
        EXPECT_THAT(result.err, HasSubstr("the process ends because of a crash (signal " +
                                          std::to_string(crashes[index].second) + ")"))
            << driving.name;
        EXPECT_THAT(driving.journal.lines(),
                    IsSupersetOf({"output Other output = 7", "device Bench disconnect, last output 20",
                                  "device Bench 2 disconnect, last output 7"}))
            << driving.name;
    }
}

TEST(HostEnds, PlugInThatEndsTheProcessTakesTheOtherOutputsToTheirDisabledValues)
{
    std::vector<std::unique_ptr<SDrivingHost>> hosts;
    for (const std::string name : {"exit", "quick_exit"}) {
        hosts.push_back(std::make_unique<SDrivingHost>(
            name, std::map<std::string, std::string>{{"RIVLINK_FAKE_CRASH_AT", "output Sound output = 20"},
                                                     {"RIVLINK_FAKE_CRASH_AFTER", "output Other output = 20"},
                                                     {"RIVLINK_FAKE_CRASH", name}}));
    }
    for (const auto& driving : hosts) {
        const SProgramResult result = driving->run.wait();
        EXPECT_EQ(1, result.exitCode) << driving->name << result.err;
        EXPECT_THAT(result.err, HasSubstr("the process ends because a plug-in called exit() or quick_exit()"))
            << driving->name;
        EXPECT_THAT(driving->journal.lines(),
                    IsSupersetOf({"output Other output = 7", "device Bench disconnect, last output 20",
                                  "device Bench 2 disconnect, last output 7"}))
            << driving->name;
    }
}

#endif
