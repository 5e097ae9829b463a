#include "driver/local/LoopGraph.h"

#include "driver/local/controller/controlloop/ConditionalControlLoop.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/LoopCascade.h"
#include "driver/local/LoopTimeline.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "tests/support/Messages.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class LoopGraphOut : public ILoopOut
{
public:
    void writeOutputValue(double value) override { written.push_back(value); }
    std::vector<double> written;
};

class SettableIn : public ILoopIn
{
public:
    double readInputValue() override { return value; }
    double value = 0.0;
};

using Attributes = std::vector<std::pair<const char*, const char*>>;

ptree loopTree(const std::string& section, const Attributes& attributes)
{
    ptree tree;
    for (const auto& [key, value] : attributes) {
        tree.put(section + ".<xmlattr>." + key, value);
    }
    return tree;
}

std::shared_ptr<CPIDControlLoop> makePid(bool bumpless = true)
{
    ptree tree = loopTree("PIDParam", {{"Name", "jacket"},
                                       {"K", "1.3"},
                                       {"Ti", "7"},
                                       {"Td", "0.3"},
                                       {"Tt", "2"},
                                       {"DerivativeGainLimit", "20"},
                                       {"MinU", "-30"},
                                       {"MaxU", "35"},
                                       {"DisabledU", "-1"},
                                       {"Setpoint", "40"},
                                       {"SampleTime_ms", "100"}});
    tree.put("Enabled", false);
    tree.put("BumplessParameterChange", bumpless);
    return std::make_shared<CPIDControlLoop>(tree);
}

std::shared_ptr<CTwoLevelControlLoop> makeTwoLevel()
{
    return std::make_shared<CTwoLevelControlLoop>(loopTree("Parameters", {{"SampleTime_ms", "120"},
                                                                          {"Setpoint", "40"},
                                                                          {"LowerThreshold", "2"},
                                                                          {"UpperThreshold", "3"},
                                                                          {"U_Up", "100"},
                                                                          {"U_Down", "-4"},
                                                                          {"U_Disabled", "-4"}}));
}

std::shared_ptr<CConditionalControlLoop> makeConditional()
{
    return std::make_shared<CConditionalControlLoop>(loopTree("Parameters", {{"SampleTime_ms", "130"},
                                                                             {"Setpoint", "40"},
                                                                             {"LowerLimit", "20"},
                                                                             {"UpperLimit", "60"},
                                                                             {"Threshold", "5"},
                                                                             {"U_Disabled", "-6"}}));
}

/// A channel over one loop with its elements and its graph.
template <class Loop> struct SLoopUnderTest
{
    SLoopUnderTest(std::shared_ptr<Loop> theLoop, const std::string& name)
        : loop(std::move(theLoop)), channel(name, loop), graph(channel)
    {
        loop->setInput(input);
        loop->setOutput(output);
    }
    double step(double actualValue)
    {
        input->value = actualValue;
        loop->process();
        return loop->readControlValue();
    }

    std::shared_ptr<SettableIn> input = std::make_shared<SettableIn>();
    std::shared_ptr<LoopGraphOut> output = std::make_shared<LoopGraphOut>();
    std::shared_ptr<Loop> loop;
    CLocalControllerChannel channel;
    CLoopGraph graph;
};

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// An actual value that wanders without repeating itself, from 15 to 65.
double disturbed(int step)
{
    return 40.0 + 20.0 * std::sin(0.37 * step) + 5.0 * std::sin(1.93 * step);
}

std::vector<std::pair<std::string, double>> valuesOf(const SLoopParameters& parameters)
{
    std::vector<std::pair<std::string, double>> values;
    for (const auto& value : parameters.values) {
        values.emplace_back(value.key, value.value);
    }
    return values;
}

