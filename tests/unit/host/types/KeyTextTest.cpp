#include "host/types/KeyText.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

SKeyDescription confined(SKeyDescription::eType type, std::optional<double> minimum,
                         std::optional<double> maximum, bool exclusive = false)
{
    SKeyDescription key;
    key.type = type;
    key.minimum = minimum;
    key.maximum = maximum;
    key.exclusiveMinimum = exclusive;
    return key;
}

} // namespace

TEST(KeyTextTest, RangeNamesTheLimits)
{
    EXPECT_EQ(keyRange(confined(SKeyDescription::Real, {}, {})), "");
    EXPECT_EQ(keyRange(confined(SKeyDescription::Real, 0.5, {})), ">= 0.5");
    EXPECT_EQ(keyRange(confined(SKeyDescription::Real, 0, 1e9, true)), "> 0, <= 1e+09");
    EXPECT_EQ(keyRange(confined(SKeyDescription::Integer, {}, 1e9)), "<= 1000000000");
    SKeyDescription key;
    key.type = SKeyDescription::Choice;
    key.choices = {"A", "B"};
    EXPECT_EQ(keyRange(key), "A or B");
    key.type = SKeyDescription::Element;
    key.kinds = {"loopIn", "loopInOut"};
    EXPECT_EQ(keyRange(key), "loopIn or loopInOut");
    key.type = SKeyDescription::Reference;
    key.nameServer = "pump";
    EXPECT_EQ(keyRange(key), "pump");
}

TEST(KeyTextTest, DefaultThatIsEmptyIsShown)
{
    SKeyDescription key;
    EXPECT_EQ(keyDefault(key), "");
    key.defaultText = "";
    EXPECT_EQ(keyDefault(key), "\"\"");
    key.defaultText = "0.5";
    EXPECT_EQ(keyDefault(key), "0.5");
}

TEST(KeyTextTest, RequirementNamesTheKeyThatMakesItOptional)
{
    SKeyDescription key;
    EXPECT_EQ(keyRequired(key), "no");
    key.required = true;
    EXPECT_EQ(keyRequired(key), "yes");
    key.requiredUnless = "Other";
    EXPECT_EQ(keyRequired(key), "unless Other");
}

TEST(KeyTextTest, LimitOfAnIntegerIsWrittenInFull)
{
    EXPECT_EQ(keyLimit(confined(SKeyDescription::Integer, {}, {}), 4294967295.0), "4294967295");
    EXPECT_EQ(keyLimit(confined(SKeyDescription::Real, {}, {}), 1e-3), "0.001");
}

} // namespace Rvl::Test
