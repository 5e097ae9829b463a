#include "driver/local/controller/common/ControlLoop.h"

#include "driver/local/controller/common/LoopStepGuard.h"
#include "driver/local/controller/common/LoopStepObserver.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/LockProbe.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ControlLoop : public testing::Test
{
protected:
    ControlLoop()
    {
        loop.setInput(input);
        loop.setOutput(output);
        loop.parameters.disabledU = -1.0;
    }

    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>();
    std::shared_ptr<FakeLoopOut> output = std::make_shared<FakeLoopOut>();
    std::vector<std::future<void>> pending; ///< calls on other threads that wait for the loop
    FakeControlLoop loop;
};

/// A loop that reports its switch as the test sets it, if the test sets it.
struct LoopWithASetSwitch : FakeControlLoop
{
    bool isEnabled() const override { return reported.value_or(FakeControlLoop::isEnabled()); }
    void setEnabled(bool enabled) override
    {
        setEnabledCalls.push_back(enabled);
        FakeControlLoop::setEnabled(enabled);
    }
    std::optional<bool> reported;
    std::vector<bool> setEnabledCalls;
};

} // namespace

TEST_F(ControlLoop, BeginsDisabledAutomaticAndZero)
{
    FakeControlLoop fresh;
    EXPECT_EQ(fresh.controlType(), IControlLoop::TypeUndefined);
    EXPECT_FALSE(fresh.isEnabled());
    EXPECT_EQ(fresh.readSetpoint(), 0.0);
    EXPECT_EQ(fresh.readControlValue(), 0.0);
    EXPECT_FALSE(fresh.inputElement());
    EXPECT_FALSE(fresh.outputElement());
}

TEST_F(ControlLoop, KindsHaveTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(IControlLoop::TypeUndefined), 0);
    EXPECT_EQ(static_cast<int>(IControlLoop::TypePID), 1);
    EXPECT_EQ(static_cast<int>(IControlLoop::TypeConditional), 2);
    EXPECT_EQ(static_cast<int>(IControlLoop::TypeTwoLevel), 3);
    EXPECT_EQ(sizeof(IControlLoop::eType), 4u);
}

TEST_F(ControlLoop, EnablingNotifiesTheOutputAndWritesNothingInAutomaticMode)
{
    loop.writeFixedControlValue(3.0);
    loop.setEnabled(true);
    EXPECT_TRUE(loop.isEnabled());
    EXPECT_THAT(output->enabledCalls, ElementsAre(true));
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_EQ(loop.readControlValue(), 0.0);
}

TEST_F(ControlLoop, SecondEnableNotifiesNothing)
{
    loop.setEnabled(true);
    loop.setEnabled(true);
    EXPECT_THAT(output->enabledCalls, ElementsAre(true));
}

TEST_F(ControlLoop, DisablingWritesTheDisabledValue)
{
    loop.setEnabled(true);
    loop.setEnabled(false);
    EXPECT_FALSE(loop.isEnabled());
    EXPECT_THAT(output->enabledCalls, ElementsAre(true, false));
    EXPECT_THAT(output->written, ElementsAre(-1.0));
    EXPECT_EQ(loop.readControlValue(), -1.0);
}

TEST_F(ControlLoop, OutputIsDisabledBeforeTheDisabledValueIsWritten)
{
    loop.setEnabled(true);
    std::vector<bool> callsAtWrite;
    output->onWrite = [&] { callsAtWrite = output->enabledCalls; };
    loop.setEnabled(false);
    EXPECT_THAT(callsAtWrite, ElementsAre(true, false));
}

TEST_F(ControlLoop, DisabledValueIsReadOnceForTheLoopAndOnceForTheOutput)
{
    loop.setEnabled(true);
    loop.setEnabled(false);
    EXPECT_EQ(loop.parameters.disabledUReads, 2);
}

TEST_F(ControlLoop, SecondDisableWritesNothing)
{
    loop.setEnabled(true);
    loop.setEnabled(false);
    loop.parameters.disabledU = -2.0;
    loop.setEnabled(false);
    EXPECT_THAT(output->written, ElementsAre(-1.0));
    EXPECT_THAT(output->enabledCalls, ElementsAre(true, false));
}

TEST_F(ControlLoop, FixedValueIsWrittenInManualModeWhileEnabled)
{
    loop.setEnabled(true);
    loop.setManualMode(true);
    loop.writeFixedControlValue(3.0);
    EXPECT_THAT(output->written, ElementsAre(0.0, 3.0));
    EXPECT_EQ(loop.readControlValue(), 3.0);
}

