#include "driver/local/controller/controlloop/PT1Element.h"

#include "driver/local/controller/controlloop/PT1ElementFactory.h"
#include "tests/support/LockProbe.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <thread>

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;

namespace {

int testTick_ms;

ptree withTimeConstant(const char* text)
{
    ptree tree;
    tree.put("TimeConstant_s", text);
    return tree;
}

/// The tick stands still but for what the test adds.
class PT1Element : public testing::Test
{
protected:
    PT1Element()
    {
        testTick_ms = 1000;
        CPT1Element::setTickFunction([] { return testTick_ms; });
    }
    ~PT1Element() override { CPT1Element::setTickFunction(nullptr); }
};

} // namespace

TEST_F(PT1Element, StepResponseIsExactForTheFirstRead)
{
    CPT1Element element(withTimeConstant("2"));
    element.write(10);
    testTick_ms += 500;
    EXPECT_DOUBLE_EQ(element.readInputValue(), 10 * (1 - std::exp(-0.25)));
}

TEST_F(PT1Element, TimeConstantIsOneSecondIfAbsent)
{
    CPT1Element element{ptree()};
    element.write(1);
    testTick_ms += 1000;
    EXPECT_DOUBLE_EQ(element.readInputValue(), 1 - std::exp(-1.0));
}

TEST_F(PT1Element, TimeConstantIsAnElementAndNoAttribute)
{
    ptree tree;
    tree.put("<xmlattr>.TimeConstant_s", "100");
    CPT1Element element(tree);
    element.write(1);
    testTick_ms += 1000;
    EXPECT_DOUBLE_EQ(element.readInputValue(), 1 - std::exp(-1.0));
}

TEST_F(PT1Element, UnreadableTimeConstantThrowsBadData)
{
    EXPECT_THROW(CPT1Element element(withTimeConstant("long")), boost::property_tree::ptree_bad_data);
}

TEST_F(PT1Element, ReadRightAfterAWriteGivesTheValueBefore)
{
    CPT1Element element(withTimeConstant("2"));
    element.write(10);
    testTick_ms += 500;
    const double before = element.readInputValue();
    element.write(-3);
    EXPECT_EQ(element.readInputValue(), before);
}

TEST_F(PT1Element, EachFurtherReadAppliesTheWholeTimeAgain)
{
    CPT1Element element(withTimeConstant("1"));
    element.write(8);
    testTick_ms += 1000;
    const double remaining = std::exp(-1.0);
    EXPECT_DOUBLE_EQ(element.readInputValue(), 8 * (1 - remaining));
    EXPECT_DOUBLE_EQ(element.readInputValue(), 8 * (1 - remaining * remaining));
    EXPECT_DOUBLE_EQ(element.readInputValue(), 8 * (1 - remaining * remaining * remaining));
}

TEST_F(PT1Element, ChangedWriteEachPeriodMakesADiscreteLag)
{
    CPT1Element element(withTimeConstant("1"));
    double expected = 0;
    for (int i = 1; i <= 20; ++i) {
        element.write(i);
        testTick_ms += 100;
        expected += (1 - std::exp(-0.1)) * (i - expected);
        EXPECT_NEAR(element.readInputValue(), expected, 1e-12);
    }
}

TEST_F(PT1Element, RepeatedEqualWriteDoesNotResetTheTime)
{
    CPT1Element element(withTimeConstant("1"));
    element.write(1);
    testTick_ms += 500;
    element.write(1);
    testTick_ms += 500;
    EXPECT_DOUBLE_EQ(element.readInputValue(), 1 - std::exp(-1.0));
    element.writeOutputValue(1); // unfiltered
    testTick_ms += 500;
    EXPECT_DOUBLE_EQ(element.readInputValue(), 1 - std::exp(-1.5));
}

TEST_F(PT1Element, StaysZeroWithoutAWrite)
{
    CPT1Element element(withTimeConstant("1"));
    EXPECT_EQ(element.readInputValue(), 0.0);
    testTick_ms += 100000;
    EXPECT_EQ(element.readInputValue(), 0.0);
}

