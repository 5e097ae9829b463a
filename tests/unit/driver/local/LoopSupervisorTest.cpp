#include "driver/local/LoopSupervisor.h"

#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "platform/rivlink_device/AnalogInChannel.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

using namespace Rvl;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const double notANumber = std::numeric_limits<double>::quiet_NaN();

/// Finds bad what the test says, and every value that is not a number.
class FakeCheck : public IInputCheck
{
public:
    bool isGoodInput(std::size_t loop) const override
    {
        if (onInput) {
            onInput();
        }
        return bad.count(loop) == 0;
    }
    bool isGoodValue(double actualValue) const override { return !std::isnan(actualValue); }

    std::function<void()> onInput;
    std::set<std::size_t> bad;
};

class RecordingOut : public ILoopOut
{
public:
    void writeOutputValue(double value) override { written.push_back(value); }
    std::vector<double> written;
};

/// K = 2, Ti = 1 s, dt = 0.125 s: integral gain 0.25 per step. Powers of two, so that results are exact.
std::shared_ptr<CPIDControlLoop> pid(double disabledU, double setpoint)
{
    CPIDParameters parameters("pid");
    parameters.setK(2);
    parameters.setTi(1);
    parameters.setMinU(-1000);
    parameters.setMaxU(1000);
    parameters.setDisabledU(disabledU);
    parameters.setSampleTime(125);
    const auto loop = std::make_shared<CPIDControlLoop>();
    loop->setParameters(parameters);
    loop->writeSetpoint(setpoint);
    return loop;
}

class LoopSupervisor : public testing::Test
{
protected:
    LoopSupervisor()
    {
        loop->setInput(std::make_shared<CAnalogChannelLoopIn>(&sensor));
        loop->setOutput(output);
    }

    void supervise(SBadInputReaction::eAction action = SBadInputReaction::Hold, double value = 0.0)
    {
        supervisor = std::make_unique<CLoopSupervisor>(loops, check, SBadInputReaction{action, value});
    }
    /// Steps with a good value until the loop has written something, and returns that.
    double control(double value)
    {
        sensor.publishValue(value);
        loop->setEnabled(true);
        loop->process();
        return output->written.back();
    }

    CAnalogInChannel sensor{"Sensor"};
    FakeCheck check;
    std::shared_ptr<RecordingOut> output = std::make_shared<RecordingOut>();
    std::shared_ptr<CPIDControlLoop> loop = pid(-5, 10);
    const std::vector<std::shared_ptr<IControlLoop>> loops{loop};
    std::unique_ptr<CLoopSupervisor> supervisor;
};

/// An outer loop (set point 10) above an inner one.
class CascadeSupervisor : public testing::Test
{
protected:
    CascadeSupervisor()
    {
        outer->setInput(std::make_shared<CAnalogChannelLoopIn>(&outerSensor));
        outer->setOutput(inner);
        inner->setInput(std::make_shared<CAnalogChannelLoopIn>(&innerSensor));
        inner->setOutput(output);
        outerSensor.publishValue(8);
        innerSensor.publishValue(1);
        inner->setEnabled(true);
        outer->setEnabled(true);
    }
    void supervise(SBadInputReaction::eAction action, double value = 0.0)
    {
        supervisor = std::make_unique<CLoopSupervisor>(loops, check, SBadInputReaction{action, value});
    }
    void step()
    {
        outer->process();
        inner->process();
    }

    CAnalogInChannel outerSensor{"Outer sensor"};
    CAnalogInChannel innerSensor{"Inner sensor"};
    FakeCheck check;
    std::shared_ptr<RecordingOut> output = std::make_shared<RecordingOut>();
    std::shared_ptr<CPIDControlLoop> outer = pid(-5, 10);
    std::shared_ptr<CPIDControlLoop> inner = pid(-7, 0);
    const std::vector<std::shared_ptr<IControlLoop>> loops{outer, inner};
    std::unique_ptr<CLoopSupervisor> supervisor;
};

} // namespace

TEST(BadInputReaction, IsToHoldByDefault)
{
    const Rvl::SBadInputReaction reaction;
    EXPECT_EQ(Rvl::SBadInputReaction::Hold, reaction.action);
    EXPECT_EQ(0.0, reaction.value);
}