/// Whether a loop that is restored into `fresh` after `steps` steps of `original` goes on like it, to the
/// bit.
template <class Loop>
void expectSameContinuation(SLoopUnderTest<Loop>& original, SLoopUnderTest<Loop>& fresh, int steps)
{
    original.loop->setEnabled(true);
    original.loop->writeSetpoint(41.7);
    int step = 0;
    for (; step < steps; ++step) {
        original.step(disturbed(step));
    }
    fresh.loop->setEnabled(true);
    fresh.graph.restore(0, original.graph.save(0));
    ASSERT_FALSE(original.output->written.empty());
    ASSERT_FALSE(fresh.output->written.empty());
    EXPECT_EQ(original.output->written.back(), fresh.output->written.back())
        << "the actuator is where it was";
    const std::size_t writtenBefore = original.output->written.size();
    fresh.output->written.clear();
    bool moved = false;
    const double first = original.loop->readControlValue();
    for (; step < steps + 200; ++step) {
        const double expected = original.step(disturbed(step));
        ASSERT_EQ(bitsOf(expected), bitsOf(fresh.step(disturbed(step)))) << "step " << step;
        moved = moved || expected != first;
    }
    EXPECT_TRUE(moved);
    EXPECT_EQ(
        std::vector<double>(original.output->written.begin() + static_cast<std::ptrdiff_t>(writtenBefore),
                            original.output->written.end()),
        fresh.output->written);
    EXPECT_EQ(original.graph.save(0).values, fresh.graph.save(0).values);
}

} // namespace

TEST(LoopParameters, HaveNoValuesAndAreNotProtectedAtFirst)
{
    EXPECT_FALSE(SLoopParameters().isProtected);
    EXPECT_EQ(0.0, SLoopParameters::SValue().value);
}

TEST(LoopCascade, FollowsOutputsFromTheOutermostLoop)
{
    const auto outer = makePid();
    const auto middle = makeConditional();
    const auto inner = makeTwoLevel();
    outer->setOutput(middle);
    middle->setOutput(inner);
    inner->setOutput(std::make_shared<LoopGraphOut>());
    EXPECT_THAT(loopsFrom(outer), ElementsAre(outer, middle, inner));
    EXPECT_THAT(loopsFrom(inner), ElementsAre(inner));
    EXPECT_THAT(loopsFrom(std::make_shared<LoopGraphOut>()), IsEmpty());
    EXPECT_THAT(loopsFrom(nullptr), IsEmpty());
}

TEST(LoopGraph, LoopsAreThoseOfTheCascade)
{
    CAnalogInChannel sensor("Sensor"); // outlives the input that reads it
    const auto outer = makePid();
    const auto inner = makeTwoLevel();
    outer->setInput(std::make_shared<CAnalogChannelLoopIn>(&sensor));
    outer->setOutput(inner);
    inner->setInput(std::make_shared<SettableIn>());
    inner->setOutput(std::make_shared<LoopGraphOut>());
    CLocalControllerChannel channel("Controller", outer);
    CLoopGraph graph(channel);
    ASSERT_EQ(2u, graph.loopCount());
    EXPECT_EQ("Rvl::CPIDControlLoop", graph.status(0).typeName);
    EXPECT_EQ("Rvl::CTwoLevelControlLoop", graph.status(1).typeName);
    EXPECT_EQ(&sensor, graph.inputChannel(0));
    EXPECT_EQ(nullptr, graph.inputChannel(1)) << "reads no channel";
    EXPECT_EQ("jacket", graph.parameters(0).name);
    EXPECT_EQ("", graph.parameters(1).name);
    EXPECT_EQ("Rvl::CPIDControlLoop", graph.save(0).typeName);
    EXPECT_EQ("Rvl::CTwoLevelControlLoop", graph.save(1).typeName);
    graph.setParameters(1, {{"SampleTime_ms", 250.0}});
    EXPECT_EQ(250, inner->sampleTime_ms());
    EXPECT_EQ(100, outer->sampleTime_ms());
}

TEST(LoopGraph, LoopThatIsNotThereIsOutOfRange)
{
    SLoopUnderTest pid(makePid(), "Controller");
    EXPECT_THROW(pid.graph.status(1), std::out_of_range);
    EXPECT_THROW(pid.graph.inputChannel(1), std::out_of_range);
    EXPECT_THROW(pid.graph.parameters(1), std::out_of_range);
    EXPECT_THROW(pid.graph.setParameters(1, {}), std::out_of_range);
    EXPECT_THROW(pid.graph.save(1), std::out_of_range);
    EXPECT_THROW(pid.graph.restore(1, {}), std::out_of_range);
}

