// The same files on virtual time: the same control, as fast as it goes, and the same to the last bit each
// time.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/Record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

using namespace Rvl::Test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

struct SExample
{
    std::string file;
    /// By how much an actual value may leave the range of those around the same time on virtual time: five
    /// standard deviations of the bench's noise, or what an actuator's step makes of a period error.
    double tolerance;
};

void PrintTo(const SExample& printed, std::ostream* stream)
{
    *stream << printed.file;
}

const std::vector<SExample> simulatedExamples{
    {"bad-input/bad-input.xml", 1.0}, // full power for a step more before a fault
    {"cascade/cascade.xml", 0.3},
    {"chip/chip.xml", 0.3},
    {"conditional/conditional.xml", 0.5},
    {"pid/pid.xml", 0.3},
    {"pump/pump.xml", 3.0},
    {"simulated-process/simulated-process.xml", 0.5},
    {"two-level/two-level.xml", 0.5},
    {"two-quadrant/two-quadrant.xml", 0.3},
};

/// Runs a configuration on virtual time; expects it to end well, and returns its record as a text.
std::string virtualRecord(const std::string& path, const std::string& duration,
                          const std::string& interval = "100ms")
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("record.csv");
    const SProgramResult run = runProgram(host, {"run", path, "--virtual", "--for", duration, "--record",
                                                 record, "--record-interval", interval});
    EXPECT_EQ(0, run.exitCode) << run.out << run.err;
    EXPECT_EQ("", run.err);
    return readFile(record);
}

std::vector<SRecordRow> rows(const std::string& record)
{
    const CTemporaryFolder folder;
    return readRecord(folder.write("record.csv", record));
}

class VirtualExamples : public testing::TestWithParam<SExample>
{
protected:
    const std::string path = examples + "/" + GetParam().file;
};

} // namespace

TEST_P(VirtualExamples, TwoRunsAreEqualByteByByte)
{
    const std::string first = virtualRecord(path, "2min");
    EXPECT_GT(linesOf(first).size(), 1000U);
    EXPECT_TRUE(first == virtualRecord(path, "2min"));
}

TEST_P(VirtualExamples, RealRunIsWithinNoiseAndPeriodErrorOfTheVirtualOne)
{
    constexpr double shift_s = 0.5; // of a step, by the errors of all periods before it
    const CTemporaryFolder folder;
    const std::string record = folder.file("record.csv");
    const SProgramResult run = runProgram(host, {"run", path, "--for", "6s", "--quiet", "--record", record});
    ASSERT_EQ(0, run.exitCode) << run.err;
    const std::vector<SRecordRow> real = readRecord(record);
    const std::vector<SRecordRow> ideal = rows(virtualRecord(path, "8s", "20ms"));
    ASSERT_GT(real.size(), 50U);
    for (const SRecordRow& row : real) {
        double lowest = std::numeric_limits<double>::max();
        double highest = std::numeric_limits<double>::lowest();
        bool isNumber = false;
        for (const SRecordRow& other : ideal) {
            if (other.channel == row.channel && std::fabs(other.time_s - row.time_s) <= shift_s) {
                isNumber = isNumber || !std::isnan(other.actualValue);
                lowest = std::fmin(lowest, other.actualValue);
                highest = std::fmax(highest, other.actualValue);
            }
        }
        if (std::isnan(row.actualValue)) {
            continue; // a sensor's fault, whose beginning and end other tests hold to their times
        }
        ASSERT_TRUE(isNumber);
        EXPECT_GE(row.actualValue, lowest - GetParam().tolerance)
            << row.channel << " at " << row.time_s << " s";
        EXPECT_LE(row.actualValue, highest + GetParam().tolerance)
            << row.channel << " at " << row.time_s << " s";
    }
}

INSTANTIATE_TEST_SUITE_P(All, VirtualExamples, testing::ValuesIn(simulatedExamples));