TEST_F(LoopSupervisor, GoodInputMakesNoDifference)
{
    supervise();
    EXPECT_EQ(4.0, control(8));
    EXPECT_EQ(0.5, loop->integralControlValue());
    EXPECT_EQ(4.5, control(8));
    EXPECT_EQ(ILoopSupervision::Calculating, supervisor->state(0));
}

TEST_F(LoopSupervisor, ControlValueThatIsNotANumberDisablesUntilTheLoopIsEnabledAgain)
{
    supervise();
    EXPECT_EQ(4.0, control(8));
    loop->writeSetpoint(notANumber);
    EXPECT_EQ(-5.0, control(8)) << "within the step";
    EXPECT_EQ(ILoopSupervision::Failed, supervisor->state(0));
    loop->writeSetpoint(10);
    EXPECT_EQ(-5.0, control(8));
    EXPECT_EQ(ILoopSupervision::Failed, supervisor->state(0));
    loop->setEnabled(false);
    loop->setEnabled(true);
    EXPECT_EQ(4.0, control(8));
    EXPECT_EQ(ILoopSupervision::Calculating, supervisor->state(0));
}

TEST_F(CascadeSupervisor, ControlValueThatIsNotANumberDisablesAllLoops)
{
    supervise(SBadInputReaction::Hold);
    step();
    inner->writeSetpoint(notANumber);
    inner->process();
    EXPECT_EQ(-7.0, output->written.back());
    step();
    EXPECT_EQ(-5.0, outer->readControlValue());
    EXPECT_EQ(-7.0, output->written.back());
    EXPECT_EQ(ILoopSupervision::Failed, supervisor->state(0));
    EXPECT_EQ(ILoopSupervision::Failed, supervisor->state(1));
}

TEST_F(LoopSupervisor, ValueThatComesWhileItsChannelIsCheckedIsTheOneToCalculateWith)
{
    supervise();
    sensor.publishValue(1);
    check.onInput = [this] { sensor.publishValue(8); };
    loop->setEnabled(true);
    loop->process();
    EXPECT_EQ(4.0, output->written.back()) << "and not with the stale one that stood there before";
}

TEST_F(LoopSupervisor, LoopWhoseSensorWasNeverThereDrivesNothingWhateverTheAction)
{
    for (const auto action :
         {SBadInputReaction::Hold, SBadInputReaction::Disable, SBadInputReaction::Write}) {
        supervisor.reset();
        supervise(action, 33);
        check.bad = {0};
        loop->setEnabled(true);
        loop->process();
        loop->process();
        EXPECT_THAT(output->written, IsEmpty());
        EXPECT_EQ(ILoopSupervision::Waiting, supervisor->state(0));
        loop->setEnabled(false);
        output->written.clear();
    }
}

TEST_F(LoopSupervisor, ManualValueDoesNotStandWhereNoGoodValueEverWas)
{
    for (const auto action :
         {SBadInputReaction::Hold, SBadInputReaction::Disable, SBadInputReaction::Write}) {
        supervisor.reset();
        supervise(action, 33);
        check.bad = {0};
        loop->setManualMode(true);
        loop->writeFixedControlValue(80);
        loop->setEnabled(true);
        loop->process();
        EXPECT_EQ(80.0, output->written.back());
        loop->setManualMode(false);
        loop->process();
        EXPECT_EQ(-5.0, output->written.back());
        EXPECT_EQ(ILoopSupervision::Waiting, supervisor->state(0));
        output->written.clear();
        loop->process();
        EXPECT_THAT(output->written, IsEmpty()) << "once is enough";
        loop->setEnabled(false);
    }
}

TEST_F(LoopSupervisor, WaitingLoopStartsAsAnyLoopWithTheFirstGoodValue)
{
    supervise();
    check.bad = {0};
    loop->setEnabled(true);
    loop->process();
    check.bad.clear();
    EXPECT_EQ(4.0, control(8)) << "P of the first step, as the integral begins at 0";
}

TEST_F(LoopSupervisor, BadValueNeverReachesTheTermsEvenIfTheChannelWasFoundGood)
{
    supervise();
    control(8);
    sensor.publishValue(notANumber);
    loop->process();
    EXPECT_THAT(output->written, ElementsAre(4.0));
    EXPECT_EQ(4.0, loop->proportionalControlValue());
    EXPECT_EQ(0.5, loop->integralControlValue());
    EXPECT_EQ(ILoopSupervision::Acting, supervisor->state(0));
}

