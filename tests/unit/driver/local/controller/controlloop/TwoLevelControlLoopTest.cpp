#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"

#include "driver/local/controller/controlloop/ConditionalParameters.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoopFactory.h"
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

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Set point 10, band 8 to 13, Up 100, Down 0, disabled at Down.
ptree completeTwoLevelLoop()
{
    ptree tree;
    tree.put("Parameters.<xmlattr>.SampleTime_ms", "250");
    tree.put("Parameters.<xmlattr>.Setpoint", "10");
    tree.put("Parameters.<xmlattr>.LowerThreshold", "2");
    tree.put("Parameters.<xmlattr>.UpperThreshold", "3");
    tree.put("Parameters.<xmlattr>.U_Up", "100");
    tree.put("Parameters.<xmlattr>.U_Down", "0");
    tree.put("Parameters.<xmlattr>.U_Disabled", "0");
    return tree;
}

class TwoLevelControlLoop : public testing::Test
{
protected:
    void build(const ptree& tree = completeTwoLevelLoop())
    {
        loop = std::make_unique<CTwoLevelControlLoop>(tree);
        loop->setInput(input);
        loop->setOutput(output);
        loop->setEnabled(true);
    }
    void step(double actualValue)
    {
        input->value = actualValue;
        loop->process();
    }

    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>();
    std::shared_ptr<FakeLoopOut> output = std::make_shared<FakeLoopOut>();
    std::unique_ptr<CTwoLevelControlLoop> loop;
};

} // namespace

TEST_F(TwoLevelControlLoop, ReadsItsConfiguration)
{
    ptree tree = completeTwoLevelLoop();
    tree.put("Parameters.<xmlattr>.U_Disabled", "0.5");
    tree.put("Parameters.<xmlattr>.Setpoint", "10.5");
    tree.put("Parameters.<xmlattr>.LowerThreshold", "2.5");
    tree.put("Parameters.<xmlattr>.UpperThreshold", "3.5");
    CTwoLevelControlLoop configured(tree);
    EXPECT_EQ(configured.controlType(), IControlLoop::TypeTwoLevel);
    EXPECT_EQ(configured.getTypeName(), "Rvl::CTwoLevelControlLoop");
    EXPECT_THAT(configured.parameters().data(), ElementsAre(3.5, 2.5, 100, 0, 0.5, 10.5, 250));
    EXPECT_EQ(configured.readControlValue(), 0.5);
    EXPECT_EQ(configured.readSetpoint(), 10.5);
    EXPECT_EQ(configured.sampleTime_ms(), 250);
    EXPECT_FALSE(configured.isEnabled());
    configured.controlParameters().setName("held");
    EXPECT_EQ(configured.parameters().name(), "held");
}

TEST_F(TwoLevelControlLoop, EveryKeyIsRequired)
{
    for (const std::string key :
         {"SampleTime_ms", "Setpoint", "LowerThreshold", "UpperThreshold", "U_Up", "U_Down", "U_Disabled"}) {
        ptree tree = completeTwoLevelLoop();
        tree.get_child("Parameters.<xmlattr>").erase(key);
        try {
            CTwoLevelControlLoop configured(tree);
            ADD_FAILURE() << key;
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (Parameters.<xmlattr>." + key + ")");
        }
        tree.put("Parameters.<xmlattr>." + key, "much");
        EXPECT_THROW(CTwoLevelControlLoop configured(tree), boost::property_tree::ptree_bad_data) << key;
    }
}

TEST_F(TwoLevelControlLoop, FirstMissingKeyInReadingOrderIsReported)
{
    ptree tree;
    for (const std::string key :
         {"SampleTime_ms", "Setpoint", "LowerThreshold", "UpperThreshold", "U_Up", "U_Down", "U_Disabled"}) {
        try {
            CTwoLevelControlLoop configured(tree);
            ADD_FAILURE() << key;
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (Parameters.<xmlattr>." + key + ")");
        }
        tree.put("Parameters.<xmlattr>." + key, "1");
    }
    EXPECT_NO_THROW(CTwoLevelControlLoop configured(tree));
}

