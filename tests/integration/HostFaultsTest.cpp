// What the host says and does when something is wrong with a running loop, its output or its surroundings.

#include "tests/integration/HostProgram.h"
#include "tests/integration/JournalledRun.h"
#include "tests/support/FullDisk.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/Record.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#if !defined(_WIN32)
#include <sys/types.h>
#endif

#if defined(_WIN32)
#include <windows.h>
#endif

using namespace Rvl::Test;
using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Not;

namespace {

/// An example with one part of it replaced.
std::string exampleWith(const std::string& example, const std::string& part, const std::string& replacement)
{
    return replaced(readFile(examples + "/" + example), part, replacement);
}

/// The PID example, or one like it, with so many controllers.
std::string pidWithControllers(int count, std::string text = readFile(examples + "/pid/pid.xml"))
{
    const std::size_t begin = text.find("    <Channel Name=\"Jacket\"");
    const std::size_t end = text.find("  </Channels>");
    const std::string controller =
        replaced(text.substr(begin, end - begin), "\"Jacket\"", "\"Jacket\" SharedOutput=\"true\"");
    text.replace(begin, end - begin, controller);
    for (int i = 2; i <= count; ++i) {
        text.insert(begin + controller.size(),
                    replaced(controller, "\"Jacket\"", "\"Jacket " + std::to_string(i) + "\""));
    }
    return text;
}

/// Runs the host in a shell that first does what `limits` say.
SProgramResult runWithin([[maybe_unused]] const std::string& limits, std::vector<std::string> arguments)
{
#if defined(_WIN32)
    // a process may open as many files there as memory has room for
    return runProgram(host, arguments);
#else
    arguments.insert(arguments.begin(), {"-c", limits + "; exec \"$0\" \"$@\"", host});
    return runProgram("/bin/sh", arguments);
#endif
}

/// A column of the line that a run of the PID example prints of its loop at the end: 0 is the number of
/// steps.
double loopColumn(const SProgramResult& result, int column)
{
    const std::string type = "  Jacket   0     Rvl::CPIDControlLoop";
    const std::size_t at = result.out.find(type);
    EXPECT_NE(std::string::npos, at) << result.out;
    std::istringstream columns(at == std::string::npos ? "" : result.out.substr(at + type.size()));
    double value = -1.0;
    for (int i = 0; i <= column; ++i) {
        columns >> value;
    }
    return value;
}

int stepsOf(const SProgramResult& result)
{
    return static_cast<int>(loopColumn(result, 0));
}

/// The vessel's temperature [degC] in the line that a run of the PID example prints of its controller at the
/// end.
double actualValueAtEnd(const SProgramResult& result)
{
    const std::string controller = "  Jacket   auto  40 degC    ";
    const std::size_t at = result.out.find(controller);
    EXPECT_NE(std::string::npos, at) << result.out;
    return at == std::string::npos ? 0.0 : std::atof(result.out.c_str() + at + controller.size());
}

double worstPeriodError_ms(const SProgramResult& result)
{
    return loopColumn(result, 3);
}

/// A configuration of one controller with its loops bare: they calculate with whatever they read.
std::string withLoopsThatTakeWhatComes(const std::string& text)
{
    return replaced(text, "<ControlLoop>", "<BadInput NaN=\"allowed\"/><ControlLoop>");
}

SProgramResult runFor(const std::string& duration, const std::string& text)
{
    const CTemporaryFolder folder;
    return runProgram(host, {"run", "--log", "off", folder.write("c.xml", text), "--for", duration});
}

const std::string cascadeBench = "Noise=\"0.02\" Seed=\"7\"/>";

} // namespace

TEST(HostFaults, InnerLoopThatCaughtANaNIsNotOk)
{
    const SProgramResult result = runFor("2s", withLoopsThatTakeWhatComes(exampleWith(
                                                   "cascade/cascade.xml", cascadeBench,
                                                   "><Fault Kind=\"SensorNaN\" Signal=\"JacketTemperature\" "
                                                   "From_s=\"0.3\" To_s=\"0.6\"/></Device>")));
    EXPECT_EQ(0, result.exitCode) << result.err;
    EXPECT_THAT(linesOf(result.out).front(), testing::EndsWith(", ok"));
    EXPECT_THAT(result.out,
                HasSubstr("fault: Vessel: loop 1 calculates a control value that is not a number"));
}

TEST(HostFaults, InnerLoopThatNothingEnablesIsNotOk)
{
    std::string text = readFile(examples + "/cascade/cascade.xml");
    const std::string enabled = "<Enabled>true</Enabled>";
    text.replace(text.rfind(enabled), enabled.size(), "<Enabled>false</Enabled>");
    const SProgramResult result = runFor("500ms", text);
    EXPECT_THAT(result.out,
                HasSubstr("fault: Vessel: loop 1 is disabled, although the loop above it is enabled"));
}

TEST(HostFaults, DisabledValueThatCannotArriveIsReported)
{
    const SProgramResult result =
        runFor("600ms", exampleWith("cascade/cascade.xml", cascadeBench,
                                    "><Fault Kind=\"DeviceAway\" From_s=\"0.3\"/></Device>"));
    EXPECT_EQ("Vessel: its disabled value may not have reached Heater: Device Bench is offline\n",
              result.err);
    EXPECT_EQ(1, result.exitCode);
}