TEST_F(PT1Element, TimeConstantOfZeroJumps)
{
    CPT1Element element(withTimeConstant("0"));
    element.write(5);
    testTick_ms += 1;
    EXPECT_EQ(element.readInputValue(), 5.0);
}

TEST_F(PT1Element, TimeConstantOfZeroGivesNaNWithoutTime)
{
    CPT1Element element(withTimeConstant("0"));
    element.write(5);
    EXPECT_TRUE(std::isnan(element.readInputValue()));
    testTick_ms += 1;
    EXPECT_TRUE(std::isnan(element.readInputValue())) << "NaN stays";
}

TEST_F(PT1Element, NegativeTimeConstantRunsAway)
{
    CPT1Element element(withTimeConstant("-1"));
    element.write(1);
    testTick_ms += 1000;
    const double first = element.readInputValue();
    EXPECT_DOUBLE_EQ(first, 1 - std::exp(1.0));
    EXPECT_LT(element.readInputValue(), first);
}

TEST_F(PT1Element, TickMayWrapAround)
{
    testTick_ms = std::numeric_limits<int>::max() - 199;
    CPT1Element element(withTimeConstant("1"));
    element.write(1);
    testTick_ms = std::numeric_limits<int>::min() + 300; // 500 ms later
    EXPECT_DOUBLE_EQ(element.readInputValue(), 1 - std::exp(-0.5));
}

TEST_F(PT1Element, LongTimeWithoutAWriteIsNotNegative)
{
    CPT1Element element(withTimeConstant("1"));
    element.write(1);
    testTick_ms = std::numeric_limits<int>::min() + 1000; // 2^31 ms later
    EXPECT_EQ(element.readInputValue(), 1.0);
    testTick_ms = 999; // 2^32 - 1 ms later
    EXPECT_EQ(element.readInputValue(), 1.0);
}

TEST_F(PT1Element, LastOutputIsThatOfTheLastRead)
{
    CPT1Element element(withTimeConstant("1"));
    element.write(1);
    testTick_ms += 500;
    EXPECT_EQ(element.lastOutput(), 0.0);
    const double read = element.readInputValue();
    EXPECT_EQ(element.lastOutput(), read);
    EXPECT_EQ(element.lastOutput(), read) << "it is not moved";
}

TEST_F(PT1Element, TakesTheLockForReadAndWrite)
{
    CPT1Element element{ptree()};
    EXPECT_TRUE(waitsForLock(element, [&] { element.readInputValue(); }));
    EXPECT_TRUE(waitsForLock(element, [&] { element.writeOutputValue(1); }));
}

TEST_F(PT1Element, InitAndEnablingChangeNothing)
{
    CPT1Element element(withTimeConstant("1"));
    element.write(1);
    testTick_ms += 1000;
    element.init();
    element.setEnabled(true);
    element.setEnabled(false);
    EXPECT_DOUBLE_EQ(element.readInputValue(), 1 - std::exp(-1.0));
}

TEST(PT1ElementTick, FollowsTheWallClockAlsoWhileTheProcessSleeps)
{
    CPT1Element element(withTimeConstant("0.05"));
    element.write(1);
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const double value = element.readInputValue();
    const std::chrono::duration<double> atMost = std::chrono::steady_clock::now() - start;
    EXPECT_GE(value, 1 - std::exp(-0.19 / 0.05));
    EXPECT_LE(value, 1 - std::exp(-(atMost.count() + 0.002) / 0.05));
}

TEST(PT1ElementFactory, BuildsLagElements)
{
    CPT1ElementFactory factory;
    EXPECT_EQ(factory.getTypeName(), "Rvl::CPT1Element");
    const std::unique_ptr<ILoopInOut> element(factory.createObject(withTimeConstant("3")));
    EXPECT_NE(dynamic_cast<CPT1Element*>(element.get()), nullptr);
}