TEST_F(ControlLoop, FixedValueOfADisabledLoopWaitsForEnabling)
{
    loop.setManualMode(true);
    loop.writeFixedControlValue(3.0);
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_EQ(loop.readControlValue(), 0.0);
    loop.setEnabled(true);
    EXPECT_THAT(output->written, ElementsAre(3.0));
    EXPECT_EQ(loop.readControlValue(), 3.0);
}

TEST_F(ControlLoop, ManualModeWritesTheStoredFixedValueAtOnce)
{
    loop.setEnabled(true);
    loop.writeFixedControlValue(4.0);
    EXPECT_THAT(output->written, IsEmpty());
    loop.setManualMode(true);
    EXPECT_THAT(output->written, ElementsAre(4.0));
}

TEST_F(ControlLoop, AutomaticModeWritesNothingUntilTheNextStep)
{
    loop.setEnabled(true);
    loop.setManualMode(true);
    output->written.clear();
    loop.setManualMode(false);
    EXPECT_THAT(output->written, IsEmpty());
    loop.process();
    EXPECT_EQ(loop.calculations, 1);
}

TEST_F(ControlLoop, StepCalculatesOnlyWhileEnabledAndAutomatic)
{
    loop.process();
    EXPECT_EQ(loop.calculations, 0);
    loop.setEnabled(true);
    loop.process();
    EXPECT_EQ(loop.calculations, 1);
    loop.setManualMode(true);
    loop.process();
    EXPECT_EQ(loop.calculations, 1);
}

TEST_F(ControlLoop, DisabledStepStillGivesEveryListenerAFreshValue)
{
    FakeValueListener first;
    FakeValueListener second;
    loop.addActualValueListener(&first);
    loop.addActualValueListener(&second);
    input->value = 7.0;
    loop.process();
    input->value = 8.0;
    loop.process();
    EXPECT_EQ(loop.calculations, 0);
    EXPECT_THAT(first.values, ElementsAre(7.0, 8.0));
    EXPECT_THAT(second.values, ElementsAre(7.0, 8.0));
    EXPECT_EQ(input->reads, 4) << "one read for each listener and step";
}

TEST_F(ControlLoop, ManualStepStillNotifiesTheListeners)
{
    FakeValueListener listener;
    loop.addActualValueListener(&listener);
    loop.setManualMode(true);
    loop.setEnabled(true);
    loop.process();
    EXPECT_THAT(listener.values, ElementsAre(0.0));
}

TEST_F(ControlLoop, ListenersAreNotifiedAfterTheCalculation)
{
    FakeValueListener listener;
    loop.addActualValueListener(&listener);
    loop.setEnabled(true);
    loop.onCalculate = [&] { input->value = 9.0; };
    loop.process();
    EXPECT_THAT(listener.values, ElementsAre(9.0));
}

