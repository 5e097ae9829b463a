#include "driver/local/controller/controlloop/PIDControlLoop.h"

#include "driver/local/controller/controlloop/PIDControlLoopFactory.h"
#include "driver/local/controller/controlloop/TwoLevelParameters.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/LockProbe.h"
#include "tests/support/LogCapture.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// K = 3, sample time 125 ms, limits +-1000; a derivative limit so that Td acts. Powers of two throughout, so
/// that results are exact.
CPIDParameters someParameters()
{
    CPIDParameters parameters("P");
    parameters.setK(3);
    parameters.setDerivativeGainLimit(1000);
    parameters.setMaxU(1000);
    parameters.setMinU(-1000);
    parameters.setDisabledU(-1);
    parameters.setSampleTime(125);
    return parameters;
}

ptree completePIDLoop()
{
    ptree tree;
    tree.put("Enabled", "true");
    tree.put("PIDParam.<xmlattr>.Name", "heater");
    tree.put("PIDParam.<xmlattr>.K", "3");
    tree.put("PIDParam.<xmlattr>.Ti", "0.75");
    tree.put("PIDParam.<xmlattr>.Td", "0");
    tree.put("PIDParam.<xmlattr>.DerivativeGainLimit", "10");
    tree.put("PIDParam.<xmlattr>.MaxU", "1000");
    tree.put("PIDParam.<xmlattr>.MinU", "-1000");
    tree.put("PIDParam.<xmlattr>.DisabledU", "-5");
    tree.put("PIDParam.<xmlattr>.Setpoint", "2");
    tree.put("PIDParam.<xmlattr>.SampleTime_ms", "125");
    return tree;
}

class PIDControlLoop : public testing::Test
{
protected:
    PIDControlLoop() { wire(loop); }

    void wire(IControlLoop& wired)
    {
        wired.setInput(input);
        wired.setOutput(output);
    }
    /// Enabled, with e = 2, I = 1 after one step with K = 3.
    void bringIntegralToOne(CPIDControlLoop& stepped)
    {
        CPIDParameters parameters = someParameters();
        parameters.setTi(0.75);
        stepped.setParameters(parameters);
        stepped.writeSetpoint(2);
        stepped.setEnabled(true);
        stepped.process();
        ASSERT_EQ(stepped.integralControlValue(), 1.0);
    }
    double step(double actualValue, double setpoint)
    {
        input->value = actualValue;
        loop.writeSetpoint(setpoint);
        loop.process();
        return loop.readControlValue();
    }

    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>();
    std::shared_ptr<FakeLoopOut> output = std::make_shared<FakeLoopOut>();
    CPIDControlLoop loop;
};

} // namespace

TEST_F(PIDControlLoop, BeginsWithZerosAndItsKind)
{
    CPIDControlLoop fresh;
    EXPECT_EQ(fresh.controlType(), IControlLoop::TypePID);
    EXPECT_EQ(fresh.getTypeName(), "Rvl::CPIDControlLoop");
    EXPECT_EQ(fresh.parameters().data(), std::vector<double>(10, 0.0));
    EXPECT_EQ(fresh.proportionalControlValue(), 0.0);
    EXPECT_EQ(fresh.integralControlValue(), 0.0);
    EXPECT_EQ(fresh.derivativeControlValue(), 0.0);
    EXPECT_EQ(fresh.sampleTime_ms(), 20);
    EXPECT_FALSE(fresh.isEnabled());
}

TEST_F(PIDControlLoop, CoefficientsAreZeroUntilParametersAreSet)
{
    auto& parameters = static_cast<CPIDParameters&>(loop.controlParameters());
    parameters.setTi(1);
    parameters.setTd(1);
    parameters.setK(1);
    parameters.setDerivativeGainLimit(100);
    parameters.setMaxU(100);
    loop.setEnabled(true);
    EXPECT_EQ(step(0, 5), 5.0);
    EXPECT_EQ(step(1, 5), 4.0) << "neither I nor D";
    EXPECT_EQ(loop.integralControlValue(), 0.0);
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
}