TEST(LoopGraph, ParametersAreThoseOfTheConfigurationInTheOrderOfItsDescription)
{
    using testing::Pair;
    SLoopUnderTest pid(makePid(), "PID");
    EXPECT_THAT(valuesOf(pid.graph.parameters(0)),
                ElementsAre(Pair("K", 1.3), Pair("Ti", 7.0), Pair("Td", 0.3), Pair("Tt", 2.0),
                            Pair("DerivativeGainLimit", 20.0), Pair("MinU", -30.0), Pair("MaxU", 35.0),
                            Pair("DisabledU", -1.0), Pair("Setpoint", 40.0), Pair("SampleTime_ms", 100.0)));
    SLoopUnderTest twoLevel(makeTwoLevel(), "Two-level");
    EXPECT_THAT(valuesOf(twoLevel.graph.parameters(0)),
                ElementsAre(Pair("SampleTime_ms", 120.0), Pair("Setpoint", 40.0), Pair("LowerThreshold", 2.0),
                            Pair("UpperThreshold", 3.0), Pair("U_Up", 100.0), Pair("U_Down", -4.0),
                            Pair("U_Disabled", -4.0)));
    SLoopUnderTest conditional(makeConditional(), "Conditional");
    EXPECT_THAT(valuesOf(conditional.graph.parameters(0)),
                ElementsAre(Pair("SampleTime_ms", 130.0), Pair("Setpoint", 40.0), Pair("LowerLimit", 20.0),
                            Pair("UpperLimit", 60.0), Pair("Threshold", 5.0), Pair("U_Disabled", -6.0)));
}

TEST(LoopGraph, EachKeySetsItsOwnValueAndLeavesTheOthers)
{
    SLoopUnderTest pid(makePid(), "PID");
    SLoopUnderTest twoLevel(makeTwoLevel(), "Two-level");
    SLoopUnderTest conditional(makeConditional(), "Conditional");
    for (CLoopGraph* const graph : {&pid.graph, &twoLevel.graph, &conditional.graph}) {
        auto expected = valuesOf(graph->parameters(0));
        ASSERT_FALSE(expected.empty());
        for (auto& [key, value] : expected) {
            value += 64.0;
            graph->setParameters(0, {{key, value}});
            EXPECT_EQ(expected, valuesOf(graph->parameters(0))) << key;
        }
    }
    EXPECT_EQ("jacket", pid.graph.parameters(0).name) << "the set keeps its name";
}

TEST(LoopGraph, ParametersTakeEffectInTheNextStep)
{
    SLoopUnderTest conditional(makeConditional(), "Conditional");
    conditional.loop->setEnabled(true);
    EXPECT_EQ(40.0, conditional.step(59.0));
    conditional.graph.setParameters(0, {{"U_Disabled", 3.0}, {"UpperLimit", 58.0}, {"Setpoint", 1.0}});
    EXPECT_EQ(40.0, conditional.loop->readControlValue());
    EXPECT_EQ(3.0, conditional.step(59.0));
    EXPECT_EQ(40.0, conditional.loop->readSetpoint()) << "the set point in force is not a parameter";
}

TEST(LoopGraph, ParameterChangeIsBumplessIfTheLoopIsSo)
{
    SLoopUnderTest bumpless(makePid(true), "Bumpless");
    SLoopUnderTest plain(makePid(false), "Plain");
    for (auto* const pid : {&bumpless, &plain}) {
        pid->loop->setEnabled(true);
        pid->step(38.0);
        pid->step(38.0);
    }
    const double integral = bumpless.loop->integralControlValue();
    ASSERT_EQ(integral, plain.loop->integralControlValue());
    bumpless.graph.setParameters(0, {{"K", 2.3}});
    plain.graph.setParameters(0, {{"K", 2.3}});
    EXPECT_EQ(integral + (1.3 - 2.3) * 2.0, bumpless.loop->integralControlValue());
    EXPECT_EQ(integral, plain.loop->integralControlValue());
}

TEST(LoopGraph, RefusedParametersChangeNothing)
{
    SLoopUnderTest pid(makePid(), "PID");
    pid.loop->setEnabled(true);
    pid.step(38.0);
    const auto before = valuesOf(pid.graph.parameters(0));
    const double integral = pid.loop->integralControlValue();
    const auto refusal = [&](const std::vector<SLoopParameters::SValue>& values) {
        return messageOf<std::invalid_argument>([&] { pid.graph.setParameters(0, values); });
    };
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ("The loop has no parameter k", refusal({{"K", 9.0}, {"k", 1.0}}));
    EXPECT_EQ("The loop has no parameter Name", refusal({{"Name", 1.0}}));
    EXPECT_EQ("Parameter K is given twice", refusal({{"K", 9.0}, {"Ti", 2.0}, {"K", 9.0}}));
    EXPECT_EQ("Parameter Ti must be a finite number", refusal({{"K", 9.0}, {"Ti", infinity}}));
    EXPECT_EQ("Parameter Ti must be a finite number", refusal({{"K", 9.0}, {"Ti", std::nan("")}}));
    pid.loop->controlParameters().setImmutable(true);
    EXPECT_EQ("Parameter set jacket is protected", refusal({{"K", 9.0}}));
    EXPECT_EQ(before, valuesOf(pid.graph.parameters(0)));
    EXPECT_EQ(integral, pid.loop->integralControlValue());
}