TEST_F(LoopSupervisor, HeldLoopResumesWithTheControlValueItHad)
{
    supervise();
    control(8);
    check.bad = {0};
    for (int i = 0; i < 10; ++i) {
        loop->process();
    }
    check.bad.clear();
    EXPECT_EQ(4.0, control(2)) << "the actual value has moved a long way meanwhile";
    EXPECT_EQ(6.0, control(2)) << "and from there it goes on by its integral gain times the error";
}

TEST_F(LoopSupervisor, ChangedSetPointMakesNoBumpEither)
{
    supervise();
    control(8);
    check.bad = {0};
    loop->process();
    loop->writeSetpoint(50);
    check.bad.clear();
    EXPECT_EQ(4.0, control(8));
}

TEST_F(LoopSupervisor, DisableWritesTheDisabledValueAndResumesFromIt)
{
    supervise(SBadInputReaction::Disable);
    control(8);
    check.bad = {0};
    loop->process();
    loop->process();
    EXPECT_THAT(output->written, ElementsAre(4.0, -5.0));
    EXPECT_EQ(-5.0, loop->readControlValue());
    EXPECT_TRUE(loop->isEnabled()) << "the switch is the user's";
    check.bad.clear();
    control(8);
    EXPECT_THAT(output->written, ElementsAre(4.0, -5.0)) << "the first step gives what is there";
    EXPECT_EQ(-4.5, control(8));
}

TEST_F(LoopSupervisor, WriteWritesItsValueAndResumesFromIt)
{
    supervise(SBadInputReaction::Write, 33);
    control(8);
    check.bad = {0};
    loop->process();
    check.bad.clear();
    control(8);
    EXPECT_THAT(output->written, ElementsAre(4.0, 33.0));
    EXPECT_EQ(33.5, control(8));
}

TEST_F(LoopSupervisor, WrittenValueBeyondTheLimitsResumesAtTheLimit)
{
    supervise(SBadInputReaction::Write, 5000);
    control(8);
    check.bad = {0};
    loop->process();
    check.bad.clear();
    EXPECT_EQ(1000.0, control(8));
}

TEST_F(LoopSupervisor, ManualModeIsRespected)
{
    supervise(SBadInputReaction::Disable);
    control(8);
    check.bad = {0};
    loop->process();
    loop->writeFixedControlValue(12);
    loop->setManualMode(true);
    loop->process();
    EXPECT_THAT(output->written, ElementsAre(4.0, -5.0, 12.0));
    EXPECT_EQ(ILoopSupervision::Idle, supervisor->state(0));
    loop->setManualMode(false);
    loop->process();
    EXPECT_EQ(-5.0, output->written.back()) << "in automatic mode the action is due again";
}

TEST_F(LoopSupervisor, DisablingMeanwhileTakesPrecedence)
{
    supervise();
    control(8);
    check.bad = {0};
    loop->process();
    loop->setEnabled(false);
    check.bad.clear();
    sensor.publishValue(8);
    loop->process();
    loop->process();
    EXPECT_THAT(output->written, ElementsAre(4.0, -5.0));
    EXPECT_EQ(ILoopSupervision::Idle, supervisor->state(0));
}

TEST_F(LoopSupervisor, LoopThatIsEnabledAgainWaitsForAGoodValue)
{
    supervise(SBadInputReaction::Write, 33);
    control(8);
    loop->setEnabled(false);
    check.bad = {0};
    loop->setEnabled(true);
    EXPECT_EQ(ILoopSupervision::Waiting, supervisor->state(0));
    loop->process();
    EXPECT_THAT(output->written, ElementsAre(4.0, -5.0));
}

TEST_F(LoopSupervisor, LoopThatIsEnabledAgainStartsAsAnyLoopWhateverWasDoneBefore)
{
    supervise();
    EXPECT_EQ(4.0, control(8));
    check.bad = {0};
    loop->process();
    EXPECT_EQ(ILoopSupervision::Acting, supervisor->state(0));
    loop->setEnabled(false);
    check.bad.clear();
    EXPECT_EQ(4.0, control(8)) << "and not the disabled value, from which one that was held would go on";
}

