#include "host/configuration/DrivenOutput.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

const SDrivenOutput heater{"value", {"Heater", 0.0, 100.0}};
const SDrivenOutput pwm{"dutyCycle", {"Duty", 0.0, 100.0}};
const SDrivenOutput onOff{"onOff", {"Valve", {}, {}}};

STypeDescription loopType(const std::string& role)
{
    STypeDescription type;
    type.keys.emplace_back().role = role;
    return type;
}

} // namespace

TEST(DrivenOutputTest, ValueOutsideItsRangeIsAFault)
{
    EXPECT_EQ("", heater.faultOf(0.0));
    EXPECT_EQ("", heater.faultOf(100.0));
    EXPECT_EQ("\"-1\" is outside the range of output \"Heater\"; expected one from 0 to 100",
              heater.faultOf(-1.0));
    EXPECT_EQ("\"101\" is outside the range of output \"Duty\"; expected one from 0 to 100",
              pwm.faultOf(101.0));
    EXPECT_EQ("", onOff.faultOf(1e9)) << "which takes any";
}

TEST(DrivenOutputTest, NegativeControlValueHasAnEffectOnADigitalOutputOnly)
{
    EXPECT_FALSE(heater.effectOf(-1.0));
    EXPECT_FALSE(pwm.effectOf(0.0));
    EXPECT_FALSE(pwm.effectOf(1.0));
    ASSERT_TRUE(onOff.effectOf(-1e10));
    EXPECT_EQ(onOff.effectOf(-1e10)->text,
              "lets the control value be negative, which switches output \"Valve\" on; expected 0 or more");
    EXPECT_FALSE(onOff.effectOf(-1e10)->isFault);
    EXPECT_EQ(pwm.effectOf(-2147483648.0)->text,
              "lets the control value be negative, of which output \"Duty\" makes a duty cycle of 0; "
              "expected 0 or more");
    EXPECT_FALSE(pwm.effectOf(-2147483648.0)->isFault);
    EXPECT_EQ(pwm.effectOf(-2147483649.0)->text,
              "lets the control value be negative so far that output \"Duty\" makes a duty cycle of 100 of "
              "it; expected 0 or more");
    EXPECT_TRUE(pwm.effectOf(-2147483649.0)->isFault);
}

TEST(DrivenOutputTest, DisabledValueIsABoundOnlyWhereNoRangeSaysMore)
{
    for (const char* const role : {"minimum", "maximum", "level", "passedSetPoint"}) {
        EXPECT_TRUE(pwm.isBound(role, false)) << role;
    }
    EXPECT_FALSE(pwm.isBound("disabledValue", true));
    EXPECT_TRUE(onOff.isBound("disabledValue", true));
    EXPECT_FALSE(onOff.isBound("disabledValue", false)) << "of a loop that writes to another one";
    EXPECT_FALSE(onOff.isBound("", true));
}

TEST(DrivenOutputTest, ControlValueReachesTheOutputsThroughLoopsThatPassItOn)
{
    const STypeDescription passing = loopType("passedSetPoint");
    const STypeDescription other = loopType("minimum");
    const SControllerLoops guarded{{&passing, &other, &passing}, {heater}};
    EXPECT_FALSE(guarded.reachesOutputs(0));
    EXPECT_TRUE(guarded.reachesOutputs(1));
    EXPECT_TRUE(guarded.reachesOutputs(2));
    EXPECT_FALSE(guarded.reachesOutputs(3)) << "there is none";
    EXPECT_FALSE(guarded.isInnermost(1));
    EXPECT_TRUE(guarded.isInnermost(2));
    EXPECT_FALSE(guarded.passesSetPoint());
    EXPECT_TRUE((SControllerLoops{{&passing, &passing}, {heater}}).passesSetPoint());
    EXPECT_FALSE((SControllerLoops{{&other}, {heater}}).passesSetPoint());
    EXPECT_FALSE(SControllerLoops().passesSetPoint());
}

} // namespace Rvl::Test
