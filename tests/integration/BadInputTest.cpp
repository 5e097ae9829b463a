// What a controller does, run by the host, while its actual value cannot be relied on and its configuration
// says what to do about that.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/Record.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <set>

using namespace Rvl::Test;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

/// The PID example with faults of its sensor and a policy.
std::string pidWith(const std::string& faults, const std::string& policy)
{
    const std::string text = replaced(readFile(examples + "/pid/pid.xml"), "Noise=\"0.02\" Seed=\"1\"/>",
                                      "Noise=\"0.02\" Seed=\"1\">" + faults + "</Device>");
    return replaced(text, "<ControlLoop>", policy + "<ControlLoop>");
}

std::string cascadeWith(const std::string& faults, const std::string& policy)
{
    const std::string text =
        replaced(readFile(examples + "/cascade/cascade.xml"), "Noise=\"0.02\" Seed=\"7\"/>",
                 "Noise=\"0.02\" Seed=\"7\">" + faults + "</Device>");
    return replaced(text, "<ControlLoop>", policy + "<ControlLoop>");
}

std::string fault(const std::string& kind, const std::string& signal, const std::string& from_s,
                  const std::string& to_s)
{
    return "<Fault Kind=\"" + kind + "\"" + (signal.empty() ? "" : " Signal=\"" + signal + "\"") +
           " From_s=\"" + from_s + "\" To_s=\"" + to_s + "\"/>";
}

struct SRecordedRun
{
    SProgramResult result;
    std::vector<SRecordRow> rows;

    std::vector<SRecordRow> with(const std::string& state) const
    {
        std::vector<SRecordRow> found;
        std::copy_if(rows.begin(), rows.end(), std::back_inserter(found),
                     [&](const SRecordRow& row) { return row.state.find(state) != std::string::npos; });
        return found;
    }
};

SRecordedRun recorded(const std::string& text, const std::string& duration)
{
    const CTemporaryFolder folder;
    SRecordedRun run;
    run.result = runProgram(host, {"run", "--log", "off", folder.write("c.xml", text), "--for", duration,
                                   "--record", folder.file("r.csv"), "--record-interval", "20ms"});
    EXPECT_EQ(0, run.result.exitCode) << run.result.err;
    run.rows = readRecord(folder.file("r.csv"));
    return run;
}

/// The largest change of the control value from one row to the next around the end of the rows with `state`.
double bumpAfter(const SRecordedRun& run, const std::string& state)
{
    const auto last = std::find_if(run.rows.rbegin(), run.rows.rend(), [&](const SRecordRow& row) {
        return row.state.find(state) != std::string::npos;
    });
    EXPECT_NE(run.rows.rend(), last) << state;
    const auto after = last.base();
    double bump = 0.0;
    // until the loop's second step, which has an integral to show for the first one
    EXPECT_NE(run.rows.end(), after) << "it ended during the run";
    for (auto row = after; row != run.rows.end() && (row == after || row->time_s < last->time_s + 0.09);
         ++row) {
        bump = std::max(bump, std::fabs(row->controlValue - last->controlValue));
    }
    return bump;
}

/// The rows from the first one with that control value on, which comes with the loop's next step.
std::vector<SRecordRow> onceAt(double controlValue, const std::vector<SRecordRow>& rows)
{
    const auto first = std::find_if(rows.begin(), rows.end(), [controlValue](const SRecordRow& row) {
        return row.controlValue == controlValue;
    });
    EXPECT_NE(rows.end(), first);
    if (first != rows.end()) {
        EXPECT_LT(first->time_s, rows.front().time_s + 0.1 + 0.3) << "a sample time, and a busy computer";
    }
    return {first, rows.end()};
}

std::vector<double> controlValues(const std::vector<SRecordRow>& rows)
{
    std::vector<double> values;
    for (const SRecordRow& row : rows) {
        values.push_back(row.controlValue);
    }
    return values;
}

} // namespace

TEST(BadInput, NaNIsHeldAndRecoversWithoutABump)
{
    const SRecordedRun run = recorded(
        pidWith(fault("SensorNaN", "JacketTemperature", "1.5", "2.2"), "<BadInput Action=\"hold\"/>"), "3s");
    const auto held = run.with("bad input: Jacket temperature: not a finite number; held");
    ASSERT_THAT(held, Not(IsEmpty()));
    EXPECT_THAT(controlValues(held), Each(held.front().controlValue));
    EXPECT_LT(bumpAfter(run, "held"), 1e-9);
    EXPECT_EQ("ok", run.rows.back().state);
    EXPECT_FALSE(std::isnan(run.rows.back().controlValue));
    EXPECT_THAT(run.result.out, HasSubstr("Jacket temperature: not a finite number; held"))
        << "the live output shows it as well";
}

TEST(BadInput, SilentSensorIsHeldOnceItsValueIsTooOld)
{
    const SRecordedRun run = recorded(pidWith(fault("SensorSilent", "JacketTemperature", "1.5", "2.5"),
                                              "<BadInput MaximumAge_ms=\"300\" Action=\"hold\"/>"),
                                      "3500ms");
    const auto held = run.with("bad input: Jacket temperature: no new value for more than 300 ms; held");
    ASSERT_THAT(held, Not(IsEmpty()));
    EXPECT_GT(held.front().time_s, 1.7);
    EXPECT_THAT(controlValues(held), Each(held.front().controlValue));
    EXPECT_LT(bumpAfter(run, "held"), 1e-9);
    EXPECT_EQ("ok", run.rows.back().state);
}