TEST_F(ControlLoop, ListenersAreNotifiedInTheOrderOfTheirAddresses)
{
    FakeValueListener listeners[3];
    std::vector<int> order;
    for (int i : {2, 0, 1}) {
        listeners[i].onValue = [&order, i] { order.push_back(i); };
        loop.addActualValueListener(&listeners[i]);
    }
    loop.process();
    EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST_F(ControlLoop, ListenerAddedTwiceIsNotifiedOnce)
{
    FakeValueListener listener;
    loop.addActualValueListener(&listener);
    loop.addActualValueListener(&listener);
    loop.process();
    EXPECT_EQ(listener.values.size(), 1u);
    loop.removeActualValueListener(&listener);
    loop.process();
    EXPECT_EQ(listener.values.size(), 1u);
}

TEST_F(ControlLoop, RemovingAnUnknownListenerChangesNothing)
{
    FakeValueListener known;
    FakeValueListener unknown;
    loop.addActualValueListener(&known);
    loop.removeActualValueListener(&unknown);
    loop.process();
    EXPECT_EQ(known.values.size(), 1u);
    EXPECT_EQ(unknown.values.size(), 0u);
}

TEST_F(ControlLoop, ListenerMayRemoveItselfAndOthersWhileNotified)
{
    FakeValueListener listeners[3];
    for (FakeValueListener& listener : listeners) {
        loop.addActualValueListener(&listener);
    }
    listeners[0].onValue = [&] {
        loop.removeActualValueListener(&listeners[0]);
        loop.removeActualValueListener(&listeners[1]);
    };
    loop.process();
    loop.process();
    EXPECT_EQ(listeners[0].values.size(), 1u);
    EXPECT_EQ(listeners[1].values.size(), 0u);
    EXPECT_EQ(listeners[2].values.size(), 2u);
}

TEST_F(ControlLoop, WritingToTheLoopAsAnOutputSetsItsSetpoint)
{
    static_cast<ILoopOutInterface&>(loop).write(12.5);
    EXPECT_EQ(loop.readSetpoint(), 12.5);
}

TEST_F(ControlLoop, OuterLoopSetsTheSetpointOfItsInnerLoop)
{
    auto inner = std::make_shared<FakeControlLoop>();
    loop.setOutput(inner);
    loop.setManualMode(true);
    loop.setEnabled(true);
    loop.writeFixedControlValue(6.0);
    EXPECT_EQ(inner->readSetpoint(), 6.0);
    EXPECT_TRUE(inner->isEnabled()) << "an inner loop is enabled with the outer one";
}

TEST_F(ControlLoop, AnySetpointIsTaken)
{
    loop.writeSetpoint(-1e300);
    EXPECT_EQ(loop.readSetpoint(), -1e300);
    loop.writeSetpoint(std::nan(""));
    EXPECT_TRUE(std::isnan(loop.readSetpoint()));
}

TEST_F(ControlLoop, ElementsShareOwnership)
{
    const long before = input.use_count();
    const std::shared_ptr<IControlLoopElement> element = loop.inputElement();
    EXPECT_EQ(element.get(), static_cast<IControlLoopElement*>(input.get()));
    EXPECT_EQ(input.use_count(), before + 1);
    EXPECT_EQ(loop.outputElement().get(), static_cast<IControlLoopElement*>(output.get()));
}

TEST_F(ControlLoop, WhatIsNoElementGivesNone)
{
    loop.setInput(std::make_shared<FakeBareInput>());
    loop.setOutput(std::make_shared<FakeBareOutput>());
    EXPECT_FALSE(loop.inputElement());
    EXPECT_FALSE(loop.outputElement());
}

TEST_F(ControlLoop, ReplacedElementsAreReleased)
{
    loop.setInput(nullptr);
    loop.setOutput(nullptr);
    EXPECT_EQ(input.use_count(), 1);
    EXPECT_EQ(output.use_count(), 1);
}

TEST_F(ControlLoop, WithoutInputAndOutputNothingCrashes)
{
    FakeControlLoop bare;
    FakeValueListener listener;
    bare.addActualValueListener(&listener);
    bare.setManualMode(true);
    bare.setEnabled(true);
    bare.writeFixedControlValue(2.0);
    bare.process();
    EXPECT_EQ(bare.readControlValue(), 2.0);
    ASSERT_EQ(listener.values.size(), 1u);
    EXPECT_TRUE(std::isnan(listener.values[0]));
    EXPECT_TRUE(std::isnan(bare.actualValue()));
    bare.setEnabled(false);
    EXPECT_EQ(bare.readControlValue(), 0.0);
}

TEST_F(ControlLoop, InitCallsSetEnabledWithTheSwitchAsItIs)
{
    struct Loop : FakeControlLoop
    {
        void setEnabled(bool enabled) override
        {
            calls.push_back(enabled);
            FakeControlLoop::setEnabled(enabled);
        }
        std::vector<bool> calls;
    } watched;
    watched.setOutput(output);
    watched.init();
    watched.setEnabled(true);
    watched.init();
    EXPECT_THAT(watched.calls, ElementsAre(false, true, true));
    EXPECT_THAT(output->enabledCalls, ElementsAre(true)) << "init() itself changes nothing";
    EXPECT_THAT(output->written, IsEmpty());
}

TEST_F(ControlLoop, InitHandsOnTheSwitchItselfAndNotWhatADerivedLoopSaysOfIt)
{
    LoopWithASetSwitch derived;
    derived.reported = true;
    derived.init();
    derived.reported.reset();
    derived.setEnabled(true);
    derived.reported = false;
    derived.init();
    EXPECT_THAT(derived.setEnabledCalls, ElementsAre(false, true, true));
}

TEST_F(ControlLoop, StepHonoursIsEnabledOfADerivedLoop)
{
    LoopWithASetSwitch derived;
    derived.reported = true;
    derived.process();
    EXPECT_EQ(derived.calculations, 1);
    derived.reported.reset();
    derived.setEnabled(true);
    derived.reported = false;
    derived.process();
    EXPECT_EQ(derived.calculations, 1);
}

TEST_F(ControlLoop, SwitchingHonoursIsEnabledOfADerivedLoop)
{
    LoopWithASetSwitch derived;
    derived.setOutput(output);
    derived.reported = true;
    derived.setEnabled(true);
    EXPECT_THAT(output->enabledCalls, IsEmpty()) << "it is reported as enabled already";
    derived.reported.reset();
    derived.setEnabled(true);
    derived.reported = false;
    derived.setEnabled(true);
    EXPECT_THAT(output->enabledCalls, ElementsAre(true, true));
}

TEST_F(ControlLoop, FixedValueHonoursIsEnabledOfADerivedLoop)
{
    LoopWithASetSwitch derived;
    derived.setOutput(output);
    derived.setManualMode(true);
    derived.reported = true;
    derived.writeFixedControlValue(3.0);
    EXPECT_THAT(output->written, ElementsAre(3.0));
    derived.reported.reset();
    derived.setEnabled(true);
    derived.reported = false;
    derived.writeFixedControlValue(4.0);
    EXPECT_THAT(output->written, ElementsAre(3.0));
}

TEST_F(ControlLoop, ChangeOfModeAndEnablingGoThroughTheDerivedLoopsFixedValue)
{
    struct Loop : FakeControlLoop
    {
        void writeFixedControlValue(double value) override
        {
            fixedValues.push_back(value);
            FakeControlLoop::writeFixedControlValue(value);
        }
        std::vector<double> fixedValues;
    } derived;
    derived.setOutput(output);
    derived.writeFixedControlValue(3.0);
    derived.setManualMode(true);
    EXPECT_THAT(derived.fixedValues, ElementsAre(3.0, 3.0));
    derived.setManualMode(false);
    EXPECT_THAT(derived.fixedValues, ElementsAre(3.0, 3.0, 3.0));
    derived.setEnabled(true);
    EXPECT_THAT(derived.fixedValues, ElementsAre(3.0, 3.0, 3.0, 3.0));
    derived.setEnabled(false);
    EXPECT_THAT(derived.fixedValues, ElementsAre(3.0, 3.0, 3.0, 3.0)) << "disabling writes another value";
}

TEST_F(ControlLoop, OutputIsNotifiedAfterTheSwitchHasTurned)
{
    struct Output : FakeLoopOut
    {
        void setEnabled(bool) override { switchWhenNotified.push_back(loop->isEnabled()); }
        const IControlLoop* loop = nullptr;
        std::vector<bool> switchWhenNotified;
    };
    const auto watching = std::make_shared<Output>();
    watching->loop = &loop;
    loop.setOutput(watching);
    loop.setEnabled(true);
    loop.setEnabled(false);
    EXPECT_THAT(watching->switchWhenNotified, ElementsAre(true, false));
}

TEST_F(ControlLoop, ExceptionLeavesTheStepWithTheLockReleased)
{
    loop.setEnabled(true);
    FakeValueListener listener;
    loop.addActualValueListener(&listener);
    loop.onCalculate = [] { throw std::runtime_error("calculation"); };
    EXPECT_THROW(loop.process(), std::runtime_error);
    EXPECT_THAT(listener.values, IsEmpty());
    EXPECT_TRUE(isUnlocked(loop));

    loop.onCalculate = nullptr;
    listener.onValue = [] { throw std::logic_error("listener"); };
    EXPECT_THROW(loop.process(), std::logic_error);
    EXPECT_TRUE(isUnlocked(loop));
}

TEST_F(ControlLoop, StepHoldsTheLockThroughCalculationAndListeners)
{
    loop.setEnabled(true);
    FakeValueListener listener;
    loop.addActualValueListener(&listener);
    bool inCalculation = false;
    bool inListener = false;
    const auto blocked = [&] {
        std::future<void> other = std::async(std::launch::async, [&] { loop.readSetpoint(); });
        const bool waits = other.wait_for(std::chrono::milliseconds(40)) == std::future_status::timeout;
        pending.push_back(std::move(other));
        return waits;
    };
    loop.onCalculate = [&] { inCalculation = blocked(); };
    listener.onValue = [&] { inListener = blocked(); };
    loop.process();
    pending.clear();
    EXPECT_TRUE(inCalculation);
    EXPECT_TRUE(inListener);
}

TEST_F(ControlLoop, CalculationMayCallTheLoopsOwnOperations)
{
    loop.setEnabled(true);
    loop.onCalculate = [&] {
        loop.writeSetpoint(loop.readSetpoint() + 1.0);
        loop.setEnabled(false);
    };
    loop.process();
    EXPECT_EQ(loop.readSetpoint(), 1.0);
    EXPECT_FALSE(loop.isEnabled());
}

TEST_F(ControlLoop, GuardedOperationsWaitForTheLock)
{
    FakeValueListener listener;
    const std::vector<std::pair<const char*, std::function<void()>>> operations = {
        {"readSetpoint", [&] { loop.readSetpoint(); }},
        {"writeSetpoint", [&] { loop.writeSetpoint(1.0); }},
        {"readControlValue", [&] { loop.readControlValue(); }},
        {"isEnabled", [&] { loop.isEnabled(); }},
        {"setEnabled", [&] { loop.setEnabled(true); }},
        {"setManualMode", [&] { loop.setManualMode(true); }},
        {"writeFixedControlValue", [&] { loop.writeFixedControlValue(1.0); }},
        {"addActualValueListener", [&] { loop.addActualValueListener(&listener); }},
        {"removeActualValueListener", [&] { loop.removeActualValueListener(&listener); }},
        {"process", [&] { loop.process(); }},
        {"init", [&] { loop.init(); }},
        {"write", [&] { loop.writeOutputValue(2.0); }},
        {"setInput", [&] { loop.setInput(input); }},
        {"setOutput", [&] { loop.setOutput(output); }},
        {"setStepGuard", [&] { loop.setStepGuard(nullptr); }},
    };
    for (const auto& [name, operation] : operations) {
        EXPECT_TRUE(waitsForLock(loop, operation)) << name;
    }
}

TEST_F(ControlLoop, HolderOfTheLockSeesNothingOfWhatAnotherThreadHasBegun)
{
    loop.setEnabled(true);
    const auto begun = [this](const std::function<void()>& operation,
                              const std::function<void()>& meanwhile) {
        loop.lockAccess();
        std::future<void> other = std::async(std::launch::async, operation);
        EXPECT_EQ(other.wait_for(std::chrono::milliseconds(40)), std::future_status::timeout);
        meanwhile();
        loop.unlockAccess();
        other.get();
    };
    begun([this] { loop.setManualMode(true); },
          [this] {
              loop.process();
              EXPECT_EQ(loop.calculations, 1) << "still in automatic mode";
          });
    begun([this] { loop.writeFixedControlValue(5.0); },
          [this] {
              loop.setManualMode(true);
              EXPECT_EQ(loop.readControlValue(), 0.0) << "still the former fixed value";
          });
    EXPECT_EQ(loop.readControlValue(), 5.0);
}

TEST_F(ControlLoop, WiringAndKindAreReadWithoutTheLock)
{
    EXPECT_TRUE(ignoresLock(loop, [&] {
        loop.inputElement();
        loop.outputElement();
        loop.controlType();
    }));
}

TEST_F(ControlLoop, OperationsStandInTheirSlots)
{
    struct Exposed : FakeControlLoop
    {
        static std::size_t calculateOutputSlot() { return virtualSlot(&Exposed::calculateOutput); }
    };
    std::vector<std::size_t> slots = {
        virtualSlot(&IControlLoop::writeOutputValue),
        virtualSlot(&IControlLoop::setEnabled), // after the destructor's two
        Exposed::calculateOutputSlot(),
        virtualSlot(&IControlLoop::setInput),
        virtualSlot(&IControlLoop::setOutput),
        virtualSlot(&IControlLoop::inputElement),
        virtualSlot(&IControlLoop::outputElement),
        virtualSlot(&IControlLoop::readSetpoint),
        virtualSlot(&IControlLoop::writeSetpoint),
        virtualSlot(&IControlLoop::writeFixedControlValue),
        virtualSlot(&IControlLoop::setManualMode),
        virtualSlot(&IControlLoop::isEnabled),
        virtualSlot(&IControlLoop::process),
        virtualSlot(&IControlLoop::sampleTime_ms),
        virtualSlot(&IControlLoop::readControlValue),
        virtualSlot(&IControlLoop::getTypeName),
        virtualSlot(&IControlLoop::setParameters),
        virtualSlot(&IControlLoop::controlParameters),
        virtualSlot(&IControlLoop::addActualValueListener),
        virtualSlot(&IControlLoop::removeActualValueListener),
        virtualSlot(&IControlLoop::actualValue),
    };
    ASSERT_EQ(slots[0], 0u);
    ASSERT_EQ(slots[1], 3u);
    // init() comes between, as it overrides an operation of the output's second base; then the loop's own
    for (std::size_t i = 2; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], i + 3) << i;
    }
}

