// Runs the examples as a user would, through the host program, and checks what they recorded.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/Record.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <utility>

using namespace Rvl::Test;
using testing::HasSubstr;
using testing::Not;

namespace {

/// Whether a configuration has a device of the real world, and so cannot run on virtual time.
bool isReal(const std::string& path)
{
    return readFile(path).find("Rvl::CComputer") != std::string::npos;
}

/// Runs a configuration for some seconds, of virtual time if it can; expects it to end well, and returns its
/// record.
std::vector<SRecordRow> runFile(const std::string& path, const std::string& duration,
                                SProgramResult* result = nullptr)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("record.csv");
    std::vector<std::string> command{"run", path, "--for", duration, "--record", record};
    if (!isReal(path)) {
        command.emplace_back("--virtual");
    }
    const SProgramResult run = runProgram(host, command);
    EXPECT_EQ(0, run.exitCode) << run.out << run.err;
    EXPECT_EQ("", run.err);
    if (result) {
        *result = run;
    }
    return readRecord(record);
}

std::vector<SRecordRow> runExample(const std::string& configuration, const std::string& duration,
                                   SProgramResult* result = nullptr)
{
    return runFile(examples + "/" + configuration, duration, result);
}

/// Runs an example with some texts of it, each of which must be there, replaced by others.
std::vector<SRecordRow> runEdited(const std::string& configuration, const std::string& duration,
                                  const std::vector<std::pair<std::string, std::string>>& edits)
{
    std::string text = readFile(examples + "/" + configuration);
    for (const auto& [from, to] : edits) {
        const std::size_t position = text.find(from);
        if (position == std::string::npos) {
            ADD_FAILURE() << configuration << " does not contain " << from;
            return {};
        }
        text.replace(position, from.size(), to);
    }
    const CTemporaryFolder folder;
    return runFile(folder.write("edited.xml", text), duration);
}

double actualValue(const SRecordRow& row)
{
    return row.actualValue;
}

double controlValue(const SRecordRow& row)
{
    return row.controlValue;
}

double largest(const std::vector<SRecordRow>& rows, double (*number)(const SRecordRow&))
{
    double result = std::numeric_limits<double>::lowest();
    for (const SRecordRow& row : rows) {
        result = std::max(result, number(row));
    }
    return result;
}

double smallest(const std::vector<SRecordRow>& rows, double (*number)(const SRecordRow&))
{
    double result = std::numeric_limits<double>::max();
    for (const SRecordRow& row : rows) {
        result = std::min(result, number(row));
    }
    return result;
}

/// The rows of a channel between two times, in seconds.
std::vector<SRecordRow> between(const std::vector<SRecordRow>& record, const std::string& channel,
                                double from_s, double to_s)
{
    std::vector<SRecordRow> rows = rowsOf(record, channel, from_s);
    std::erase_if(rows, [to_s](const SRecordRow& row) { return row.time_s >= to_s; });
    return rows;
}

/// The time of the first row of a channel, from a time on, for which a condition holds.
template <class Condition>
double firstTime(const std::vector<SRecordRow>& record, const std::string& channel, double from_s,
                 Condition condition)
{
    for (const SRecordRow& row : rowsOf(record, channel, from_s)) {
        if (condition(row)) {
            return row.time_s;
        }
    }
    return std::numeric_limits<double>::infinity();
}

/// Every type that a configuration names, as an attribute or as an element.
void collectTypes(const boost::property_tree::ptree& tree, std::set<std::string>& types)
{
    for (const auto& [name, child] : tree) {
        if (name == "Type") {
            types.insert(child.data());
        }
        collectTypes(child, types);
    }
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
    EXPECT_GE(checked, 10);
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
    // and if the rest of the machine keeps still, the set point is met: over these six seconds the mean error
    // is at most 0.5 s / (0.2 * 6 s) of what the integral has to make up for
    const auto others = [](const SRecordRow& row) { return row.actualValue - row.controlValue; };
    const auto settled = rowsOf(rows, "CPU", 9.0);
    const auto [quietest, busiest] =
        std::minmax_element(settled.begin(), settled.end(),
                            [&](const SRecordRow& a, const SRecordRow& b) { return others(a) < others(b); });
    if (others(*busiest) < 35.0 && others(*busiest) - others(*quietest) < 10.0) {
        EXPECT_NEAR(40.0, meanOf(settled, actualValue), 5.0);
    }
}