TEST(BadInput, DisableWritesTheDisabledValueAndEnablesAgainByItself)
{
    const SRecordedRun run = recorded(
        pidWith(fault("SensorNaN", "JacketTemperature", "1.5", "2.2"), "<BadInput Action=\"disable\"/>"),
        "3s");
    const auto disabled = onceAt(0.0, run.with("; disabled"));
    ASSERT_THAT(disabled, Not(IsEmpty()));
    EXPECT_THAT(controlValues(disabled), Each(0.0));
    EXPECT_FALSE(disabled.front().enabled);
    EXPECT_LT(bumpAfter(run, "; disabled"), 1e-9);
    EXPECT_EQ("ok", run.rows.back().state);
    EXPECT_TRUE(run.rows.back().enabled);
}

TEST(BadInput, WriteWritesItsValue)
{
    const SRecordedRun run = recorded(pidWith(fault("SensorNaN", "JacketTemperature", "1.5", "2.2"),
                                              "<BadInput Action=\"write\" Value=\"12.5\"/>"),
                                      "3s");
    const auto written = onceAt(12.5, run.with("; 12.5 written"));
    ASSERT_THAT(written, Not(IsEmpty()));
    EXPECT_THAT(controlValues(written), Each(12.5));
    EXPECT_LT(bumpAfter(run, "12.5 written"), 1e-9);
}

TEST(BadInput, ChannelWhoseSensorWasNeverThereDoesNotDriveAndStartsWithTheFirstValue)
{
    const SRecordedRun run = recorded(pidWith(fault("SensorSilent", "JacketTemperature", "0", "1"),
                                              "<BadInput Action=\"write\" Value=\"50\"/>"),
                                      "2s");
    EXPECT_EQ("bad input: Jacket temperature: no value yet; waiting for it", run.rows.front().state);
    const auto waiting = run.with("waiting for it");
    EXPECT_GT(waiting.size(), 20u);
    EXPECT_THAT(controlValues(waiting), Each(0.0));
    EXPECT_EQ("ok", run.rows.back().state);
    EXPECT_GT(run.rows.back().controlValue, 50.0) << "some 15 K below the set point";
}

TEST(BadInput, InnerSensorOfACascadeThatWasNeverThereStopsTheOuterLoopAsWell)
{
    const SRecordedRun run = recorded(
        cascadeWith(fault("SensorSilent", "JacketTemperature", "0", "60"), "<BadInput Action=\"hold\"/>"),
        "1500ms");
    EXPECT_THAT(run.with("ok"), IsEmpty());
    EXPECT_EQ("bad input: Jacket temperature: no value yet; waiting for it", run.rows.back().state);
    EXPECT_THAT(controlValues(run.rows), Each(0.0)) << "of the outer loop, which would ask for 80 degC";
}

TEST(BadInput, InnerLoopOfACascadeNeverCatchesANaN)
{
    const SRecordedRun run = recorded(
        cascadeWith(fault("SensorNaN", "JacketTemperature", "0.5", "1"), "<BadInput Action=\"hold\"/>"),
        "2500ms");
    EXPECT_THAT(run.with("bad input: Jacket temperature: not a finite number; held"), Not(IsEmpty()));
    EXPECT_EQ("ok", run.rows.back().state) << "it would be a fault for ever";
}

TEST(BadInput, OfflineDeviceIsBadInputAndRecovers)
{
    const SRecordedRun run =
        recorded(pidWith(fault("DeviceAway", "", "1", "1.6"), "<BadInput Action=\"hold\"/>"), "2500ms");
    EXPECT_THAT(run.with("bad input: Jacket temperature: Device Bench is offline; held"), Not(IsEmpty()));
    EXPECT_LT(bumpAfter(run, "held"), 1e-9);
    EXPECT_EQ("ok", run.rows.back().state);
}

TEST(BadInput, ManualModeGoesOnAndTheStateShowsTheBadInput)
{
    const std::string text = replaced(
        pidWith(fault("SensorNaN", "JacketTemperature", "0.3", "60"), "<BadInput Action=\"disable\"/>"),
        "Enabled=\"true\"", "Enabled=\"true\" Manual=\"true\" ManualControlValue=\"17\"");
    const SRecordedRun run = recorded(text, "1s");
    EXPECT_EQ("bad input: Jacket temperature: not a finite number; manual mode goes on",
              run.rows.back().state);
    EXPECT_EQ(17.0, run.rows.back().controlValue);
}

TEST(BadInput, WithoutAPolicyNothingIsChecked)
{
    const SRecordedRun run =
        recorded(pidWith(fault("SensorSilent", "JacketTemperature", "0.5", "60"), ""), "1500ms");
    ASSERT_FALSE(run.rows.empty());
    std::set<double> actualValues;
    for (const SRecordRow& row : run.rows) {
        EXPECT_EQ("ok", row.state);
        if (row.time_s > 1.0) {
            actualValues.insert(row.actualValue);
        }
    }
    EXPECT_EQ(1U, actualValues.size()) << "the last one that the sensor announced";
    EXPECT_EQ(100.0, run.rows.back().controlValue) << "which is far from the set point";
}

TEST(BadInput, CheckRefusesAPolicyThatMakesNoSense)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", pidWith("", "<BadInput Action=\"write\"/>"));
    const SProgramResult result = runProgram(host, {"check", file});
    EXPECT_EQ(78, result.exitCode);
    EXPECT_THAT(result.out + result.err,
                HasSubstr("BadInput: Value is missing; expected the control value that the action write "
                          "writes"));
}
