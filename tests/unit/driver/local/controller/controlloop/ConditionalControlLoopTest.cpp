#include "driver/local/controller/controlloop/ConditionalControlLoop.h"

#include "driver/local/controller/controlloop/ConditionalControlLoopFactory.h"
#include "driver/local/controller/controlloop/TwoLevelParameters.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/LockProbe.h"
#include "tests/support/LogCapture.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr double inside = 50.0;
constexpr double disabledU = -1.0;
constexpr double setpoint = 5.0;

/// Range 0 to 100, threshold 10.
ptree completeConditionalLoop()
{
    ptree tree;
    tree.put("Parameters.<xmlattr>.SampleTime_ms", "250");
    tree.put("Parameters.<xmlattr>.Setpoint", "5");
    tree.put("Parameters.<xmlattr>.LowerLimit", "0");
    tree.put("Parameters.<xmlattr>.UpperLimit", "100");
    tree.put("Parameters.<xmlattr>.Threshold", "10");
    tree.put("Parameters.<xmlattr>.U_Disabled", "-1");
    return tree;
}

class ConditionalControlLoop : public testing::Test
{
protected:
    void build(const ptree& tree = completeConditionalLoop())
    {
        loop = std::make_unique<CConditionalControlLoop>(tree);
        loop->setInput(input);
        loop->setOutput(output);
        loop->setEnabled(true);
    }
    double step(double actualValue)
    {
        input->value = actualValue;
        loop->process();
        return loop->readControlValue();
    }

    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>();
    std::shared_ptr<FakeLoopOut> output = std::make_shared<FakeLoopOut>();
    std::unique_ptr<CConditionalControlLoop> loop;
};

} // namespace

TEST_F(ConditionalControlLoop, ReadsItsConfiguration)
{
    ptree tree = completeConditionalLoop();
    tree.put("Parameters.<xmlattr>.Setpoint", "5.5");
    CConditionalControlLoop configured(tree);
    EXPECT_EQ(configured.controlType(), IControlLoop::TypeConditional);
    EXPECT_EQ(configured.getTypeName(), "Rvl::CConditional");
    EXPECT_THAT(configured.parameters().data(), ElementsAre(100, 0, 10, 0, -1, 0, 5.5, 250));
    EXPECT_EQ(configured.readSetpoint(), 5.5);
    EXPECT_EQ(configured.readControlValue(), 0.0);
    EXPECT_EQ(configured.sampleTime_ms(), 250);
    EXPECT_FALSE(configured.isEnabled());
    configured.controlParameters().setName("held");
    EXPECT_EQ(configured.parameters().name(), "held");
}

TEST_F(ConditionalControlLoop, LimitsAndThresholdMayBeAbsent)
{
    ptree tree = completeConditionalLoop();
    for (const std::string key : {"LowerLimit", "UpperLimit", "Threshold"}) {
        tree.get_child("Parameters.<xmlattr>").erase(key);
    }
    const CConditionalParameters parameters = CConditionalControlLoop(tree).parameters();
    EXPECT_EQ(parameters.getLowerLimit(), 4294967295.0);
    EXPECT_EQ(parameters.getUpperLimit(), 4294967295.0);
    EXPECT_EQ(parameters.getThreshold(), 0.0);
}

TEST_F(ConditionalControlLoop, OtherKeysAreRequired)
{
    for (const std::string key : {"SampleTime_ms", "Setpoint", "U_Disabled"}) {
        ptree tree = completeConditionalLoop();
        tree.get_child("Parameters.<xmlattr>").erase(key);
        try {
            CConditionalControlLoop configured(tree);
            ADD_FAILURE() << key;
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (Parameters.<xmlattr>." + key + ")");
        }
    }
}

TEST_F(ConditionalControlLoop, FirstMissingKeyInReadingOrderIsReported)
{
    ptree tree;
    for (const std::string key : {"SampleTime_ms", "Setpoint", "U_Disabled"}) {
        try {
            CConditionalControlLoop configured(tree);
            ADD_FAILURE() << key;
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (Parameters.<xmlattr>." + key + ")");
        }
        tree.put("Parameters.<xmlattr>." + key, "1");
    }
    EXPECT_NO_THROW(CConditionalControlLoop configured(tree));
}

TEST_F(ConditionalControlLoop, FirstUnreadableValueInReadingOrderIsReported)
{
    const std::vector<std::string> keys = {"SampleTime_ms", "Setpoint",  "LowerLimit",
                                           "UpperLimit",    "Threshold", "U_Disabled"};
    ptree tree;
    for (const std::string& key : keys) {
        tree.put("Parameters.<xmlattr>." + key, key);
    }
    for (const std::string& key : keys) {
        try {
            CConditionalControlLoop configured(tree);
            ADD_FAILURE() << key;
        } catch (const boost::property_tree::ptree_bad_data& error) {
            EXPECT_EQ(error.data<std::string>(), key);
        }
        tree.put("Parameters.<xmlattr>." + key, "1");
    }
    EXPECT_NO_THROW(CConditionalControlLoop configured(tree));
}