TEST(Examples, TwoLevelKeepsTheJacketInItsBandBySwitching)
{
    const auto record = runExample("two-level/two-level.xml", "9s");
    const auto rows = rowsOf(record, "Thermostat");
    ASSERT_FALSE(rows.empty());
    EXPECT_LT(rows.front().actualValue, 30.0) << "it begins near ambient temperature";
    const double on =
        firstTime(record, "Thermostat", 0.0, [](const SRecordRow& row) { return row.controlValue == 1.0; });
    const double off =
        firstTime(record, "Thermostat", on, [](const SRecordRow& row) { return row.controlValue == 0.0; });
    ASSERT_LT(off, 6.0) << "it has not come to the upper threshold";
    const auto inBand = rowsOf(record, "Thermostat", off);
    // heat that is under way carries it somewhat beyond the thresholds, 38 and 42 degC
    EXPECT_GT(smallest(inBand, actualValue), 36.5);
    EXPECT_LT(largest(inBand, actualValue), 43.5);
    EXPECT_LT(smallest(inBand, actualValue), 39.0) << "it uses its band";
    EXPECT_GT(largest(inBand, actualValue), 41.0) << "it uses its band";
    int switches = 0;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        switches += rows[i].controlValue != rows[i - 1].controlValue ? 1 : 0;
        EXPECT_TRUE(rows[i].controlValue == 0.0 || rows[i].controlValue == 1.0);
    }
    EXPECT_GE(switches, 5);
    EXPECT_LE(switches, 20) << "hysteresis keeps it from chattering";
}

TEST(Examples, ConditionalCutsTheSetPointWhileThePressureIsOutOfRange)
{
    const auto record = runExample("conditional/conditional.xml", "10s");
    // a row's values are not of the same instant: near a limit either control value is right
    for (const SRecordRow& row : rowsOf(record, "Guard", 0.5)) {
        if (row.actualValue > 63.0) {
            EXPECT_EQ(25.0, row.controlValue) << row.time_s;
        } else if (row.actualValue < 37.0) {
            EXPECT_EQ(45.0, row.controlValue) << row.time_s;
        }
        EXPECT_EQ(45.0, row.setPoint);
    }
    const double cut =
        firstTime(record, "Guard", 0.5, [](const SRecordRow& row) { return row.controlValue == 25.0; });
    const double back =
        firstTime(record, "Guard", cut, [](const SRecordRow& row) { return row.controlValue == 45.0; });
    ASSERT_LT(back, 9.0) << "the pressure did not leave its range and come back";
    for (const SRecordRow& row : between(record, "Guard", 0.5, cut)) {
        EXPECT_LT(row.actualValue, 63.0) << "up to the limit the pressure is in range";
    }
    const auto comingBack = between(record, "Guard", back - 0.5, back);
    EXPECT_GT(largest(comingBack, actualValue), 40.0);
    EXPECT_LT(largest(comingBack, actualValue), 60.0) << "the margin, too, must be come back by";
    EXPECT_GT(largest(between(record, "Jacket", 0.0, cut), actualValue), 43.0);
    EXPECT_LT(smallest(between(record, "Jacket", cut, back), actualValue), 38.0);
    EXPECT_GT(largest(rowsOf(record, "Jacket", back), actualValue), 42.0);
}