TEST_F(LoopSupervisor, ProportionalControllerKeepsNoOffsetFromTheFault)
{
    CPIDParameters parameters = loop->parameters();
    parameters.setTi(0);
    loop->setParameters(parameters);
    supervise(SBadInputReaction::Write, 33);
    control(8);
    check.bad = {0};
    loop->process();
    check.bad.clear();
    EXPECT_EQ(4.0, control(8));
    EXPECT_EQ(0.0, loop->integralControlValue());
}

TEST_F(LoopSupervisor, LoopsGoOnWithoutItWhenItIsGone)
{
    supervise();
    check.bad = {0};
    loop->setEnabled(true);
    loop->process();
    supervisor.reset();
    EXPECT_EQ(4.0, control(8));
}

TEST_F(LoopSupervisor, TwoLevelLoopIsNotLeftInert)
{
    boost::property_tree::ptree tree;
    for (const auto& [key, value] :
         {std::pair("SampleTime_ms", "20"), std::pair("Setpoint", "10"), std::pair("LowerThreshold", "2"),
          std::pair("UpperThreshold", "3"), std::pair("U_Up", "100"), std::pair("U_Down", "0"),
          std::pair("U_Disabled", "0")}) {
        tree.put(std::string("Parameters.<xmlattr>.") + key, value);
    }
    const auto twoLevel = std::make_shared<CTwoLevelControlLoop>(tree);
    twoLevel->setInput(std::make_shared<CAnalogChannelLoopIn>(&sensor));
    twoLevel->setOutput(output);
    CLoopSupervisor supervised({twoLevel}, check, {SBadInputReaction::Write, 30});
    sensor.publishValue(5);
    twoLevel->setEnabled(true);
    twoLevel->process();
    check.bad = {0};
    twoLevel->process();
    check.bad.clear();
    sensor.publishValue(10);
    twoLevel->process();
    EXPECT_THAT(output->written, ElementsAre(100.0, 30.0, 100.0)) << "between its thresholds again";
    sensor.publishValue(14);
    twoLevel->process();
    EXPECT_EQ(0.0, output->written.back());
}

TEST_F(LoopSupervisor, LoopThatIsNotThereHasNoState)
{
    supervise();
    EXPECT_EQ(ILoopSupervision::Waiting, supervisor->state(0));
    EXPECT_THROW(supervisor->state(1), std::out_of_range);
}

TEST(SupervisedTwoLevelLoop, ReadsItsInputAsOftenAsWithoutSupervision)
{
    class CountedIn : public ILoopIn
    {
    public:
        double readInputValue() override { return value + 0.001 * ++readings; }
        double value = 0.0;
        int readings = 0;
    };
    std::vector<std::vector<double>> written;
    std::vector<int> readings;
    for (const bool supervised : {false, true}) {
        boost::property_tree::ptree tree;
        for (const auto& [key, value] : {std::pair("Setpoint", "10"),
                                         {"SampleTime_ms", "100"},
                                         {"LowerThreshold", "1"},
                                         {"UpperThreshold", "1"},
                                         {"U_Up", "5"},
                                         {"U_Down", "1"},
                                         {"U_Disabled", "1"}}) {
            tree.put(std::string("Parameters.<xmlattr>.") + key, value);
        }
        const auto loop = std::make_shared<CTwoLevelControlLoop>(tree);
        const auto input = std::make_shared<CountedIn>();
        const auto output = std::make_shared<RecordingOut>();
        loop->setInput(input);
        loop->setOutput(output);
        FakeCheck check;
        std::unique_ptr<CLoopSupervisor> supervisor;
        if (supervised) {
            supervisor = std::make_unique<CLoopSupervisor>(std::vector<std::shared_ptr<IControlLoop>>{loop},
                                                           check, SBadInputReaction{});
        }
        loop->setEnabled(true);
        for (const double value : {10.0, 8.0, 10.0, 12.0, 12.0, 8.0}) {
            input->value = value;
            loop->process();
        }
        written.push_back(output->written);
        readings.push_back(input->readings);
    }
    EXPECT_EQ(written[0], written[1]);
    EXPECT_EQ(readings[0], readings[1]);
    EXPECT_EQ(readings[0], 7) << "twice in the step that switches down";
}