TEST_F(ConditionalControlLoop, UnreadableValuesThrowBadData)
{
    for (const std::string key :
         {"SampleTime_ms", "Setpoint", "LowerLimit", "UpperLimit", "Threshold", "U_Disabled"}) {
        ptree tree = completeConditionalLoop();
        tree.put("Parameters.<xmlattr>." + key, "much");
        EXPECT_THROW(CConditionalControlLoop configured(tree), boost::property_tree::ptree_bad_data) << key;
    }
}

TEST_F(ConditionalControlLoop, DisabledValueMustBeWhole)
{
    ptree tree = completeConditionalLoop();
    tree.put("Parameters.<xmlattr>.U_Disabled", "1.5");
    EXPECT_THROW(CConditionalControlLoop configured(tree), boost::property_tree::ptree_bad_data);
}

TEST_F(ConditionalControlLoop, PassesTheSetpointInsideTheRange)
{
    build();
    EXPECT_EQ(step(inside), setpoint);
    loop->writeSetpoint(6);
    EXPECT_EQ(step(inside), 6.0);
    EXPECT_EQ(step(inside), 6.0);
    EXPECT_THAT(output->written, ElementsAre(setpoint, 6.0));
    EXPECT_EQ(input->reads, 3) << "one read for each step";
}

TEST_F(ConditionalControlLoop, EndsOfTheRangeAreInside)
{
    build();
    EXPECT_EQ(step(100), setpoint);
    EXPECT_EQ(step(0), setpoint);
    EXPECT_EQ(step(std::nextafter(100.0, 200.0)), disabledU);
}

TEST_F(ConditionalControlLoop, SmallestStepBelowTheLowerLimitIsOutside)
{
    build();
    EXPECT_EQ(step(std::nextafter(0.0, -1.0)), disabledU);
}

TEST_F(ConditionalControlLoop, ThresholdPlaysNoPartBeforeTheFirstExcursion)
{
    build();
    EXPECT_EQ(step(95), setpoint);
    EXPECT_EQ(step(5), setpoint);
}

TEST_F(ConditionalControlLoop, AfterAnExcursionAboveItReturnsBelowTheThreshold)
{
    build();
    EXPECT_EQ(step(101), disabledU);
    EXPECT_EQ(step(95), disabledU);
    EXPECT_EQ(step(90), disabledU) << "U - T itself is not yet back";
    EXPECT_EQ(step(89.9), setpoint);
    EXPECT_EQ(step(95), setpoint) << "back inside, the band counts no more";
}

TEST_F(ConditionalControlLoop, AfterAnExcursionBelowItReturnsAboveTheThreshold)
{
    build();
    EXPECT_EQ(step(-1), disabledU);
    EXPECT_EQ(step(10), disabledU);
    EXPECT_EQ(step(10.1), setpoint);
}

TEST_F(ConditionalControlLoop, ReturnFromAboveMustNotOvershootTheLowerBand)
{
    build();
    step(101);
    EXPECT_EQ(step(5), disabledU);
    EXPECT_EQ(step(50), setpoint);
}

TEST_F(ConditionalControlLoop, WithoutThresholdJustInsideIsBack)
{
    ptree tree = completeConditionalLoop();
    tree.put("Parameters.<xmlattr>.Threshold", "0");
    build(tree);
    step(101);
    EXPECT_EQ(step(100), disabledU) << "the limit itself is inside, but not back";
    EXPECT_EQ(step(99.9), setpoint);
}

TEST_F(ConditionalControlLoop, WithoutLimitsItAlwaysPassesTheSetpoint)
{
    ptree tree = completeConditionalLoop();
    tree.get_child("Parameters.<xmlattr>").erase("LowerLimit");
    tree.get_child("Parameters.<xmlattr>").erase("UpperLimit");
    build(tree);
    EXPECT_EQ(step(1e300), setpoint);
    EXPECT_EQ(step(-1e300), setpoint);
    EXPECT_EQ(step(std::nan("")), setpoint);
}

TEST_F(ConditionalControlLoop, NoLimitNeverTrips)
{
    ptree tree = completeConditionalLoop();
    tree.put("Parameters.<xmlattr>.UpperLimit", "4294967295");
    build(tree);
    EXPECT_EQ(step(5e9), setpoint);
    EXPECT_EQ(step(-1), disabledU);
    EXPECT_EQ(step(5e9), setpoint) << "nor does it hinder the return";

    tree = completeConditionalLoop();
    tree.put("Parameters.<xmlattr>.LowerLimit", "4294967295");
    build(tree);
    EXPECT_EQ(step(-1e9), setpoint);
    EXPECT_EQ(step(101), disabledU);
    EXPECT_EQ(step(-1e9), setpoint);
}