TEST(LoopGraph, ProtectionIsThatOfTheSetInForce)
{
    SLoopUnderTest twoLevel(makeTwoLevel(), "Two-level");
    EXPECT_FALSE(twoLevel.graph.parameters(0).isProtected);
    twoLevel.loop->controlParameters().setImmutable(true);
    EXPECT_TRUE(twoLevel.graph.parameters(0).isProtected);
}

TEST(LoopGraph, ChangeOfNoParameterLeavesTheTermsAlone)
{
    SLoopUnderTest pid(makePid(), "PID");
    pid.loop->setEnabled(true);
    pid.step(-std::numeric_limits<double>::infinity()); // an error that a bumpless change would make NaN of I
    pid.loop->resume(38.0);
    const double integral = pid.loop->integralControlValue();
    ASSERT_TRUE(std::isfinite(integral));
    pid.graph.setParameters(0, {});
    EXPECT_EQ(integral, pid.loop->integralControlValue());
}

TEST(LoopGraph, RestoredPidLoopGoesOnToTheBit)
{
    SLoopUnderTest original(makePid(), "Original");
    SLoopUnderTest fresh(makePid(), "Fresh");
    expectSameContinuation(original, fresh, 57);
}

TEST(LoopGraph, RestoredPidLoopChangesItsParametersToTheBit)
{
    SLoopUnderTest original(makePid(), "Original");
    SLoopUnderTest fresh(makePid(), "Fresh");
    original.loop->setEnabled(true);
    for (int step = 0; step < 5; ++step) {
        original.step(disturbed(step));
    }
    fresh.loop->setEnabled(true);
    fresh.graph.restore(0, original.graph.save(0));
    original.graph.setParameters(0, {{"K", 2.7}}); // bumpless by the error of the last step
    fresh.graph.setParameters(0, {{"K", 2.7}});
    EXPECT_EQ(bitsOf(original.step(39.0)), bitsOf(fresh.step(39.0)));
}

TEST(LoopGraph, RestoredTwoLevelLoopGoesOnToTheBit)
{
    for (const int steps : {3, 9, 57}) { // up, down, and later
        SLoopUnderTest original(makeTwoLevel(), "Original");
        original.loop->driveControlValue(-4.0);
        SLoopUnderTest fresh(makeTwoLevel(), "Fresh");
        expectSameContinuation(original, fresh, steps);
    }
}

TEST(LoopGraph, RestoredConditionalLoopGoesOnToTheBit)
{
    for (const int steps : {2, 5, 57}) {
        SLoopUnderTest original(makeConditional(), "Original");
        SLoopUnderTest fresh(makeConditional(), "Fresh");
        expectSameContinuation(original, fresh, steps);
    }
}

TEST(LoopGraph, RestoredConditionalLoopRemembersThatItIsOutOfRange)
{
    SLoopUnderTest original(makeConditional(), "Original");
    SLoopUnderTest fresh(makeConditional(), "Fresh");
    original.loop->setEnabled(true);
    fresh.loop->setEnabled(true);
    EXPECT_EQ(-6.0, original.step(61.0));
    fresh.graph.restore(0, original.graph.save(0));
    EXPECT_EQ(-6.0, fresh.step(58.0)) << "inside, but not by the threshold";
    EXPECT_EQ(40.0, fresh.step(50.0));
    original.step(50.0);
    fresh.step(61.0);
    fresh.graph.restore(0, original.graph.save(0));
    EXPECT_EQ(40.0, fresh.step(58.0));
}