TEST_F(PIDControlLoop, ReadsItsConfiguration)
{
    LogCapture log("LocalLogger");
    CPIDControlLoop configured(completePIDLoop());
    EXPECT_TRUE(configured.isEnabled());
    EXPECT_EQ(configured.controlType(), IControlLoop::TypePID);
    EXPECT_EQ(configured.readSetpoint(), 2.0);
    EXPECT_EQ(configured.readControlValue(), 0.0);
    EXPECT_EQ(configured.sampleTime_ms(), 125);
    EXPECT_EQ(configured.parameters().name(), "heater");
    EXPECT_EQ(configured.parameters().getK(), 3.0);
    EXPECT_FALSE(configured.parameters().isImmutable()) << "the flag is not carried over";
    // Tt = 0.8 * 0.75
    EXPECT_THAT(log.lines(), ElementsAre("TRACE m_a0 = [0.208333] m_bIntegral = [0.5]"));
}

TEST_F(PIDControlLoop, ConfigurationIsBumplessUnlessItSaysOtherwise)
{
    for (const auto& [text, expected] : {std::pair<const char*, double>{nullptr, 5.0},
                                         {"true", 5.0},
                                         {"sometimes", 5.0},
                                         {"false", 1.0},
                                         {"0", 1.0}}) {
        ptree tree = completePIDLoop();
        if (text) {
            tree.put("BumplessParameterChange", text);
        }
        CPIDControlLoop configured(tree);
        wire(configured);
        configured.process();
        ASSERT_EQ(configured.integralControlValue(), 1.0);
        CPIDParameters changed = configured.parameters();
        changed.setK(1);
        configured.setParameters(changed);
        EXPECT_EQ(configured.integralControlValue(), expected) << (text ? text : "absent");
    }
}

TEST_F(PIDControlLoop, MissingSwitchOrParametersThrowBadPath)
{
    for (const std::string key : {"Enabled", "PIDParam"}) {
        ptree tree = completePIDLoop();
        tree.erase(key);
        try {
            CPIDControlLoop configured(tree);
            ADD_FAILURE() << key;
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (" + key + ")");
        }
    }
}

TEST_F(PIDControlLoop, SwitchIsReadBeforeTheParameters)
{
    const auto missing = [](const ptree& tree) {
        try {
            CPIDControlLoop configured(tree);
        } catch (const boost::property_tree::ptree_bad_path& error) {
            return std::string(error.what());
        }
        return std::string("nothing was thrown");
    };
    ptree tree;
    EXPECT_EQ(missing(tree), "No such node (Enabled)");
    tree.put("Enabled", "true");
    EXPECT_EQ(missing(tree), "No such node (PIDParam)");
}

TEST_F(PIDControlLoop, UnreadableSwitchThrowsBadData)
{
    ptree tree = completePIDLoop();
    tree.put("Enabled", "maybe");
    EXPECT_THROW(CPIDControlLoop configured(tree), boost::property_tree::ptree_bad_data);
}

TEST_F(PIDControlLoop, StepFollowsTheEquations)
{
    CPIDParameters parameters = someParameters();
    parameters.setTi(0.75); // integral gain 0.5
    parameters.setTd(0.25); // derivative coefficient -(3 * 0.25 / 0.125) = -6
    loop.setParameters(parameters);
    loop.setEnabled(true);
    EXPECT_EQ(step(1, 5), 3.0 * 4 - 6.0);
    EXPECT_EQ(loop.proportionalControlValue(), 12.0);
    EXPECT_EQ(loop.derivativeControlValue(), -6.0);
    EXPECT_EQ(loop.integralControlValue(), 2.0) << "advanced after the output was formed";
    EXPECT_EQ(step(2, 5), 3.0 * 3 - 6.0 + 2.0);
    EXPECT_EQ(loop.integralControlValue(), 3.5);
    EXPECT_THAT(output->written, ElementsAre(6.0, 5.0));
    EXPECT_EQ(input->reads, 2);
}

TEST_F(PIDControlLoop, TermsAreAddedDerivativeFirst)
{
    CPIDParameters parameters = someParameters();
    parameters.setK(1);
    parameters.setMinU(-1e300);
    parameters.setMaxU(1e300);
    parameters.setDerivativeGainLimit(1e300);
    parameters.setTd(0.125);
    parameters.setTi(0.125);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    step(0, 1); // I = 1
    EXPECT_EQ(step(1e16, 2e16), 1.0);
}

TEST_F(PIDControlLoop, UnchangedControlValueIsNotSentAgain)
{
    loop.setParameters(someParameters());
    loop.setEnabled(true);
    step(0, 1);
    step(0, 1);
    EXPECT_THAT(output->written, ElementsAre(3.0));
}