TEST(Examples, TwoQuadrantCrossesFromHeatingToCooling)
{
    const auto record = runExample("two-quadrant/two-quadrant.xml", "11s");
    const auto body = rowsOf(record, "Body");
    ASSERT_FALSE(body.empty());
    EXPECT_LT(body.front().actualValue, 15.0);
    EXPECT_NEAR(20.0, largest(between(record, "Power", 0.0, 2.0), actualValue), 0.1) << "all it has to heat";
    const auto end = rowsOf(record, "Body", 9.0);
    ASSERT_GT(end.size(), 5u);
    EXPECT_NEAR(25.0, meanOf(end, actualValue), 0.4);
    EXPECT_NEAR(-50.0, meanOf(end, controlValue), 8.0);
    EXPECT_NEAR(-5.0, meanOf(rowsOf(record, "Power", 9.0), actualValue), 0.8)
        << "10 K from the surroundings at 0.5 W/K";
}

TEST(Examples, PumpHoldsThePressureWithinWhatItCanGive)
{
    const auto record = runExample("pump/pump.xml", "8s");
    EXPECT_GT(largest(rowsOf(record, "Pressure"), controlValue), 500.0) << "the loop commands too much";
    EXPECT_LT(largest(rowsOf(record, "Flow"), actualValue), 403.0);
    EXPECT_GT(largest(rowsOf(record, "Flow"), actualValue), 395.0);
    const auto end = rowsOf(record, "Pressure", 6.5);
    ASSERT_GT(end.size(), 5u);
    EXPECT_NEAR(60.0, meanOf(end, actualValue), 1.0);
    EXPECT_NEAR(240.0, meanOf(rowsOf(record, "Flow", 6.5), actualValue), 10.0) << "what leaks out at 60 kPa";
}

TEST(Examples, BadInputStopsTheUnguardedLoopForGoodAndTheGuardedOneForAsLongAsItLasts)
{
    const auto record = runExample("bad-input/bad-input.xml", "12s");
    const auto guarded = rowsOf(record, "Guarded");
    const auto rowsInState = [&guarded](const std::string& state) {
        std::vector<SRecordRow> rows;
        std::copy_if(guarded.begin(), guarded.end(), std::back_inserter(rows),
                     [&](const SRecordRow& row) { return row.state == state; });
        return rows;
    };
    for (const std::string fault : {"not a finite number", "no new value for more than 500 ms"}) {
        const auto held = rowsInState("bad input: Jacket temperature: " + fault + "; held");
        ASSERT_GT(held.size(), 2u) << fault;
        for (const SRecordRow& row : held) {
            EXPECT_EQ(held.back().controlValue, row.controlValue) << fault << " at " << row.time_s;
        }
        const auto after = rowsOf(guarded, "Guarded", held.back().time_s + 0.01);
        ASSERT_FALSE(after.empty());
        EXPECT_NEAR(held.back().controlValue, after.front().controlValue, 3.0) << "no bump after " << fault;
    }
    EXPECT_NEAR(40.0, meanOf(rowsOf(guarded, "Guarded", 10.0), actualValue), 1.5);
    EXPECT_EQ("ok", guarded.back().state);

    const SRecordRow unguarded = rowsOf(record, "Unguarded").back();
    EXPECT_TRUE(std::isnan(unguarded.controlValue));
    EXPECT_LT(unguarded.actualValue, 33.0) << "nothing heats any more";
    EXPECT_THAT(unguarded.state, HasSubstr("fault: Heater 2"));
}

TEST(Examples, SimulatedProcessComesToItsSetPoint)
{
    const auto rows = rowsOf(runExample("simulated-process/simulated-process.xml", "10s"), "Process");
    ASSERT_FALSE(rows.empty());
    EXPECT_LT(rows.front().actualValue, 10.0);
    EXPECT_GT(largest(rows, controlValue), 75.0) << "the lag has to be pushed";
    const auto end = rowsOf(rows, "Process", 9.0);
    ASSERT_GT(end.size(), 5u);
    EXPECT_NEAR(50.0, meanOf(end, actualValue), 1.0);
    EXPECT_NEAR(50.0, meanOf(end, controlValue), 1.5) << "the lag's gain is 1";
    const double half =
        firstTime(rows, "Process", 0.0, [](const SRecordRow& row) { return row.actualValue > 25.0; });
    EXPECT_GT(half, 0.2) << "a lag does not jump";
}