TEST_F(ConditionalControlLoop, NaNKeepsTheStateItMeets)
{
    build();
    EXPECT_EQ(step(std::nan("")), setpoint);
    step(101);
    EXPECT_EQ(step(std::nan("")), disabledU);
    // with no limits left it counts as back
    CConditionalParameters unlimited = loop->parameters();
    unlimited.setLowerLimit(CConditionalParameters::NoLimit);
    loop->setParameters(unlimited);
    EXPECT_EQ(step(std::nan("")), disabledU) << "one limit is left";
    unlimited.setUpperLimit(CConditionalParameters::NoLimit);
    loop->setParameters(unlimited);
    EXPECT_EQ(step(std::nan("")), setpoint);
}

TEST_F(ConditionalControlLoop, RepeatedValueReachesTheOutputOnce)
{
    build();
    step(101);
    step(102);
    step(103);
    EXPECT_THAT(output->written, ElementsAre(disabledU));
}

TEST_F(ConditionalControlLoop, NewParametersBringTheirImmutableFlag)
{
    build();
    CConditionalParameters parameters = loop->parameters();
    parameters.setImmutable(true);
    loop->setParameters(static_cast<const CControlParameters&>(parameters));
    EXPECT_TRUE(loop->parameters().isImmutable());
    parameters.setImmutable(false);
    loop->setParameters(parameters);
    EXPECT_FALSE(loop->parameters().isImmutable());
}

TEST_F(ConditionalControlLoop, ParametersOfAnotherKindAreRefusedInTheTwoLevelLoopsWords)
{
    build();
    const std::vector<double> before = loop->parameters().data();
    LogCapture log("ExceptionLogger");
    const CControlParameters generic("generic", before);
    const CTwoLevelParameters twoLevel;
    for (const CControlParameters* wrong : {&generic, static_cast<const CControlParameters*>(&twoLevel)}) {
        log.clear();
        try {
            loop->setParameters(*wrong);
            ADD_FAILURE();
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "Parameters is not of type Rvl::CTwoLevelParameters");
        }
        EXPECT_THAT(log.lines(), ElementsAre("ERROR Exception std::invalid_argument thrown: "
                                             "Parameters is not of type Rvl::CTwoLevelParameters"));
        EXPECT_EQ(loop->parameters().data(), before);
    }
}

TEST_F(ConditionalControlLoop, NewParametersTakeEffectInTheNextStep)
{
    build();
    CConditionalParameters changed = loop->parameters();
    changed.setName("changed");
    changed.setUpperLimit(40);
    changed.setSampleTime(40);
    loop->setParameters(static_cast<const CControlParameters&>(changed));
    EXPECT_EQ(loop->parameters().name(), "changed");
    EXPECT_EQ(loop->sampleTime_ms(), 40);
    EXPECT_EQ(step(inside), disabledU);
}

TEST_F(ConditionalControlLoop, DisablingWritesTheDisabledValue)
{
    build();
    step(inside);
    loop->setEnabled(false);
    EXPECT_THAT(output->written, ElementsAre(setpoint, disabledU));
}

TEST_F(ConditionalControlLoop, ValuesAndParametersAreUsedUnderTheLock)
{
    build();
    input->value = 4;
    EXPECT_EQ(loop->actualValue(), 4.0);
    EXPECT_TRUE(waitsForLock(*loop, [&] { loop->actualValue(); }));
    EXPECT_TRUE(waitsForLock(*loop, [&] { loop->sampleTime_ms(); }));
    EXPECT_TRUE(waitsForLock(*loop, [&] { loop->setParameters(loop->parameters()); }));
    EXPECT_TRUE(waitsForLock(
        *loop, [&] { loop->setParameters(static_cast<const CControlParameters&>(loop->parameters())); }));
}

TEST_F(ConditionalControlLoop, WithoutInputItWritesNothing)
{
    build();
    loop->setInput(nullptr);
    loop->process();
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_TRUE(std::isnan(loop->actualValue()));
}

TEST_F(ConditionalControlLoop, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CConditionalControlLoop>);
    EXPECT_FALSE(std::is_copy_assignable_v<CConditionalControlLoop>);
}

TEST(ConditionalControlLoopFactory, BuildsConditionalLoopsUnderItsOwnName)
{
    CConditionalControlLoopFactory factory;
    EXPECT_EQ(factory.getTypeName(), "Rvl::CConditionalControlLoop");
    const std::unique_ptr<IControlLoop> loop(factory.createObject(completeConditionalLoop()));
    ASSERT_NE(dynamic_cast<CConditionalControlLoop*>(loop.get()), nullptr);
    EXPECT_EQ(loop->getTypeName(), "Rvl::CConditional");
}