TEST(VirtualRun, PeriodsAreExactAndTheSummarySaysSo)
{
    const SProgramResult run =
        runProgram(host, {"run", examples + "/cascade/cascade.xml", "--virtual", "--for", "1h"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("", run.err);
    EXPECT_THAT(run.out,
                HasSubstr("  Vessel   0     Rvl::CPIDControlLoop  14400  250               0                 "
                          "      0                        0\n"));
    EXPECT_THAT(run.out,
                HasSubstr("  Vessel   1     Rvl::CPIDControlLoop  36000  100               0                 "
                          "      0                        0\n"));
    EXPECT_THAT(run.out, Not(HasSubstr("First loop step")));
    EXPECT_THAT(run.out, Not(HasSubstr("2000-01-01"))) << "no line each second";
}

TEST(VirtualRun, RecordHasTheTimesOfTheTimeline)
{
    const std::vector<std::string> lines = linesOf(virtualRecord(examples + "/pid/pid.xml", "500ms"));
    ASSERT_EQ(8U, lines.size());
    EXPECT_THAT(lines[1], testing::StartsWith("2000-01-01T00:00:00.000Z,Jacket,"));
    EXPECT_THAT(lines[6], testing::StartsWith("2000-01-01T00:00:00.500Z,Jacket,"));
    EXPECT_THAT(lines[7], testing::EndsWith(",false,false,off"));
}

TEST(VirtualRun, FaultsOfADeviceComeAtTheirTimesAndThePolicyActs)
{
    const std::string text =
        replaced(readFile(examples + "/cascade/cascade.xml"), "Noise=\"0.02\" Seed=\"7\"/>",
                 "><Fault Kind=\"SensorNaN\" Signal=\"JacketTemperature\" From_s=\"3600\" "
                 "To_s=\"3610\"/></Device>");
    const CTemporaryFolder folder;
    const std::vector<SRecordRow> record =
        rows(virtualRecord(folder.write("c.xml", replaced(text, "<SetpointRange",
                                                          "<BadInput Action=\"disable\"/><SetpointRange")),
                           "2h", "1s"));
    std::set<std::string> before;
    std::set<std::string> during;
    std::set<std::string> after;
    for (const SRecordRow& row : record) {
        if (row.time_s > 1.0 && row.time_s < 3600.0) {
            before.insert(row.state);
        } else if (row.time_s >= 3601.0 && row.time_s < 3610.0) {
            during.insert(row.state);
        } else if (row.time_s > 3611.0) {
            after.insert(row.state);
        }
    }
    EXPECT_EQ(std::set<std::string>{"ok"}, before);
    EXPECT_EQ(std::set<std::string>{"bad input: Jacket temperature: not a finite number; disabled"}, during);
    EXPECT_EQ(std::set<std::string>{"ok"}, after);
}

TEST(VirtualRun, RecordEndsWithTheDisabledValues)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("r.csv", virtualRecord(examples + "/pid/pid.xml", "5s"));
    const std::vector<SRecordRow> driven = readRecord(file);
    EXPECT_TRUE(driven.back().enabled);
    EXPECT_GT(driven.back().controlValue, 0.0);
    const std::vector<SRecordRow> end = readEndOfRecord(file);
    ASSERT_EQ(1U, end.size());
    EXPECT_EQ(5.0, end[0].time_s);
    EXPECT_EQ("off", end[0].state);
    EXPECT_FALSE(end[0].enabled);
    EXPECT_EQ(0.0, end[0].controlValue);
}

TEST(VirtualRun, WatchingChangesNothingAlsoOfAProcessThatMovesWithEachReading)
{
    const CTemporaryFolder folder;
    // no step at a whole second, where it would come before or after the reading
    const std::string path = folder.write("lag.xml", R"(<Configuration>
<Plugins><Plugin Name="rivlink_local"/></Plugins>
<Channels><Channel Name="Lag" Type="Rvl::CLocalControllerChannel" Enabled="true"><ControlLoop>
<Type>Rvl::CTwoLevelControlLoop</Type>
<Parameters SampleTime_ms="70" Setpoint="10" LowerThreshold="1" UpperThreshold="1" U_Up="20" U_Down="0" U_Disabled="0"/>
<InputSameAsOutput>true</InputSameAsOutput>
<Input><Type>Rvl::CPT1Element</Type><TimeConstant_s>10</TimeConstant_s></Input>
</ControlLoop><SetpointRange Minimum="0" Maximum="100"/></Channel></Channels>
</Configuration>)");
    const std::vector<std::string> seldom = linesOf(virtualRecord(path, "6500ms", "1s"));
    const std::vector<std::string> often = linesOf(virtualRecord(path, "6500ms", "20ms"));
    ASSERT_EQ(9U, seldom.size()) << "the heading, seven rows and the end";
    EXPECT_GT(often.size(), 300U);
    EXPECT_THAT(often, testing::IsSupersetOf(seldom));
    std::set<std::string> values;
    for (const SRecordRow& row : rows(virtualRecord(path, "6500ms", "1s"))) {
        values.insert(std::to_string(row.controlValue));
    }
    EXPECT_EQ(2U, values.size()) << "the loop has switched";
}

TEST(VirtualRun, RealDeviceIsRefusedAtItsLine)
{
    const std::string path = examples + "/cpu-load/cpu-load.xml";
    const SProgramResult run = runProgram(host, {"run", path, "--virtual", "--for", "1s"});
    EXPECT_EQ(78, run.exitCode);
    EXPECT_THAT(run.err,
                HasSubstr("/Configuration/Devices/Device[@Name]: \"Computer\" is real, and does not go by "
                          "virtual time; expected only simulated ones with --virtual\n"));
    EXPECT_THAT(run.err, HasSubstr("cpu-load.xml:"));
    EXPECT_EQ("", run.out);
}

TEST(VirtualRun, NeedsADurationAndNoRealtime)
{
    const std::string path = examples + "/pid/pid.xml";
    const SProgramResult endless = runProgram(host, {"run", path, "--virtual"});
    EXPECT_EQ(64, endless.exitCode);
    EXPECT_THAT(endless.err, HasSubstr("--virtual requires --for"));
    const SProgramResult both = runProgram(host, {"run", path, "--virtual", "--for", "1s", "--realtime"});
    EXPECT_EQ(64, both.exitCode);
    EXPECT_THAT(both.err, HasSubstr("--realtime"));
}

TEST(VirtualRun, SignalEndsItWithItsSummary)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("record.csv");
    CProgramRun run(host, {"run", examples + "/pid/pid.xml", "--virtual", "--for", "100000h", "--record",
                           record, "--record-interval", "10min"});
    ASSERT_TRUE(eventually([&] { return linesOf(readFile(record)).size() > 10; }));
    run.end(eEnd::Interrupt);
    const SProgramResult result = run.wait();
    EXPECT_EQ(0, result.exitCode) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Controllers at the end:\n"));
}