TEST(HostFaults, SlowLoopsEndSideBySide)
{
    const std::string text =
        pidWithControllers(4, exampleWith("pid/pid.xml", "SampleTime_ms=\"100\"", "SampleTime_ms=\"1500\""));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, runFor("100ms", text).exitCode);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    EXPECT_LT(taken.count(), 4.0) << "four sample times one after the other take 6 s";
}

TEST(HostFaults, SignalThatTheStarterHadIgnoredStaysIgnored)
{
#if defined(_WIN32)
    constexpr eEnd ignored = eEnd::Interrupt;
    ASSERT_TRUE(SetConsoleCtrlHandler(nullptr, TRUE));
#else
    constexpr eEnd ignored = eEnd::HangUp;
    ASSERT_NE(SIG_ERR, std::signal(SIGHUP, SIG_IGN)); // as nohup does
#endif
    CProgramRun run(host, {"run", examples + "/pid/pid.xml", "--for", "3s"});
#if defined(_WIN32)
    SetConsoleCtrlHandler(nullptr, FALSE);
#else
    std::signal(SIGHUP, SIG_DFL);
#endif
    ASSERT_TRUE(eventually([&] { return run.outSoFar().find("Jacket: auto") != std::string::npos; }));
    run.end(ignored);
    const SProgramResult result = run.wait();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(stepsOf(result), AllOf(Ge(20), Le(30))) << "it ran its full time";
}

TEST(HostFaults, OutputThatCannotBeWrittenIsAFailure)
{
    const std::string file = examples + "/pid/pid.xml";
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"types"}, {"schema"}, {"docs"}, {"print", file}, {"check", file}}) {
        const SProgramResult result = runProgramWithoutOutput(host, command);
        EXPECT_EQ(1, result.exitCode) << command.front();
        EXPECT_EQ("the output could not be written\n", result.err) << command.front();
    }
}

TEST(HostFaults, ConfigurationIsNotReplacedByItsRecord)
{
    const CTemporaryFolder folder;
    const std::string text = readFile(examples + "/pid/pid.xml");
    const std::string file = folder.write("c.xml", text);
    const SProgramResult result = runProgram(host, {"run", file, "--for", "1s", "--record", file, "--force"});
    EXPECT_EQ("the record " + file + " is the configuration\n", result.err);
    EXPECT_EQ(64, result.exitCode);
    EXPECT_EQ(text, readFile(file));
}

TEST(HostFaults, RecordNeedsAFileName)
{
    for (const std::string name : {"", "--quiet"}) {
        const SProgramResult result =
            runProgram(host, {"run", examples + "/pid/pid.xml", "--for", "1s", "--record=" + name});
        EXPECT_EQ(64, result.exitCode) << result.out;
        EXPECT_THAT(result.err, Not(IsEmpty()));
    }
}