TEST_F(PIDControlLoop, ControlValueIsLimitedAndTheUpperLimitWins)
{
    CPIDParameters parameters = someParameters();
    parameters.setMinU(-10);
    parameters.setMaxU(10);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    EXPECT_EQ(step(0, 100), 10.0);
    EXPECT_EQ(step(0, -100), -10.0);
    parameters.setMinU(10);
    parameters.setMaxU(-10);
    loop.setParameters(parameters);
    EXPECT_EQ(step(0, 0), -10.0);
}

TEST_F(PIDControlLoop, DerivativeIsLimitedOnBothSides)
{
    CPIDParameters parameters = someParameters();
    parameters.setTd(1);
    parameters.setDerivativeGainLimit(7);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    step(5, 5);
    EXPECT_EQ(loop.derivativeControlValue(), -7.0);
    step(0, 0);
    EXPECT_EQ(loop.derivativeControlValue(), 7.0);
    parameters.setDerivativeGainLimit(0);
    loop.setParameters(parameters);
    step(5, 5);
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
}

TEST_F(PIDControlLoop, WithoutTdTheDerivativeLimitDoesNotApply)
{
    CPIDParameters parameters = someParameters();
    parameters.setDerivativeGainLimit(-3);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    EXPECT_EQ(step(2, 2), 0.0);
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
}

TEST_F(PIDControlLoop, SetpointStepDoesNotKick)
{
    CPIDParameters parameters = someParameters();
    parameters.setTd(1);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    step(2, 2);
    step(2, 50);
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
}

TEST_F(PIDControlLoop, IntegralDoesNotRunAwayWhileLimited)
{
    CPIDParameters parameters = someParameters();
    parameters.setTi(0.75);
    parameters.setMaxU(4);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(step(0, 2), 4.0);
    }
    // at rest m_bIntegral e = m_a0 (unlimited - MaxU), with e = 2, P = 6
    const double a0 = 0.125 / 0.6;
    const double unlimited = 4.0 + 0.5 * 2.0 / a0;
    EXPECT_NEAR(loop.integralControlValue(), unlimited - 6.0, 1e-9);
}

TEST_F(PIDControlLoop, WrongNumberOfParametersIsRefused)
{
    bringIntegralToOne(loop);
    const std::vector<double> before = loop.parameters().data();
    for (std::size_t size : {std::size_t{9}, std::size_t{11}, std::size_t{0}}) {
        LogCapture log("ExceptionLogger");
        LogCapture local("LocalLogger");
        try {
            loop.setParameters(CControlParameters("other", std::vector<double>(size, 1.0)));
            ADD_FAILURE() << size;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "Parameters is not of type Rvl::CPIDParameters");
        }
        EXPECT_THAT(log.lines(), ElementsAre("ERROR Exception std::invalid_argument thrown: "
                                             "Parameters is not of type Rvl::CPIDParameters"));
        EXPECT_THAT(local.lines(), IsEmpty());
        EXPECT_EQ(loop.parameters().data(), before);
        EXPECT_EQ(loop.parameters().name(), "P");
        EXPECT_EQ(loop.integralControlValue(), 1.0);
    }
}

TEST_F(PIDControlLoop, WrongNumberIsRefusedWithoutWaitingForTheLock)
{
    EXPECT_TRUE(ignoresLock(
        loop, [&] { EXPECT_THROW(loop.setParameters(CTwoLevelParameters()), std::invalid_argument); }));
}

TEST_F(PIDControlLoop, AnySetOfTenIsTaken)
{
    CControlParameters generic("generic", {1, 2, 3, 4, 5, 6, 7, 8, 9, 50});
    generic.setImmutable(true);
    loop.setParameters(generic);
    EXPECT_EQ(loop.parameters().data(), generic.data());
    EXPECT_EQ(loop.parameters().name(), "generic");
    EXPECT_FALSE(loop.parameters().isImmutable());
    EXPECT_EQ(loop.sampleTime_ms(), 50);
    loop.controlParameters().setName("held");
    EXPECT_EQ(loop.parameters().name(), "held");
}

TEST_F(PIDControlLoop, OwnParametersCanBeSetAgain)
{
    bringIntegralToOne(loop);
    LogCapture log("LocalLogger");
    loop.setParameters(loop.controlParameters());
    EXPECT_EQ(loop.parameters().getK(), 3.0);
    EXPECT_EQ(loop.integralControlValue(), 1.0);
    EXPECT_EQ(log.lines().size(), 1u) << "recalculated and traced though nothing changed";
}