TEST(LoopGraph, RestoredCascadeGoesOnToTheBit)
{
    struct SCascade
    {
        explicit SCascade(const std::string& name) : inner(makePid(), name)
        {
            outer->setInput(input);
            outer->setOutput(inner.loop);
            channel = std::make_unique<CLocalControllerChannel>(name + " cascade", outer);
            graph = std::make_unique<CLoopGraph>(*channel);
            outer->setEnabled(true); // and the inner loop with it
        }
        double step(int number)
        {
            const double innerValue = inner.step(disturbed(number));
            input->value = disturbed(number + 1000);
            outer->process();
            return innerValue;
        }
        std::shared_ptr<SettableIn> input = std::make_shared<SettableIn>();
        std::shared_ptr<CPIDControlLoop> outer = makePid();
        SLoopUnderTest<CPIDControlLoop> inner;
        std::unique_ptr<CLocalControllerChannel> channel;
        std::unique_ptr<CLoopGraph> graph;
    };
    SCascade original("Original");
    SCascade fresh("Fresh");
    for (int step = 0; step < 30; ++step) {
        original.step(step);
    }
    for (const std::size_t loop : {0u, 1u}) {
        fresh.graph->restore(loop, original.graph->save(loop));
    }
    for (int step = 30; step < 130; ++step) {
        ASSERT_EQ(bitsOf(original.step(step)), bitsOf(fresh.step(step))) << "step " << step;
    }
}

TEST(LoopGraph, LoopThatDoesNotCalculateKeepsItsControlValueWhenItIsRestored)
{
    SLoopUnderTest original(makeTwoLevel(), "Original");
    original.loop->setEnabled(true);
    EXPECT_EQ(100.0, original.step(10.0));
    SLoopUnderTest disabled(makeTwoLevel(), "Disabled");
    disabled.graph.restore(0, original.graph.save(0));
    EXPECT_EQ(-4.0, disabled.loop->readControlValue());
    EXPECT_THAT(disabled.output->written, IsEmpty());
    SLoopUnderTest manual(makeTwoLevel(), "Manual");
    manual.loop->setEnabled(true);
    manual.loop->setManualMode(true);
    manual.loop->writeFixedControlValue(55.0);
    manual.graph.restore(0, original.graph.save(0));
    EXPECT_EQ(55.0, manual.loop->readControlValue());
    EXPECT_EQ(55.0, manual.output->written.back());
}

TEST(LoopGraph, MemoryThatDoesNotFitIsRefusedAndChangesNothing)
{
    SLoopUnderTest pid(makePid(), "PID");
    SLoopUnderTest conditional(makeConditional(), "Conditional");
    pid.loop->setEnabled(true);
    pid.step(38.0);
    const SLoopMemory before = pid.graph.save(0);
    const auto refusal = [&](const SLoopMemory& memory) {
        return messageOf<std::invalid_argument>([&] { pid.graph.restore(0, memory); });
    };
    const std::string otherType = "Memory is not of type Rvl::CPIDControlLoop";
    EXPECT_EQ(otherType, refusal(conditional.graph.save(0)));
    EXPECT_EQ(otherType, refusal({"Rvl::CTwoLevelControlLoop", before.values}));
    SLoopMemory memory = before;
    memory.values.push_back(1.0);
    EXPECT_EQ(otherType, refusal(memory));
    EXPECT_EQ(otherType, refusal({before.typeName, {}}));
    for (const double bad : {std::nan(""), -std::numeric_limits<double>::infinity()}) {
        for (std::size_t index = 0; index < before.values.size(); ++index) {
            memory = before;
            for (double& value : memory.values) {
                value += 1.0;
            }
            memory.values[index] = bad;
            EXPECT_EQ("Memory must consist of finite numbers", refusal(memory)) << index;
        }
    }
    EXPECT_EQ(before.values, pid.graph.save(0).values);
}

TEST(LoopGraph, SupervisionKeepsLoopsFromCalculatingForAsLongAsItLives)
{
    class RefusingCheck : public IInputCheck
    {
    public:
        bool isGoodInput(std::size_t) const override { return false; }
        bool isGoodValue(double) const override { return true; }
    };
    SLoopUnderTest pid(makePid(), "PID");
    const RefusingCheck check;
    auto supervision = pid.graph.supervise(check, {});
    ASSERT_TRUE(supervision);
    pid.loop->setEnabled(true);
    EXPECT_EQ(0.0, pid.step(38.0));
    EXPECT_EQ(ILoopSupervision::Waiting, supervision->state(0));
    supervision.reset();
    EXPECT_NE(0.0, pid.step(38.0));
}

/// Control values of the steps before and after a hand-over to manual mode and back, all at one actual value.
struct SHandOver
{
    double before, manual, after;
};