TEST(VirtualRun, GoesTheWholeDurationInMuchLessTime)
{
    const auto begin = std::chrono::steady_clock::now();
    const std::vector<SRecordRow> record =
        rows(virtualRecord(examples + "/cascade/cascade.xml", "4h", "1min"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(10));
    ASSERT_EQ(241U, record.size());
    EXPECT_EQ(14400.0, record.back().time_s);
    EXPECT_NEAR(45.0, record.back().actualValue, 0.2);
}

TEST(VirtualRun, RecordIsTheOneOfOtherSystems)
{
    // written on Linux; systems differ in the last digits of exp(), expm1() and log(), which the bench and
    // its noise use
    const std::string path = RIVLINK_INTEGRATION_TEST_FOLDER "/cascade.virtual.record";
    const std::vector<SRecordRow> expected = readRecord(path);
    const std::vector<SRecordRow> record =
        rows(virtualRecord(examples + "/cascade/cascade.xml", "20s", "1s"));
    ASSERT_EQ(expected.size(), record.size());
    for (std::size_t row = 0; row < record.size(); ++row) {
        EXPECT_EQ(expected[row].time_s, record[row].time_s);
        EXPECT_EQ(expected[row].state, record[row].state);
        EXPECT_NEAR(expected[row].actualValue, record[row].actualValue, 1e-9) << "row " << row;
        EXPECT_NEAR(expected[row].controlValue, record[row].controlValue, 1e-9) << "row " << row;
    }
}