TEST_F(TwoLevelControlLoop, SwitchingValuesMustBeWhole)
{
    for (const std::string key : {"U_Up", "U_Down", "SampleTime_ms"}) {
        ptree tree = completeTwoLevelLoop();
        tree.put("Parameters.<xmlattr>." + key, "0.5");
        EXPECT_THROW(CTwoLevelControlLoop configured(tree), boost::property_tree::ptree_bad_data) << key;
    }
}

TEST_F(TwoLevelControlLoop, SwitchesOutsideTheBand)
{
    build();
    step(7.9);
    EXPECT_EQ(loop->readControlValue(), 100.0);
    step(10);
    step(13.1);
    EXPECT_EQ(loop->readControlValue(), 0.0);
    step(10);
    step(7.9);
    EXPECT_THAT(output->written, ElementsAre(100.0, 0.0, 100.0));
}

TEST_F(TwoLevelControlLoop, EndsOfTheBandDoNotSwitch)
{
    build();
    step(8);
    EXPECT_THAT(output->written, IsEmpty());
    step(7);
    step(13);
    EXPECT_THAT(output->written, ElementsAre(100.0));
}

TEST_F(TwoLevelControlLoop, NaNNeverSwitches)
{
    build();
    step(std::nan(""));
    EXPECT_EQ(loop->readControlValue(), 0.0);
    step(7);
    step(std::nan(""));
    EXPECT_EQ(loop->readControlValue(), 100.0);
    EXPECT_THAT(output->written, ElementsAre(100.0));
}

TEST_F(TwoLevelControlLoop, ControlValueThatIsNeitherLeavesTheLoopInert)
{
    ptree tree = completeTwoLevelLoop();
    tree.put("Parameters.<xmlattr>.U_Disabled", "50");
    build(tree);
    step(-1000);
    step(1000);
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_EQ(input->reads, 0);
    EXPECT_EQ(loop->readControlValue(), 50.0);

    loop->writeFixedControlValue(100);
    loop->setManualMode(true);
    loop->setManualMode(false);
    step(1000);
    EXPECT_THAT(output->written, ElementsAre(100.0, 0.0)) << "a fixed value of Up brought it to life";
}

TEST_F(TwoLevelControlLoop, DisablingToAnotherValueMakesItInertAgain)
{
    ptree tree = completeTwoLevelLoop();
    build(tree);
    step(7);
    static_cast<CTwoLevelParameters&>(loop->controlParameters()).setDisabledU(50);
    loop->setEnabled(false);
    loop->setEnabled(true);
    step(7);
    EXPECT_THAT(output->written, ElementsAre(100.0, 50.0));
}

TEST_F(TwoLevelControlLoop, NegativeOffsetsSwitchThereAndBackInOneStep)
{
    ptree tree = completeTwoLevelLoop();
    tree.put("Parameters.<xmlattr>.LowerThreshold", "-2"); // S - Lo = 12
    tree.put("Parameters.<xmlattr>.UpperThreshold", "-3"); // S + Hi = 7
    build(tree);
    step(5); // Up
    output->written.clear();
    input->reads = 0;
    step(10);
    EXPECT_THAT(output->written, ElementsAre(0.0, 100.0));
    EXPECT_EQ(input->reads, 2) << "the input is read anew for the second comparison";
    EXPECT_EQ(loop->readControlValue(), 100.0);
}

TEST_F(TwoLevelControlLoop, EqualSwitchingValuesTakeBothComparisons)
{
    ptree tree = completeTwoLevelLoop();
    tree.put("Parameters.<xmlattr>.U_Up", "0");
    build(tree);
    step(10);
    EXPECT_EQ(input->reads, 2);
    EXPECT_THAT(output->written, IsEmpty());
    step(100);
    EXPECT_THAT(output->written, ElementsAre(0.0));
}