TEST_F(PIDControlLoop, BumplessChangeKeepsPPlusI)
{
    bringIntegralToOne(loop);
    CPIDParameters changed = loop.parameters();
    changed.setK(1);
    loop.setParameters(changed);
    EXPECT_EQ(loop.integralControlValue(), 5.0);
}

TEST_F(PIDControlLoop, ChangeThatIsNotBumplessKeepsTheIntegral)
{
    ptree tree = completePIDLoop();
    tree.put("BumplessParameterChange", "false");
    CPIDControlLoop abrupt(tree);
    wire(abrupt);
    abrupt.process();
    ASSERT_EQ(abrupt.integralControlValue(), 1.0);
    CPIDParameters changed = abrupt.parameters();
    changed.setK(1);
    abrupt.setParameters(changed);
    EXPECT_EQ(abrupt.integralControlValue(), 1.0);
}

TEST_F(PIDControlLoop, WithoutTiNothingIsTracedAndTheIntegralIsKept)
{
    bringIntegralToOne(loop);
    LogCapture log("LocalLogger");
    CPIDParameters changed = loop.parameters();
    changed.setTi(0);
    loop.setParameters(changed);
    EXPECT_THAT(log.lines(), IsEmpty());
    step(0, 7);
    EXPECT_EQ(loop.integralControlValue(), 1.0);
    // the coefficients are 0, not merely unused: seen when Ti comes back behind their back
    static_cast<CPIDParameters&>(loop.controlParameters()).setTi(1);
    static_cast<CPIDParameters&>(loop.controlParameters()).setMaxU(1);
    step(0, 7);
    EXPECT_EQ(loop.integralControlValue(), 1.0);
}

TEST_F(PIDControlLoop, ShortSampleTimeCountsAsTwentyMilliseconds)
{
    LogCapture log("LocalLogger");
    CPIDParameters parameters = someParameters();
    parameters.setSampleTime(5);
    parameters.setTi(1);
    parameters.setTt(2);
    parameters.setTd(1);
    parameters.setDerivativeGainLimit(1e6);
    loop.setParameters(parameters);
    EXPECT_THAT(log.lines(), ElementsAre("TRACE m_a0 = [0.01] m_bIntegral = [0.06]"));
    loop.setEnabled(true);
    step(1, 1);
    EXPECT_EQ(loop.derivativeControlValue(), -(3.0 * 1.0 / 0.02));
}

TEST_F(PIDControlLoop, DisablingWritesDisabledUAndClearsTheTerms)
{
    CPIDParameters parameters = someParameters();
    parameters.setTi(0.75);
    parameters.setTd(0.25);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    step(1, 5);
    loop.setEnabled(false);
    EXPECT_EQ(output->written.back(), -1.0);
    EXPECT_EQ(loop.readControlValue(), -1.0);
    EXPECT_EQ(loop.proportionalControlValue(), 0.0);
    EXPECT_EQ(loop.integralControlValue(), 0.0);
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
    loop.setEnabled(true);
    EXPECT_EQ(step(1, 5), 12.0) << "no integral left, and D against the value of before, not against 0";
}

TEST_F(PIDControlLoop, EachDisablingCallClearsTheTerms)
{
    bringIntegralToOne(loop);
    loop.setEnabled(false);
    // while disabled, a bumpless change still moves the integral
    CPIDParameters changed = loop.parameters();
    changed.setK(1);
    loop.setParameters(changed);
    ASSERT_EQ(loop.integralControlValue(), 4.0);
    const std::size_t writes = output->written.size();
    loop.setEnabled(false);
    EXPECT_EQ(loop.integralControlValue(), 0.0);
    EXPECT_EQ(output->written.size(), writes);
    loop.setParameters(someParameters());
    ASSERT_NE(loop.integralControlValue(), 0.0);
    loop.init();
    EXPECT_EQ(loop.integralControlValue(), 0.0) << "init() of a disabled loop is a disabling call";
}

TEST_F(PIDControlLoop, FixedValueClearsTheTermsInEveryMode)
{
    bringIntegralToOne(loop);
    const std::size_t writes = output->written.size();
    loop.writeFixedControlValue(9.0);
    EXPECT_EQ(loop.integralControlValue(), 0.0);
    EXPECT_EQ(loop.proportionalControlValue(), 0.0);
    EXPECT_EQ(output->written.size(), writes);
    loop.setManualMode(true);
    EXPECT_EQ(output->written.back(), 9.0);
    EXPECT_EQ(loop.readControlValue(), 9.0);
}