namespace {

const std::string pidBench = "Noise=\"0.02\" Seed=\"1\"/>";

std::string pidWithFault(const std::string& fault)
{
    return exampleWith("pid/pid.xml", pidBench, ">" + fault + "</Device>");
}

/// Runs a configuration and returns its record. The run has to end well.
std::vector<SRecordRow> recordOf(const std::string& text, const std::string& duration)
{
    const CTemporaryFolder folder;
    const SProgramResult result =
        runProgram(host, {"run", "--log", "off", folder.write("c.xml", text), "--for", duration, "--record",
                          folder.file("r.csv"), "--record-interval", "20ms"});
    EXPECT_EQ(0, result.exitCode) << result.err;
    return readRecord(folder.file("r.csv"));
}

std::ptrdiff_t rowsWith(const std::vector<SRecordRow>& rows, const std::string& state)
{
    return std::count_if(rows.begin(), rows.end(), [&](const SRecordRow& row) { return row.state == state; });
}

/// For runs in which something never ends: a fifth of the usual limits.
const std::vector<std::string> shortLimits{"--limit-scale", "0.2"};

std::vector<std::string> withShortLimits(std::vector<std::string> more = {})
{
    more.insert(more.end(), shortLimits.begin(), shortLimits.end());
    return more;
}

double secondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

TEST(HostFaults, FrozenSensorGoesUnnoticedAndTheLoopKeepsToItsLimits)
{
    const auto rows =
        recordOf(pidWithFault("<Fault Kind=\"SensorStuck\" Signal=\"JacketTemperature\" From_s=\"0.5\" "
                              "To_s=\"3\"/>"),
                 "5s");
    EXPECT_EQ(static_cast<std::ptrdiff_t>(rows.size()), rowsWith(rows, "ok"));
    EXPECT_TRUE(std::all_of(rows.begin(), rows.end(), [](const SRecordRow& row) {
        return row.controlValue >= 0.0 && row.controlValue <= 100.0;
    }));
    std::set<double> whileStuck;
    std::set<double> afterwards;
    for (const SRecordRow& row : rows) {
        if (row.time_s > 1.0 && row.time_s < 2.5) {
            whileStuck.insert(row.actualValue);
            EXPECT_EQ(100.0, row.controlValue) << "far from the set point at the limit, at " << row.time_s;
        } else if (row.time_s > 3.5) {
            afterwards.insert(row.actualValue);
        }
    }
    EXPECT_EQ(1U, whileStuck.size());
    EXPECT_GT(afterwards.size(), 5U);
    EXPECT_LT(rows.back().controlValue, 50.0) << "the integral has not wound up meanwhile";
}

TEST(HostFaults, NaNOfASensorStaysInALoopThatTakesWhatComes)
{
    const auto rows =
        recordOf(withLoopsThatTakeWhatComes(pidWithFault(
                     "<Fault Kind=\"SensorNaN\" Signal=\"JacketTemperature\" From_s=\"0.5\" To_s=\"0.8\"/>")),
                 "2s");
    EXPECT_EQ("ok", rows.front().state);
    const auto after =
        std::find_if(rows.begin(), rows.end(), [](const SRecordRow& row) { return row.time_s > 1.2; });
    ASSERT_NE(rows.end(), after);
    for (auto row = after; row != rows.end(); ++row) {
        EXPECT_FALSE(std::isnan(row->actualValue)) << "the sensor is well again";
        EXPECT_TRUE(std::isnan(row->controlValue));
        EXPECT_THAT(row->state, HasSubstr("Heater: the value to write is not a number; the safe value was "
                                          "written instead"));
    }
}

TEST(HostFaults, NaNOfASensorDisablesALoopWithoutAPolicyUntilItIsOver)
{
    const auto rows = recordOf(
        pidWithFault("<Fault Kind=\"SensorNaN\" Signal=\"JacketTemperature\" From_s=\"0.5\" To_s=\"0.8\"/>"),
        "2s");
    const std::string bad = "bad input: Jacket temperature: not a finite number; disabled";
    EXPECT_GT(rowsWith(rows, bad), 3);
    for (const SRecordRow& row : rows) {
        EXPECT_FALSE(std::isnan(row.controlValue)) << row.time_s;
        if (row.time_s > 0.65 && row.state == bad) { // each step that finds it comes within 100 ms
            EXPECT_EQ(0.0, row.controlValue) << row.time_s;
            EXPECT_FALSE(row.enabled) << row.time_s;
        } else if (row.time_s > 1.2 && row.enabled) {
            EXPECT_EQ("ok", row.state) << row.time_s;
            EXPECT_GT(row.controlValue, 0.0) << row.time_s;
        }
    }
}

TEST(HostFaults, DeviceThatComesBackGetsItsOutputsAgainAndTheLoopGoesOn)
{
    const auto rows = recordOf(pidWithFault("<Fault Kind=\"DeviceAway\" From_s=\"1\" To_s=\"3\"/>"), "5s");
    const std::string offline = "fault: Jacket temperature: Device Bench is offline";
    EXPECT_GT(rowsWith(rows, offline), 10);
    const auto lastOffline =
        std::find_if(rows.rbegin(), rows.rend(), [&](const SRecordRow& row) { return row.state == offline; });
    const auto back =
        std::find_if(lastOffline.base(), rows.end(), [](const SRecordRow& row) { return row.state == "ok"; });
    ASSERT_NE(rows.end(), back);
    const auto coldest =
        std::min_element(back, rows.end(), [](const SRecordRow& left, const SRecordRow& right) {
            return left.actualValue < right.actualValue;
        });
    EXPECT_LT(coldest->actualValue, lastOffline->actualValue - 2.0)
        << "while offline the device has taken its heater to 0 by itself";
    EXPECT_EQ("ok", rows.back().state);
    EXPECT_GT(rows.back().actualValue, coldest->actualValue + 5.0) << "the heater heats again";
}

TEST(HostFaults, FailedWriteOfAnActuatorIsReportedAndRepeatedOnceItCanBe)
{
    // the heater of a bench of its own, which is offline when the first value is written
    std::string text = exampleWith("pid/pid.xml", pidBench,
                                   "/><Device Name=\"Far\" Type=\"Rvl::CThermalBench\"><Fault "
                                   "Kind=\"DeviceAway\" From_s=\"0\" To_s=\"1\"/></Device>");
    const std::string bound = "<Device>Bench</Device>\n      <Signal>Heater</Signal>";
    text.replace(text.find(bound), bound.size(), "<Device>Far</Device><Signal>Heater</Signal>");
    const std::string channels = "<Channels>";
    text.replace(text.find(channels), channels.size(),
                 "<Channels><Channel Name=\"Far temperature\" Type=\"Rvl::CSimulatedAnalogInChannel\">"
                 "<Device>Far</Device><Signal>JacketTemperature</Signal></Channel>"
                 "<Channel Name=\"Watch\" Type=\"Rvl::CLocalControllerChannel\" Enabled=\"true\" "
                 "Manual=\"true\"><ControlLoop><Type>Rvl::CPIDControlLoop</Type><Enabled>true</Enabled>"
                 "<PIDParam Name=\"p\" K=\"0\" Ti=\"0\" Td=\"0\" DerivativeGainLimit=\"0\" MinU=\"0\" "
                 "MaxU=\"0\" DisabledU=\"0\" Setpoint=\"0\" SampleTime_ms=\"100\"/>"
                 "<Input><Type>Rvl::CAnalogChannelLoopIn</Type><Channel>Far temperature</Channel></Input>"
                 "<InputSameAsOutput>false</InputSameAsOutput>"
                 "<Output><Type>Rvl::CConditionalControlLoop</Type><Parameters SampleTime_ms=\"100\" "
                 "Setpoint=\"0\" U_Disabled=\"0\"/><Input><Type>Rvl::CAnalogChannelLoopIn</Type>"
                 "<Channel>Far temperature</Channel></Input><Output><Type>Rvl::CPT1Element</Type></Output>"
                 "</Output></ControlLoop></Channel>");
    const auto rows = recordOf(text, "3s");
    const auto jacket = rowsOf(rows, "Jacket");
    EXPECT_GT(rowsWith(jacket, "fault: Heater: Device Far is offline"), 10);
    EXPECT_EQ("ok", jacket.back().state);
    EXPECT_EQ(100.0, jacket.back().controlValue)
        << "the same value from the first step on: never written anew";
    EXPECT_GT(rowsOf(rows, "Watch").back().actualValue, 25.0) << "and yet the far heater has it now";
}

TEST(HostFaults, ActuatorHasItsSafeValueUntilItIsDrivenAndAtTheEnd)
{
    const std::string output = "<Channel Name=\"Sound output\" Type=\"Rvl::CFakeOutput\" Device=\"Bench\"/>";
    const std::string device = "<Device Name=\"Loop\" Type=\"Rvl::CFakeCurrentLoop\"/></Devices>";
    const std::string plugin = "<Plugin Name=\"rivlink_current\" Path=\"" +
                               replaced(RIVLINK_FAKE_PLUGIN, "rivlink_fake", "rivlink_current") +
                               "\"/></Plugins>";
    const std::string current = "<Channel Name=\"Sound output\" Type=\"Rvl::CFakeCurrentOutput\" SAFE>"
                                "<Device>Loop</Device><Signal>Current</Signal>RANGE</Channel>";
    const auto configuration = [&](const std::string& safeValue, const std::string& range) {
        const std::string channel = replaced(replaced(current, "SAFE", safeValue), "RANGE", range);
        const std::string text =
            replaced(replaced(journalledConfiguration(), output, channel), "</Devices>", device);
        return replaced(text, "</Plugins>", plugin);
    };
    const std::string range = "<Range Minimum=\"4\" Maximum=\"20\"/>";
    const CJournal journal(configuration("SafeValue=\"4.5\"", range));
    const SProgramResult run =
        runProgram(host, journal.arguments({"--for", "300ms"}), "", journal.environment());
    EXPECT_EQ(0, run.exitCode) << run.err;
    std::vector<std::string> lines = journal.lines();
    std::erase_if(
        lines, [](const std::string& line) { return line.find("current") != 0 && line != "connect Loop"; });
    EXPECT_THAT(lines, testing::ElementsAre("current = 4.5", "connect Loop", "current = 20", "current = 7",
                                            "current = 4.5"));

    const CTemporaryFolder folder;
    const auto check = [&](const std::string& safeValue, const std::string& limits) {
        const std::string file = folder.write("c.xml", configuration(safeValue, limits));
        const SProgramResult result = runProgram(host, {"check", "--log", "off", file});
        EXPECT_EQ(78, result.exitCode);
        return result.out;
    };
    EXPECT_THAT(check("SafeValue=\"3\"", ""),
                HasSubstr("Channel[2][@SafeValue]: \"3\" is outside the range of actuator \"Current\"; "
                          "expected one from 4 to 20\n"));
    EXPECT_THAT(check("", ""),
                HasSubstr("Channel[2][@SafeValue]: is missing; expected one from 4 to 20, as the "
                          "default, 0, is outside the range of actuator \"Current\"\n"));
    EXPECT_THAT(check("SafeValue=\"4.5\"", "<Range Minimum=\"5\" Maximum=\"20\"/>"),
                HasSubstr("Range[@Minimum]: \"5\" is above SafeValue; expected at most 4.5\n"));
}

TEST(HostFaults, PlugInThatThrowsWhileBuildingStartsNothing)
{
    for (const auto& [device, fault] :
         {std::pair<std::string, std::string>("Name=\"Bench 2\" FailAt=\"construct\"",
                                              "failing at construct as configured"),
          std::pair<std::string, std::string>("Name=\"Strange\"", "an exception of unknown kind")}) {
        const CTemporaryFolder folder;
        const std::string file = folder.write("c.xml", journalledConfiguration("Other", device));
        const SProgramResult result = runProgram(host, {"run", file, "--for", "1s"}, "",
                                                 {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
        EXPECT_EQ(78, result.exitCode);
        // the second device's line
        EXPECT_THAT(result.err, testing::ContainsRegex("c\\.xml:2: .*cannot be built: " + fault));
        EXPECT_THAT(readFile(folder.file("journal")), Not(HasSubstr("connect")));
    }
}

TEST(HostFaults, ExceptionOutOfAStepEndsTheProcessAfterTheOtherLoopsTookTheirDisabledValues)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", journalledConfiguration("Broken"));
    const SProgramResult result = runProgram(host, {"run", "--log", "off", file, "--for", "20s"}, "",
                                             {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
#if !defined(_WIN32)
    EXPECT_EQ(128 + SIGABRT, result.exitCode);
#else
    EXPECT_NE(0, result.exitCode);
#endif
    EXPECT_THAT(result.err, testing::StartsWith(
                                "the process ends because of an uncaught exception: the output is broken\n"));
    EXPECT_THAT(linesOf(readFile(folder.file("journal"))),
                testing::IsSupersetOf({"output Sound output = 20", "output Sound output = 7",
                                       "device Bench disconnect, last output 7"}));
}

TEST(HostFaults, TwoLoopsThatFailAtOnceDoNotKeepEachOthersLockFromTheRest)
{
    const CTemporaryFolder folder;
    // both before the sound one, and with one sample time
    std::string text = journalledConfiguration("Broken");
    const std::size_t sound = text.find("<Channel Name=\"Sound\"");
    const std::size_t broken = text.find("<Channel Name=\"Broken\"");
    const std::size_t end = text.find("</Channels>");
    const std::string soundController = text.substr(sound, broken - sound);
    const std::string brokenController = text.substr(broken, end - broken);
    const std::string again = replaced(replaced(brokenController, "\"Broken\"", "\"Broken again\""),
                                       "Broken output", "Broken again output");
    text.replace(sound, end - sound,
                 "<Channel Name=\"Broken again output\" Type=\"Rvl::CFakeOutput\" Device=\"Bench 2\"/>\n" +
                     brokenController + again + soundController);
    const SProgramResult result = runProgram(
        host, {"run", "--log", "off", folder.write("c.xml", text), "--for", "20s", "--limit-scale", "0.2"},
        "", {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
    EXPECT_NE(0, result.exitCode);
    EXPECT_THAT(linesOf(readFile(folder.file("journal"))),
                testing::IsSupersetOf({"output Sound output = 20", "output Sound output = 7",
                                       "device Bench disconnect, last output 7"}));
}

TEST(HostFaults, DiskThatFillsUpWhileRecordingEndsTheRecordButNotTheControl)
{
    // the record may grow to 2 KiB only, which takes some rows
    const std::string file = examples + "/pid/pid.xml";
#if defined(_WIN32)
    CFullDisk disk(2048);
    const std::string record = disk.path();
    const SProgramResult result = runProgram(
        host, {"run", "--log", "off", file, "--for", "2s", "--record", record, "--record-interval", "10ms"});
    const std::string recorded = disk.content();
#else
    const CTemporaryFolder folder;
    const std::string record = folder.file("r.csv");
    const SProgramResult result = runWithin("ulimit -f 4", {"run", "--log", "off", file, "--for", "2s",
                                                            "--record", record, "--record-interval", "10ms"});
    const std::string recorded = readFile(record);
#endif
    EXPECT_EQ("writing the record " + record + " failed; control goes on without a record\n", result.err);
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(stepsOf(result), AllOf(Ge(10), Le(20)));
    EXPECT_GT(linesOf(recorded).size(), 10u) << "it had begun";
}

TEST(HostFaults, ConfigurationThatNeedsMoreFilesThanTheSystemAllowsIsReportedBeforeAnythingStarts)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", pidWithControllers(60));
    const SProgramResult result = runWithin("ulimit -n 100", {"run", file, "--for", "200ms", "--quiet"});
#if defined(_WIN32)
    EXPECT_EQ(0, result.exitCode) << result.err;
#else
    EXPECT_EQ(78, result.exitCode);
    const SProgramResult check = runWithin("ulimit -n 100", {"check", file});
    EXPECT_EQ(check.exitCode, result.exitCode);
    EXPECT_EQ(check.out, result.err);
    ASSERT_EQ(1u, linesOf(result.err).size()) << result.err;
    EXPECT_THAT(
        result.err,
        testing::ContainsRegex(
            "c\\.xml:[0-9]+: /Configuration/Channels/Channel\\[[0-9]+\\]: cannot be built: this program "
            "may open no more files at once than 100, which is enough for [23][0-9] of 60 controllers; "
            "expected about [12][0-9][0-9] \\(ulimit -n, LimitNOFILE of a service\\)"));
#endif
}

TEST(HostFaults, LimitOnFilesThatCanBeRaisedIsRaised)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", pidWithControllers(60));
    const SProgramResult result = runWithin("ulimit -S -n 50", {"run", file, "--for", "200ms", "--quiet"});
    EXPECT_EQ(0, result.exitCode) << result.err;
}

TEST(HostFaults, SecondHostDoesNotTouchTheRecordOfTheFirst)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("r.csv");
    const std::vector<std::string> arguments{
        "run", "--log", "off", examples + "/pid/pid.xml", "--for", "30s", "--record", record, "--force"};
    CProgramRun first(host, arguments);
    ASSERT_TRUE(eventually([&] { return linesOf(readFile(record)).size() > 3; }));
    const SProgramResult second = runProgram(host, arguments);
    EXPECT_EQ(1, second.exitCode);
    EXPECT_EQ("the record " + record + " is being written by another program\n", second.err);
    const std::size_t rows = linesOf(readFile(record)).size();
    EXPECT_GT(rows, 3u);
    EXPECT_TRUE(eventually([&] { return linesOf(readFile(record)).size() > rows; })) << "the first goes on";
    first.end(eEnd::Interrupt);
    EXPECT_EQ(0, first.wait().exitCode);
    EXPECT_NO_THROW(readRecord(record)) << "every row is whole";
}

TEST(HostFaults, SecondHostOnAConfigurationRunsBesideTheFirst)
{
    // simulated devices belong to their process
    CProgramRun first(host, {"run", "--log", "off", examples + "/pid/pid.xml", "--for", "1s"});
    CProgramRun second(host, {"run", "--log", "off", examples + "/pid/pid.xml", "--for", "1s"});
    EXPECT_EQ(0, first.wait().exitCode);
    EXPECT_EQ(0, second.wait().exitCode);
}

TEST(HostFaults, OutputThatIsNotReadHoldsUpNeitherControlNorRecordNorEnd)
{
    const CJournal journal;
    const SProgramResult result = runProgramWithIdleReader(
        host,
        journal.arguments({"--for", "2s", "--record", journal.file("r.csv"), "--record-interval", "50ms"},
                          "trace"),
        journal.environment());
    EXPECT_EQ(0, result.exitCode);
    const auto rows = rowsOf(readRecord(journal.file("r.csv")), "Sound");
    EXPECT_GE(rows.size(), 20u) << "40, on a computer that is not busy";
    EXPECT_GT(rows.back().time_s, 1.8);
    EXPECT_THAT(journal.lines(),
                testing::IsSupersetOf({"output Sound output = 20", "output Sound output = 7",
                                       "device Bench disconnect, last output 7", "device Bench destroyed"}));
}

TEST(HostFaults, WriteThatNeverReturnsKeepsNoOtherControllerDriven)
{
    const CJournal journal;
    CProgramRun run(host, journal.arguments(withShortLimits()), "",
                    journal.slowAt("output Sound output = 20"));
    ASSERT_TRUE(journal.gets("output Other output = 20"));
    ASSERT_TRUE(journal.gets("output Sound output = 20"));
    const std::string report =
        "hung call: Sound has not returned for 400 ms; nothing is shown or recorded meanwhile\n";
    ASSERT_TRUE(eventually([&] { return run.errSoFar() == report; }));
    const auto begin = std::chrono::steady_clock::now();
    run.end(eEnd::Terminate);
    EXPECT_TRUE(journal.gets("output Other output = 7"));
    EXPECT_TRUE(run.isRunning()) << "before the call in front of it is given up";
    const SProgramResult result = run.wait();
    EXPECT_LT(secondsSince(begin), 20.0);
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(report + "disabling Sound: did not end within 1 s; what it drives may still be driven\n",
              result.err);
    EXPECT_THAT(journal.lines(), testing::IsSupersetOf({"bus FakeBus disconnect", "bus FakeBus shutdown",
                                                        "device Bench disconnect, last output 20",
                                                        "device Bench 2 disconnect, last output 7"}))
        << "all that can be done for the actuator whose write hangs";
}

TEST(HostFaults, DisabledValueWhoseWriteNeverReturnsKeepsNoOtherControllerDriven)
{
    const CJournal journal;
    const SProgramResult result = runProgram(host, journal.arguments(withShortLimits({"--for", "1s"})), "",
                                             journal.slowAt("output Sound output = 7"));
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("disabling Sound: did not end within 1 s; what it drives may still be driven\n", result.err);
    EXPECT_THAT(result.out, HasSubstr("\n  Sound ")) << "the summary";
    EXPECT_THAT(journal.lines(),
                testing::IsSupersetOf({"output Other output = 7", "device Bench disconnect, last output 7",
                                       "device Bench 2 disconnect, last output 7", "bus FakeBus shutdown"}));
}

TEST(HostFaults, WriteThatTakesLongOnlyMakesTheEndWait)
{
    for (const std::string value : {"20", "7"}) {
        const CJournal journal;
        const SProgramResult result =
            runProgram(host, journal.arguments({"--for", "300ms", "--limit-scale", "0.4"}), "",
                       journal.slowAt("output Sound output = " + value, 1200));
        EXPECT_EQ(0, result.exitCode);
        EXPECT_EQ("", result.err);
        EXPECT_THAT(result.out, testing::ContainsRegex("\n  Sound +auto"))
            << "as it was before it was disabled";
        EXPECT_THAT(journal.lines(), testing::IsSupersetOf({"device Bench disconnect, last output 7",
                                                            "device Bench destroyed"}));
    }
}

TEST(HostFaults, EndWaitsForNoSampleTime)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write(
        "c.xml", replaced(exampleWith("pid/pid.xml", "SampleTime_ms=\"100\"", "SampleTime_ms=\"15000\""),
                          "Ti=\"5\"", "Ti=\"60\""));
    CProgramRun run(host, withShortLimits({"run", "--log", "off", file}));
    ASSERT_TRUE(eventually([&] { return run.outSoFar().find("Jacket: auto") != std::string::npos; }));
    const auto begin = std::chrono::steady_clock::now();
    run.end(eEnd::Terminate);
    const SProgramResult result = run.wait();
    EXPECT_LT(secondsSince(begin), 5.0) << "less than a second on a computer that is not busy";
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.err);
}

TEST(HostFaults, DeviceThatIsNeverDisconnectedDoesNotKeepTheOthersFromIt)
{
    // they are disconnected in reverse order
    const CJournal journal;
    const SProgramResult result = runProgram(host, journal.arguments(withShortLimits({"--for", "500ms"})), "",
                                             journal.slowAt("device Bench 2 disconnect, last output 7"));
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("disconnecting Bench 2: did not end within 1 s\n", result.err);
    EXPECT_THAT(result.out, HasSubstr("\n  Sound ")) << "the summary";
    EXPECT_THAT(journal.lines(), testing::IsSupersetOf({"output Sound output = 7", "output Other output = 7",
                                                        "device Bench disconnect, last output 7"}));
}

TEST(HostFaults, WhatIsNeverDestroyedOrLeftEndsTheHostAllTheSame)
{
    for (const auto& [line, report] :
         {std::pair<std::string, std::string>("device Bench destroyed", "destroying Bench"),
          std::pair<std::string, std::string>("bus FakeBus destroyed", "unloading the plug-ins"),
          std::pair<std::string, std::string>("bus FakeBus disconnect", "disconnecting the bus FakeBus")}) {
        const CJournal journal;
        const SProgramResult result = runProgram(host, journal.arguments(withShortLimits({"--for", "300ms"})),
                                                 "", journal.slowAt(line));
        EXPECT_EQ(1, result.exitCode);
        EXPECT_EQ(report + ": did not end within 1 s\n", result.err);
        EXPECT_THAT(journal.lines(),
                    testing::IsSupersetOf({"output Sound output = 7", "output Other output = 7",
                                           "device Bench disconnect, last output 7",
                                           "device Bench 2 disconnect, last output 7"}));
    }
}

TEST(HostFaults, SignalWhileADeviceIsBeingConnectedLeavesTheRestAlone)
{
    const CJournal journal;
    CProgramRun run(host, journal.arguments(), "", journal.slowAt("device Bench connect", 1000));
    ASSERT_TRUE(journal.gets("device Bench connect"));
    run.end(eEnd::Terminate);
    const SProgramResult result = run.wait();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(journal.lines(),
                testing::IsSupersetOf({"device Bench destroyed", "device Bench 2 destroyed"}));
    EXPECT_THAT(journal.text(), HasSubstr("device Bench disconnect, last output"));
    EXPECT_THAT(journal.text(), Not(HasSubstr("Bench 2 connect")));
    EXPECT_THAT(journal.text(), Not(HasSubstr("= 20"))) << "no loop has calculated";
}

TEST(HostFaults, FailureOfAStartThatASignalWaitsForIsReported)
{
    const CJournal journal(journalledConfiguration("Other", "Name=\"Bench 2\" FailAt=\"connect\""));
    CProgramRun run(host, journal.arguments(), "", journal.slowAt("device Bench 2 connect", 1500));
    ASSERT_TRUE(journal.gets("device Bench 2 connect"));
    run.end(eEnd::Terminate);
    const SProgramResult result = run.wait();
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("stopped: failing at connect as configured\n", result.err);
}

TEST(HostFaults, SignalEndsTheHostAlthoughADeviceIsNeverConnected)
{
    const CJournal journal;
    CProgramRun run(host, journal.arguments(withShortLimits({"--for", "1s"})), "",
                    journal.slowAt("device Bench 2 connect"));
    const std::string report =
        "hung call: Bench 2 has not returned for 400 ms; nothing is shown or recorded meanwhile\n";
    ASSERT_TRUE(eventually([&] { return run.errSoFar() == report; }));
    const auto begin = std::chrono::steady_clock::now();
    run.end(eEnd::Terminate);
    const SProgramResult result = run.wait();
    EXPECT_LT(secondsSince(begin), 20.0);
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(report + "hung call: Bench 2 did not return within 1 s\n", result.err);
    EXPECT_THAT(journal.lines(), testing::Contains("device Bench disconnect, last output 7"));
}

TEST(HostFaults, SignalInTheMiddleOfTheStartTakesBackWhatWasStarted)
{
    // however far the start has come: from before the signal is the host's own (nothing is connected then) to
    // a running loop
    int ended = 0;
    for (int delay_ms = 0; delay_ms < 160 || (ended == 0 && delay_ms < 20000);
         delay_ms += delay_ms < 160 ? 8 : 200) {
        const CTemporaryFolder folder;
        const std::string file = folder.write("c.xml", journalledConfiguration());
        CProgramRun run(host, {"run", "--log", "off", file, "--for", "30s"}, "",
                        {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(delay_ms)) {
        }
        run.end(eEnd::Terminate);
        const SProgramResult result = run.wait();
        const std::string journal = readFile(folder.file("journal"));
        if (journal.find("connect") == std::string::npos) {
            continue; // nothing was driven yet; before the signal is the host's, the system ends the process
        }
        EXPECT_EQ(0, result.exitCode) << delay_ms << result.err;
        EXPECT_THAT(journal, HasSubstr("device Bench destroyed")) << delay_ms << result.err;
        EXPECT_THAT(journal, Not(HasSubstr("last output 20"))) << delay_ms;
        ++ended;
    }
    EXPECT_GT(ended, 0) << "the last ones at least meet a host that handles signals";
}

TEST(HostFaults, SignalsInTheMiddleOfTheShutdownDoNotCutItShort)
{
    const CTemporaryFolder folder;
    // a sample time of 300 ms keeps the shutdown waiting that long
    const std::string file = folder.write("c.xml", journalledConfiguration());
    CProgramRun run(host, {"run", "--log", "off", file, "--for", "30s"}, "",
                    {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
    ASSERT_TRUE(eventually(
        [&] { return readFile(folder.file("journal")).find("Other output = 20") != std::string::npos; }));
    while (run.isRunning()) {
        run.end(eEnd::Terminate);
        run.end(eEnd::Interrupt);
    }
    EXPECT_EQ(0, run.wait().exitCode);
    EXPECT_THAT(
        linesOf(readFile(folder.file("journal"))),
        testing::IsSupersetOf({"output Sound output = 7", "output Other output = 7",
                               "device Bench disconnect, last output 7",
                               "device Bench 2 disconnect, last output 7", "device Bench destroyed"}));
}

TEST(HostFaults, KilledHostWritesNothingMoreSoOnlyADevicesOwnWatchdogCanSwitchItOff)
{
    const CJournal journal;
    CProgramRun run(host, journal.arguments(), "",
                    journal.environment({{"RIVLINK_FAKE_WATCHDOG", "Bench 2"}}));
    ASSERT_TRUE(journal.gets("output Other output = 20"));
    ASSERT_TRUE(journal.gets("output Sound output = 20"));
    run.end(eEnd::Kill);
    EXPECT_EQ(killedExitCode, run.wait().exitCode);
#if !defined(_WIN32)
    // of the tests' devices, those for Windows have none
    EXPECT_TRUE(journal.gets("device Bench 2 lost its connection, output = 0"));
#endif
    EXPECT_THAT(journal.text(), Not(HasSubstr("= 7")));
    EXPECT_THAT(journal.text(), Not(HasSubstr("disconnect")));
    EXPECT_THAT(journal.text(), Not(HasSubstr("Bench lost"))) << "that one is driven for ever";
}

namespace {

/// Runs the PID example for two seconds more after its calendar was set by so many seconds, once it controls.
SProgramResult runWithClockStep(const std::string& step_s)
{
    const CTemporaryFolder folder;
    std::map<std::string, std::string> environment{{"RIVLINK_TEST_CLOCK_STEP_S", step_s},
                                                   {"RIVLINK_TEST_CLOCK_STEP_WHEN", folder.file("now")}};
#if defined(_WIN32)
    const std::string plugins = "</Plugins>";
    const std::string file =
        folder.write("c.xml", exampleWith("pid/pid.xml", plugins,
                                          "<Plugin Name=\"rivlink_fake\" Path=\"" +
                                              std::string(RIVLINK_FAKE_PLUGIN) + "\"/>" + plugins));
#else
    const std::string file = examples + "/pid/pid.xml";
    environment["LD_PRELOAD"] = RIVLINK_CLOCK_STEP;
    environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
#endif
    CProgramRun run(host, {"run", "--log", "off", file, "--for", "3s"}, "", environment);
    EXPECT_TRUE(eventually([&] { return run.outSoFar().find("Z  Jacket: auto") != std::string::npos; }));
    folder.write("now", "");
    return run.wait();
}

} // namespace

TEST(HostFaults, ClockSetBackByAnHourMakesNoDifferenceToLoops)
{
    const SProgramResult result = runWithClockStep("-3600");
    EXPECT_EQ(0, result.exitCode) << result.err;
    EXPECT_THAT(stepsOf(result), AllOf(Ge(20), Le(30))) << "and it ends";
    EXPECT_LT(worstPeriodError_ms(result), 300.0) << "as on a busy computer, and no more";
    EXPECT_GT(actualValueAtEnd(result), 30.0)
        << "it was 22 degC when the clock was set: the bench goes on, too";
}

#if !defined(_WIN32)
TEST(HostFaults, ClockBeyondAllYearsIsReportedAtTheStart)
{
    const CTemporaryFolder folder;
    const SProgramResult result = CProgramRun(host, {"run", examples + "/pid/pid.xml", "--for", "1s"}, "",
                                              {{"RIVLINK_TEST_CLOCK_STEP_S", "15778800000"}, // 500 years
                                               {"RIVLINK_TEST_CLOCK_STEP_WHEN", folder.write("now", "")},
                                               {"LD_PRELOAD", RIVLINK_CLOCK_STEP},
                                               {"ASAN_OPTIONS", "verify_asan_link_order=0"}})
                                      .wait();
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.err,
                testing::MatchesRegex("the system's clock is in the year 25[0-9][0-9]; expected one "
                                      "from 1970 to 2261\n"));
    EXPECT_EQ("", result.out);
}
#endif

TEST(HostFaults, ClockSetForwardByAnHourMakesNoDifferenceToLoops)
{
    const SProgramResult result = runWithClockStep("3600");
    EXPECT_EQ(0, result.exitCode) << result.err;
    EXPECT_THAT(stepsOf(result), AllOf(Ge(20), Le(30)));
    EXPECT_GT(actualValueAtEnd(result), 30.0);
}