TEST_F(CascadeSupervisor, CanBeDestroyedWhileTheLoopsAreCalculated)
{
    std::atomic<bool> ended{false};
    std::atomic<int> steps{0};
    std::thread calculating([&] {
        while (!ended) {
            step();
            ++steps;
        }
    });
    for (int count = 0; count < 2000 || steps < 2000; ++count) {
        supervise(SBadInputReaction::Disable);
        supervisor.reset();
    }
    ended = true;
    calculating.join();
    EXPECT_GE(steps, 2000);
}

TEST_F(CascadeSupervisor, InnermostLoopActsOnceALoopAboveHasCalculated)
{
    supervise(SBadInputReaction::Write, 33);
    outer->process();
    output->written.clear();
    check.bad = {1};
    inner->process();
    EXPECT_THAT(output->written, ElementsAre(33.0));
    EXPECT_EQ(ILoopSupervision::Acting, supervisor->state(1));
}

TEST_F(CascadeSupervisor, InnermostLoopThatHasNotCalculatedHasNothingToHold)
{
    supervise(SBadInputReaction::Hold);
    outer->process();
    output->written.clear();
    check.bad = {1};
    inner->process();
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_EQ(ILoopSupervision::Waiting, supervisor->state(1));
}

TEST_F(CascadeSupervisor, NoLoopDrivesBeforeTheInputsOfAllAreGood)
{
    for (const std::size_t missing : {0u, 1u}) {
        supervisor.reset();
        supervise(SBadInputReaction::Hold);
        check.bad = {missing};
        step();
        EXPECT_THAT(output->written, IsEmpty()) << missing;
        EXPECT_EQ(0.0, inner->readSetpoint()) << missing;
    }
    check.bad.clear();
    step();
    EXPECT_EQ(4.0, inner->readSetpoint());
    EXPECT_THAT(output->written, ElementsAre(6.0));
}

TEST_F(CascadeSupervisor, HoldLeavesTheLoopsBelowABadInputInControl)
{
    supervise(SBadInputReaction::Hold);
    step();
    check.bad = {0};
    step();
    EXPECT_EQ(ILoopSupervision::Acting, supervisor->state(0));
    EXPECT_EQ(ILoopSupervision::Calculating, supervisor->state(1));
    EXPECT_EQ(4.0, inner->readSetpoint());
    EXPECT_THAT(output->written, ElementsAre(6.0, 6.75)) << "towards the set point that it has";
}

TEST_F(CascadeSupervisor, HoldStopsTheLoopsAboveABadInput)
{
    supervise(SBadInputReaction::Hold);
    step();
    const double integral = outer->integralControlValue();
    check.bad = {1};
    for (int i = 0; i < 10; ++i) {
        step();
    }
    EXPECT_EQ(integral, outer->integralControlValue()) << "no winding up";
    EXPECT_THAT(output->written, ElementsAre(6.0));
}

TEST_F(CascadeSupervisor, DisableStopsTheLoopsBelowABadInputAsWell)
{
    supervise(SBadInputReaction::Disable);
    step();
    check.bad = {0};
    step();
    EXPECT_EQ(-5.0, inner->readSetpoint());
    EXPECT_THAT(output->written, ElementsAre(6.0, -7.0));
    check.bad.clear();
    step();
    EXPECT_THAT(output->written, ElementsAre(6.0, -7.0)) << "the first step gives what is there";
}

TEST_F(CascadeSupervisor, WriteWritesToTheInnermostOutput)
{
    supervise(SBadInputReaction::Write, 33);
    step();
    check.bad = {0};
    step();
    EXPECT_EQ(4.0, inner->readSetpoint());
    EXPECT_THAT(output->written, ElementsAre(6.0, 33.0));
}

TEST_F(CascadeSupervisor, InputOfALoopInManualModeDoesNotCount)
{
    supervise(SBadInputReaction::Disable);
    outer->writeFixedControlValue(4);
    outer->setManualMode(true);
    check.bad = {0};
    step();
    EXPECT_THAT(output->written, ElementsAre(6.0)) << "the inner loop controls to the manual set point";
    EXPECT_EQ(ILoopSupervision::Idle, supervisor->state(0));
}

TEST_F(CascadeSupervisor, IsNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CLoopSupervisor>);
    EXPECT_FALSE(std::is_copy_assignable_v<CLoopSupervisor>);
}