TEST_F(PIDControlLoop, ChangeOfModeClearsTheTerms)
{
    for (const bool manual : {true, false}) {
        CPIDControlLoop changing;
        wire(changing);
        bringIntegralToOne(changing);
        changing.setManualMode(manual);
        EXPECT_EQ(changing.integralControlValue(), 0.0) << manual;
        EXPECT_EQ(changing.proportionalControlValue(), 0.0) << manual;
    }
}

TEST_F(PIDControlLoop, EnablingClearsTheTerms)
{
    bringIntegralToOne(loop);
    loop.setEnabled(false);
    CPIDParameters changed = loop.parameters();
    changed.setK(1);
    loop.setParameters(changed);
    ASSERT_EQ(loop.integralControlValue(), 4.0);
    loop.setEnabled(true);
    EXPECT_EQ(loop.integralControlValue(), 0.0);
}

TEST_F(PIDControlLoop, ActualValueIsReadFreshly)
{
    input->value = 4.0;
    EXPECT_EQ(loop.actualValue(), 4.0);
    input->value = 5.0;
    EXPECT_EQ(loop.actualValue(), 5.0);
    EXPECT_EQ(input->reads, 2);
}

TEST_F(PIDControlLoop, WithoutInputItCalculatesNothing)
{
    loop.setParameters(someParameters());
    loop.writeSetpoint(5);
    loop.setInput(nullptr);
    loop.setEnabled(true);
    loop.process();
    EXPECT_TRUE(std::isnan(loop.actualValue()));
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_EQ(loop.readControlValue(), 0.0);
}

TEST_F(PIDControlLoop, WithoutOutputItCalculates)
{
    loop.setParameters(someParameters());
    loop.setOutput(nullptr);
    loop.setEnabled(true);
    EXPECT_EQ(step(0, 2), 6.0);
}

TEST_F(PIDControlLoop, ErrorsOfInputAndOutputPass)
{
    bringIntegralToOne(loop);
    input->onRead = [] { throw std::runtime_error("input"); };
    EXPECT_THROW(loop.process(), std::runtime_error);
    EXPECT_TRUE(isUnlocked(loop));
    input->onRead = nullptr;
    output->onWrite = [] { throw std::runtime_error("output"); };
    EXPECT_THROW(step(0, 9), std::runtime_error);
    EXPECT_EQ(loop.proportionalControlValue(), 27.0) << "the step had come that far";
    EXPECT_TRUE(isUnlocked(loop));
}

TEST_F(PIDControlLoop, GuardedOperationsWaitForTheLock)
{
    loop.setParameters(someParameters());
    const std::vector<std::pair<const char*, std::function<void()>>> operations = {
        {"setParameters", [&] { loop.setParameters(someParameters()); }},
        {"setEnabled", [&] { loop.setEnabled(true); }},
        {"isEnabled", [&] { loop.isEnabled(); }},
        {"writeFixedControlValue", [&] { loop.writeFixedControlValue(1.0); }},
        {"actualValue", [&] { loop.actualValue(); }},
        {"proportionalControlValue", [&] { loop.proportionalControlValue(); }},
        {"integralControlValue", [&] { loop.integralControlValue(); }},
        {"derivativeControlValue", [&] { loop.derivativeControlValue(); }},
        {"sampleTime_ms", [&] { loop.sampleTime_ms(); }},
        {"process", [&] { loop.process(); }},
    };
    for (const auto& [name, operation] : operations) {
        EXPECT_TRUE(waitsForLock(loop, operation)) << name;
    }
    EXPECT_TRUE(ignoresLock(loop, [&] {
        loop.controlParameters();
        loop.parameters();
        loop.getTypeName();
    }));
}

TEST_F(PIDControlLoop, TermsAreResetUnderTheLock)
{
    bringIntegralToOne(loop);
    loop.lockAccess();
    std::future<void> other = std::async(std::launch::async, [&] { loop.writeFixedControlValue(5); });
    EXPECT_EQ(other.wait_for(std::chrono::milliseconds(40)), std::future_status::timeout);
    EXPECT_EQ(loop.integralControlValue(), 1.0);
    loop.unlockAccess();
    other.get();
    EXPECT_EQ(loop.integralControlValue(), 0.0);
}

