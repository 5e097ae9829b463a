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
    const auto rows = rowsOf(runExample("cpu-load/cpu-load.xml", "15s"), "CPU");
    const auto end = rowsOf(rows, "CPU", 7.0);
    ASSERT_GT(end.size(), 10u);
    const double mean = meanOf(end, actualValue);
    const double load = meanOf(end, [](const SRecordRow& row) { return row.controlValue; });
    // What else runs on the machine may need more than the set point; then the loop must have let go.
    if (mean > 45.0) {
        EXPECT_LT(load, 10.0) << "at " << mean << " % of the processor";
    } else {
        EXPECT_NEAR(40.0, mean, 5.0);
    }
}