template <class Loop> SHandOver handOver(SLoopUnderTest<Loop>& loop, double actualValue, double manualValue)
{
    loop.loop->setEnabled(true);
    for (int step = 0; step < 30; ++step) {
        loop.step(actualValue);
    }
    SHandOver result{};
    result.before = loop.loop->readControlValue();
    loop.graph.handOver(true);
    loop.step(actualValue);
    result.manual = loop.loop->readControlValue();
    loop.loop->writeFixedControlValue(manualValue);
    loop.graph.handOver(false);
    result.after = loop.step(actualValue);
    return result;
}

TEST(LoopGraph, HandOverOfAPIDLoopKeepsTheControlValueInBothDirections)
{
    SLoopUnderTest pid(makePid(), "PID");
    const SHandOver values = handOver(pid, 38.0, 12.5);
    EXPECT_NE(0.0, values.before);
    EXPECT_EQ(values.before, values.manual);
    EXPECT_DOUBLE_EQ(12.5, values.after);
    EXPECT_FALSE(pid.loop->isManualMode());
}

TEST(LoopGraph, HandOverBeyondTheLimitsGoesOnFromTheLimit)
{
    SLoopUnderTest pid(makePid(), "PID");
    EXPECT_DOUBLE_EQ(35.0, handOver(pid, 38.0, 50.0).after);
}

TEST(LoopGraph, HandOverGoesByTheActualValueOfNowWhateverHappenedInManualMode)
{
    CAnalogInChannel sensor("Sensor");
    SLoopUnderTest pid(makePid(), "PID");
    pid.loop->setInput(std::make_shared<CAnalogChannelLoopIn>(&sensor));
    sensor.publishValue(38.0);
    pid.loop->setEnabled(true);
    pid.loop->process();
    pid.graph.handOver(true);
    pid.loop->writeFixedControlValue(12.5);
    sensor.publishValue(30.0);
    pid.loop->process();
    pid.graph.handOver(false);
    pid.loop->process();
    EXPECT_DOUBLE_EQ(12.5, pid.loop->readControlValue());
    pid.loop->setInput(nullptr); // before its channel goes
}

TEST(LoopGraph, HandOverToTheModeInForceChangesNothing)
{
    SLoopUnderTest pid(makePid(), "PID");
    pid.loop->setEnabled(true);
    pid.step(38.0);
    const auto before = pid.graph.save(0).values;
    pid.graph.handOver(false);
    EXPECT_EQ(before, pid.graph.save(0).values);
}

TEST(LoopGraph, TwoLevelLoopGoesOnFromTheLevelNextToTheManualValue)
{
    SLoopUnderTest twoLevel(makeTwoLevel(), "Two-level");
    const auto parameters = dynamic_cast<CTwoLevelControlLoop&>(*twoLevel.loop).parameters();
    const double up = parameters.getControlValueUp();
    const double down = parameters.getControlValueDown();
    ASSERT_NE(up, down);
    EXPECT_EQ(up, handOver(twoLevel, 40.0, up + 0.25 * (down - up)).after);
    EXPECT_EQ(down, handOver(twoLevel, 40.0, up + 0.75 * (down - up)).after);
}

TEST(LoopGraph, ExportedEntryMakesGraphsOfLocalControllerChannelsOnly)
{
    EXPECT_STREQ("rivlinkLoops", loopsFunctionName);
    LoopsFunction* const function = &rivlinkLoops;
    const SLoops* const loops = function();
    ASSERT_TRUE(loops);
    EXPECT_EQ(SLoops::currentVersion, loops->version);
    SLoopUnderTest pid(makePid(), "PID");
    const std::unique_ptr<ILoopGraph> graph(loops->graphOf(pid.channel));
    ASSERT_TRUE(graph);
    EXPECT_EQ(1u, graph->loopCount());
    CAnalogInChannel other("Temperature");
    EXPECT_EQ(nullptr, loops->graphOf(other));
}

TEST(LoopGraph, ExportedEntryPutsATimelineInForce)
{
    const auto timeline = reinterpret_cast<ITimeline*>(alignof(std::max_align_t)); // never used
    rivlinkLoops()->useTimeline(timeline);
    EXPECT_EQ(timeline, loopTimeline());
    rivlinkLoops()->useTimeline(nullptr);
    EXPECT_EQ(nullptr, loopTimeline());
}