TEST_F(PIDControlLoop, CopyGoesOnFromTheSameStateWithALockOfItsOwn)
{
    bringIntegralToOne(loop);
    loop.write(2.0); // last written value as an output
    CPIDControlLoop copy(loop);
    CPIDControlLoop assigned;
    assigned = loop;
    for (CPIDControlLoop* other : {&copy, &assigned}) {
        EXPECT_EQ(other->controlType(), IControlLoop::TypePID);
        EXPECT_TRUE(other->isEnabled());
        EXPECT_EQ(other->readSetpoint(), 2.0);
        EXPECT_EQ(other->readControlValue(), 6.0);
        EXPECT_EQ(other->integralControlValue(), 1.0);
        EXPECT_EQ(other->proportionalControlValue(), 6.0);
        EXPECT_EQ(other->parameters().data(), loop.parameters().data());
        EXPECT_EQ(other->inputElement(), loop.inputElement());
        EXPECT_EQ(other->outputElement(), loop.outputElement());
        EXPECT_TRUE(ignoresLock(loop, [&] { other->process(); }));
        EXPECT_EQ(other->readControlValue(), 7.0);
        other->writeSetpoint(3.0);
        other->write(2.0);
        EXPECT_EQ(other->readSetpoint(), 3.0) << "the filter's last value was copied as well";
    }
    EXPECT_EQ(loop.integralControlValue(), 1.0);
    EXPECT_EQ(loop.readSetpoint(), 2.0);
}

TEST_F(PIDControlLoop, CopiesAreInManualModeIfTheOriginalIs)
{
    loop.setParameters(someParameters());
    loop.setManualMode(true);
    loop.writeFixedControlValue(4.0);
    CPIDControlLoop copy(loop);
    CPIDControlLoop assigned;
    assigned = loop;
    for (CPIDControlLoop* other : {&copy, &assigned}) {
        other->setEnabled(true);
        EXPECT_EQ(other->readControlValue(), 4.0);
        other->process();
        EXPECT_EQ(other->readControlValue(), 4.0);
    }
}

TEST_F(PIDControlLoop, CopySharesTheListeners)
{
    FakeValueListener listener;
    loop.addActualValueListener(&listener);
    CPIDControlLoop copy(loop);
    copy.process();
    EXPECT_EQ(listener.values.size(), 1u);
    CPIDControlLoop assigned;
    assigned = loop;
    assigned.process();
    EXPECT_EQ(listener.values.size(), 2u);
}

TEST(PIDControlLoopFactory, BuildsPIDLoops)
{
    CPIDControlLoopFactory factory;
    EXPECT_EQ(factory.getTypeName(), "Rvl::CPIDControlLoop");
    const std::unique_ptr<IControlLoop> loop(factory.createObject(completePIDLoop()));
    ASSERT_NE(dynamic_cast<CPIDControlLoop*>(loop.get()), nullptr);
    EXPECT_EQ(loop->readSetpoint(), 2.0);
    EXPECT_EQ(loop->getTypeName(), factory.getTypeName());
}

TEST(PIDControlLoopFactory, ErrorsOfTheConfigurationPassUnlogged)
{
    CPIDControlLoopFactory factory;
    LogCapture log("ExceptionLogger");
    EXPECT_THROW(factory.createObject(ptree()), boost::property_tree::ptree_bad_path);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PIDControlLoop, ResumedStepGivesTheControlValueThatIsThere)
{
    bringIntegralToOne(loop);
    loop.driveControlValue(100);
    loop.resume(-4);
    EXPECT_EQ(step(-4, 2), 100.0) << "I = 100 - 3 * 6";
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
}

TEST_F(PIDControlLoop, ResumedStepKeepsToTheLimits)
{
    bringIntegralToOne(loop);
    loop.driveControlValue(5000);
    loop.resume(-4);
    EXPECT_EQ(step(-4, 2), 1000.0);
    EXPECT_EQ(loop.integralControlValue(), 1000.0 - 18.0 + 3.0) << "nothing was left over to be limited";
}

TEST_F(PIDControlLoop, ResumeBeginsTheDerivativeAtZero)
{
    CPIDParameters parameters = someParameters();
    parameters.setTd(1);
    loop.setParameters(parameters);
    loop.setEnabled(true);
    step(1, 0);
    loop.resume(9);
    step(9, 0);
    EXPECT_EQ(loop.derivativeControlValue(), 0.0);
}

TEST_F(PIDControlLoop, ResumeWithoutAnIntegralTimeLeavesTheIntegralAlone)
{
    bringIntegralToOne(loop);
    loop.setParameters(someParameters());
    const double integral = loop.integralControlValue();
    loop.driveControlValue(100);
    loop.resume(0);
    EXPECT_EQ(loop.integralControlValue(), integral);
}