TEST(Examples, ChipIsEnabledWithItsLoop)
{
    const auto record = runExample("chip/chip.xml", "7s");
    EXPECT_EQ(1.0, smallest(rowsOf(record, "Enable line", 1.0), actualValue));
    const auto end = rowsOf(record, "Chip", 6.0);
    ASSERT_GT(end.size(), 5u);
    EXPECT_NEAR(40.0, meanOf(end, actualValue), 0.7);
}

TEST(Examples, ChipStaysColdWhileItsLoopIsDisabled)
{
    const auto record = runEdited("chip/chip.xml", "2s", {{"Enabled=\"true\"", "Enabled=\"false\""}});
    EXPECT_EQ(0.0, largest(rowsOf(record, "Enable line"), actualValue));
    EXPECT_NEAR(22.0, meanOf(rowsOf(record, "Chip", 1.0), actualValue), 0.1);
}

TEST(Examples, ChipStaysColdWithoutTheControllerMadeForIt)
{
    const auto record = runEdited("chip/chip.xml", "2s",
                                  {{"Rvl::CVelonixController", "Rvl::CLocalControllerChannel"},
                                   {"<PwmOutputEnable>Enable</PwmOutputEnable>", ""}});
    EXPECT_EQ(0.0, largest(rowsOf(record, "Enable line"), actualValue));
    EXPECT_EQ(100.0, meanOf(rowsOf(record, "Chip", 1.0), controlValue)) << "the loop does all that it can";
    EXPECT_NEAR(22.0, meanOf(rowsOf(record, "Chip", 1.0), actualValue), 0.1);
}

TEST(Examples, TourUsesEveryTypeOfThePlugins)
{
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(examples + "/tour/tour.xml", tree);
    std::set<std::string> used;
    collectTypes(tree, used);
    std::vector<std::string> missing;
    std::size_t offered = 0;
    for (const std::string plugin : {"rivlink_local", "rivlink_simulated", "rivlink_system"}) {
        std::ifstream file(RIVLINK_TEST_PLUGIN_DIRECTORY "/" + plugin + ".types.json");
        const auto descriptions = nlohmann::json::parse(file);
        for (const auto& type : descriptions.at("types")) {
            if (type.at("kind") == "abstract") {
                continue;
            }
            ++offered;
            const std::string name = type.at("name");
            if (!used.contains(name)) {
                missing.push_back(name);
            }
        }
    }
    EXPECT_THAT(missing, testing::IsEmpty());
    EXPECT_GE(offered, 27u);
}

TEST(Examples, TourRunsWithAllControllersSound)
{
    const CTemporaryFolder folder;
    const std::string record = folder.file("record.csv");
    const SProgramResult run =
        runProgram(host, {"run", examples + "/tour/tour.xml", "--for", "2s", "--record", record, "--quiet"});
    EXPECT_EQ(0, run.exitCode) << run.out << run.err;
    ASSERT_EQ(1u, linesOf(run.err).size()) << run.err;
    EXPECT_THAT(run.err, HasSubstr("CPWMTwoQuadrantLoopOut has no PWM channel: it sets the direction and "
                                   "writes no magnitude"));
    EXPECT_THAT(run.out, Not(HasSubstr("fault")));
    const auto rows = readRecord(record);
    for (const std::string channel :
         {"Bench", "Oven", "Oven guard", "Body", "Cooler", "Pressure", "Chip", "CPU", "Process"}) {
        const auto late = rowsOf(rows, channel, 1.0);
        EXPECT_GT(late.size(), 3u) << channel;
        for (const SRecordRow& row : late) {
            EXPECT_TRUE(row.enabled) << channel;
            EXPECT_TRUE(std::isfinite(row.actualValue)) << channel;
        }
    }
    // two seconds are enough to see that each loop that can move something does
    for (const std::string channel : {"Oven", "Body", "Pressure", "Chip", "Process"}) {
        const auto late = rowsOf(rows, channel, 1.0);
        const auto all = rowsOf(rows, channel);
        ASSERT_FALSE(late.empty()) << channel;
        EXPECT_GT(late.back().actualValue, all.front().actualValue + 2.0) << channel;
    }
}