TEST(ControlLoopValueListener, ActualValueIsTheSecondOperation)
{
    EXPECT_EQ(virtualSlot(&IControlLoopValueListener::onActualValue), 2u); // after the destructor's two
}

namespace {

/// Allows steps as the test sets it, and records the calls.
struct FakeStepGuard : ILoopStepGuard
{
    void beforeReading() override
    {
        if (onReading) {
            onReading();
        }
    }
    bool mayCalculate(double actualValue) override
    {
        seen.push_back(actualValue);
        return allow;
    }
    bool isGoodValue(double actualValue) const override { return actualValue < 100.0; }
    void passedStep() override { ++passed; }
    void wroteFixedValue() override { ++fixedValues; }
    void switched() override { ++switches; }

    std::function<void()> onReading;
    bool allow = true;
    std::vector<double> seen;
    int passed = 0;
    int fixedValues = 0;
    int switches = 0;
};

} // namespace

TEST_F(ControlLoop, StepGuardDecidesWhichStepsCalculate)
{
    FakeStepGuard guard;
    loop.setStepGuard(&guard);
    loop.setEnabled(true);
    input->value = 7.0;
    loop.process();
    guard.allow = false;
    loop.process();
    EXPECT_EQ(loop.calculations, 1);
    EXPECT_THAT(guard.seen, ElementsAre(7.0, 7.0));
    loop.setStepGuard(nullptr);
    loop.process();
    EXPECT_EQ(loop.calculations, 2);
    EXPECT_EQ(guard.seen.size(), 2u);
}

