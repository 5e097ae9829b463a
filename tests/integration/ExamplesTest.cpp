// Runs the examples as a user would, through the host program, and judges what they recorded.

#include "tests/support/ProgramRun.h"
#include "tests/support/Record.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::string host = RIVLINK_HOST_PROGRAM;
const std::string examples = RIVLINK_EXAMPLES_DIRECTORY;

/// Runs an example for some seconds; expects it to end well, and returns its record.
std::vector<SRecordRow> runExample(const std::string& configuration, const std::string& duration,
                                   SProgramResult* result = nullptr)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("record.csv");
    const SProgramResult run =
        runProgram(host, {"run", examples + "/" + configuration, "--for", duration, "--record", record});
    EXPECT_EQ(0, run.exitCode) << run.out << run.err;
    EXPECT_EQ("", run.err);
    if (result) {
        *result = run;
    }
    return readRecord(record);
}

double actualValue(const SRecordRow& row)
{
    return row.actualValue;
}

} // namespace

TEST(Examples, PassTheirCheck)
{
    int checked = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(examples)) {
        if (entry.path().extension() == ".xml") {
            const SProgramResult check = runProgram(host, {"check", entry.path().string()});
            EXPECT_EQ(0, check.exitCode) << check.out << check.err;
            EXPECT_THAT(check.out, HasSubstr("no faults"));
            ++checked;
        }
    }
    EXPECT_GE(checked, 3);
}

TEST(Examples, PidBringsTheJacketToItsSetPoint)
{
    const auto rows = rowsOf(runExample("pid/pid.xml", "10s"), "Jacket");
    ASSERT_FALSE(rows.empty());
    EXPECT_LT(rows.front().actualValue, 30.0) << "it begins near ambient temperature";
    const auto end = rowsOf(rows, "Jacket", 8.0);
    ASSERT_GT(end.size(), 5u);
    EXPECT_NEAR(40.0, meanOf(end, actualValue), 0.5);
    for (const SRecordRow& row : rows) {
        EXPECT_EQ(40.0, row.setPoint);
        EXPECT_TRUE(row.enabled);
        EXPECT_FALSE(row.manual);
        EXPECT_GE(row.controlValue, 0.0);
        EXPECT_LE(row.controlValue, 100.0);
    }
}

TEST(Examples, CascadeBringsTheVesselToItsSetPoint)
{
    SProgramResult result;
    const auto rows = rowsOf(runExample("cascade/cascade.xml", "20s", &result), "Vessel");
    ASSERT_FALSE(rows.empty());
    EXPECT_LT(rows.front().actualValue, 30.0) << "it begins near ambient temperature";
    const auto end = rowsOf(rows, "Vessel", 17.0);
    ASSERT_GT(end.size(), 10u);
    for (const SRecordRow& row : end) {
        EXPECT_NEAR(45.0, row.actualValue, 0.5);
        EXPECT_GT(row.controlValue, 45.0) << "the jacket has to be warmer than the vessel";
    }
    EXPECT_THAT(result.out, HasSubstr("Rvl::CPIDControlLoop"));
}

TEST(Examples, CpuLoadHoldsTheMachineAtItsSetPoint)
{
    const auto rows = rowsOf(runExample("cpu-load/cpu-load.xml", "15s"), "CPU", 3.0);
    ASSERT_GT(rows.size(), 50u);
    // What else runs on the machine is the loop's disturbance, and a test has to expect any. Whatever it
    // does: two seconds of too little must raise the load, two seconds of too much must not.
    for (std::size_t end = 20; end < rows.size(); ++end) {
        const auto [least, most] = std::minmax_element(
            rows.begin() + static_cast<std::ptrdiff_t>(end) - 20,
            rows.begin() + static_cast<std::ptrdiff_t>(end) + 1,
            [](const SRecordRow& a, const SRecordRow& b) { return a.actualValue < b.actualValue; });
        const double before = rows[end - 20].controlValue;
        const double now = rows[end].controlValue;
        if (most->actualValue < 32.0) {
            EXPECT_TRUE(now > before || now == 100.0) << "from " << before << " to " << now << " %";
        }
        if (least->actualValue > 48.0) {
            EXPECT_LT(now, before + 5.0);
        }
    }
    // and if the rest of the machine keeps still, the set point is met
    const auto others = [](const SRecordRow& row) { return row.actualValue - row.controlValue; };
    const auto settled = rowsOf(rows, "CPU", 9.0);
    const auto [quietest, busiest] =
        std::minmax_element(settled.begin(), settled.end(),
                            [&](const SRecordRow& a, const SRecordRow& b) { return others(a) < others(b); });
    if (others(*busiest) < 35.0 && others(*busiest) - others(*quietest) < 20.0) {
        EXPECT_NEAR(40.0, meanOf(settled, actualValue), 3.0);
    }
}