TEST_F(TwoLevelControlLoop, SecondReadDecidesTheSecondComparison)
{
    build();
    step(7); // Up
    output->written.clear();
    input->value = 20;
    input->reads = 0;
    input->onRead = [&] { input->value = input->reads == 1 ? 20.0 : 1.0; };
    loop->process();
    EXPECT_THAT(output->written, ElementsAre(0.0, 100.0));
}

TEST_F(TwoLevelControlLoop, SetpointIsReadAfreshEachStep)
{
    build();
    step(9);
    EXPECT_THAT(output->written, IsEmpty());
    loop->writeSetpoint(20);
    step(9);
    EXPECT_THAT(output->written, ElementsAre(100.0));
}

TEST_F(TwoLevelControlLoop, NewParametersTakeEffectInTheNextStep)
{
    build();
    CTwoLevelParameters changed = loop->parameters();
    changed.setName("changed");
    changed.setLowerThresholdOffset(0.5);
    changed.setSampleTime(40);
    loop->setParameters(changed);
    EXPECT_EQ(loop->parameters().name(), "changed");
    EXPECT_EQ(loop->sampleTime_ms(), 40);
    step(9);
    EXPECT_THAT(output->written, ElementsAre(100.0));
    changed.setUpperThresholdOffset(0.5);
    loop->setParameters(static_cast<const CControlParameters&>(changed));
    step(11);
    EXPECT_THAT(output->written, ElementsAre(100.0, 0.0));
}

TEST_F(TwoLevelControlLoop, NewParametersBringTheirImmutableFlag)
{
    build();
    CTwoLevelParameters parameters = loop->parameters();
    parameters.setImmutable(true);
    loop->setParameters(static_cast<const CControlParameters&>(parameters));
    EXPECT_TRUE(loop->parameters().isImmutable());
    parameters.setImmutable(false);
    loop->setParameters(parameters);
    EXPECT_FALSE(loop->parameters().isImmutable());
}

TEST_F(TwoLevelControlLoop, ParametersOfAnotherKindAreRefused)
{
    build();
    const std::vector<double> before = loop->parameters().data();
    LogCapture log("ExceptionLogger");
    const CControlParameters generic("generic", before);
    const CConditionalParameters conditional;
    for (const CControlParameters* wrong : {&generic, static_cast<const CControlParameters*>(&conditional)}) {
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
        EXPECT_EQ(loop->parameters().name(), "");
    }
}

TEST_F(TwoLevelControlLoop, ValuesAndParametersAreUsedUnderTheLock)
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

TEST_F(TwoLevelControlLoop, WithoutInputItNeverSwitches)
{
    build();
    loop->setInput(nullptr);
    loop->process();
    EXPECT_THAT(output->written, IsEmpty());
    EXPECT_TRUE(std::isnan(loop->actualValue()));
}

TEST_F(TwoLevelControlLoop, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CTwoLevelControlLoop>);
    EXPECT_FALSE(std::is_copy_assignable_v<CTwoLevelControlLoop>);
}

TEST(TwoLevelControlLoopFactory, BuildsTwoLevelLoops)
{
    CTwoLevelControlLoopFactory factory;
    EXPECT_EQ(factory.getTypeName(), "Rvl::CTwoLevelControlLoop");
    const std::unique_ptr<IControlLoop> loop(factory.createObject(completeTwoLevelLoop()));
    ASSERT_NE(dynamic_cast<CTwoLevelControlLoop*>(loop.get()), nullptr);
    EXPECT_EQ(loop->getTypeName(), factory.getTypeName());
    EXPECT_EQ(loop->readSetpoint(), 10.0);
}

TEST_F(TwoLevelControlLoop, ResumeReplacesOnlyAControlValueThatIsNeitherUpNorDown)
{
    build();
    loop->driveControlValue(100);
    loop->resume(0);
    EXPECT_THAT(output->written, ElementsAre(100.0));
    loop->driveControlValue(30);
    loop->resume(0);
    EXPECT_THAT(output->written, ElementsAre(100.0, 30.0, 0.0));
    EXPECT_EQ(loop->readControlValue(), 0.0);
}