TEST_F(ControlLoop, StepGuardIsCalledBeforeTheActualValueIsRead)
{
    FakeStepGuard guard;
    loop.setStepGuard(&guard);
    loop.setEnabled(true);
    input->value = 1.0;
    guard.onReading = [this] { input->value = 2.0; };
    loop.process();
    EXPECT_THAT(guard.seen, ElementsAre(2.0)) << "the input's check applies to no older value";
}

TEST_F(ControlLoop, StepGuardIsNotifiedOfStepsThatWouldNotCalculateAndOfTheSwitch)
{
    FakeStepGuard guard;
    loop.setStepGuard(&guard);
    loop.process();
    EXPECT_EQ(guard.passed, 1);
    loop.setEnabled(true);
    loop.setEnabled(true);
    EXPECT_EQ(guard.switches, 1);
    EXPECT_EQ(guard.fixedValues, 0);
    loop.setManualMode(true);
    EXPECT_EQ(guard.fixedValues, 1);
    EXPECT_TRUE(loop.isManualMode());
    loop.process();
    EXPECT_EQ(guard.passed, 2);
    EXPECT_THAT(guard.seen, IsEmpty());
}

TEST_F(ControlLoop, ListenersAreNotifiedInAStepThatMayNotCalculate)
{
    FakeStepGuard guard;
    guard.allow = false;
    FakeValueListener listener;
    loop.setStepGuard(&guard);
    loop.addActualValueListener(&listener);
    loop.setEnabled(true);
    input->value = 7.0;
    loop.process();
    EXPECT_THAT(listener.values, ElementsAre(7.0));
}

TEST_F(ControlLoop, StepObserverIsCalledInEveryStepAndNothingIsReadForIt)
{
    struct CObserver : ILoopStepObserver
    {
        void onStep(bool automatic) override { steps.push_back(automatic); }
        std::vector<bool> steps;
    };
    CObserver observer;
    CObserver other;
    loop.addStepObserver(&observer);
    loop.addStepObserver(&other);
    loop.process();
    loop.setEnabled(true);
    loop.process();
    loop.removeStepObserver(&other);
    loop.removeStepObserver(&other);
    loop.setManualMode(true);
    loop.process();
    EXPECT_THAT(observer.steps, ElementsAre(false, true, false));
    EXPECT_THAT(other.steps, ElementsAre(false, true));
    EXPECT_EQ(input->reads, 0);
    loop.removeStepObserver(&observer);
}

TEST_F(ControlLoop, DrivenControlValueIsWrittenInAnyState)
{
    loop.driveControlValue(3.0);
    EXPECT_EQ(loop.readControlValue(), 3.0);
    EXPECT_THAT(output->written, ElementsAre(3.0));
}
