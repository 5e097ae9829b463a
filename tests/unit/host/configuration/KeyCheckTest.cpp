#include "host/configuration/KeyCheck.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

SKeyDescription key(SKeyDescription::eType type)
{
    SKeyDescription result;
    result.path = "Key";
    result.type = type;
    return result;
}

SKeyDescription ranged(SKeyDescription::eType type, std::optional<double> minimum,
                       std::optional<double> maximum, bool exclusive = false)
{
    SKeyDescription result = key(type);
    result.minimum = minimum;
    result.maximum = maximum;
    result.exclusiveMinimum = exclusive;
    result.unit = "s";
    return result;
}

} // namespace

TEST(KeyCheckTest, ExpectationNamesTheRange)
{
    EXPECT_EQ(expectation(key(SKeyDescription::Real)), "a real number");
    EXPECT_EQ(expectation(ranged(SKeyDescription::Real, {}, {})), "a real number in s");
    EXPECT_EQ(expectation(ranged(SKeyDescription::Real, 0, {})), "a real number of 0 s or more");
    EXPECT_EQ(expectation(ranged(SKeyDescription::Real, 0, {}, true)), "a real number above 0 s");
    EXPECT_EQ(expectation(ranged(SKeyDescription::Integer, {}, 5)), "a whole number of 5 s or less");
    EXPECT_EQ(expectation(ranged(SKeyDescription::Integer, 1, 5)), "a whole number from 1 s to 5 s");
    EXPECT_EQ(expectation(ranged(SKeyDescription::Real, 0, 5, true)), "a real number above 0 s up to 5 s");
}

TEST(KeyCheckTest, EndsOfTheRangeBelongToItUnlessExcluded)
{
    const SKeyDescription closed = ranged(SKeyDescription::Real, 0, 5);
    EXPECT_FALSE(checkValue(closed, "0"));
    EXPECT_FALSE(checkValue(closed, "5"));
    EXPECT_EQ(checkValue(closed, "5.1"), "\"5.1\" is too high; expected a real number from 0 s to 5 s");
    EXPECT_EQ(checkValue(closed, "-0.1"), "\"-0.1\" is too low; expected a real number from 0 s to 5 s");
    EXPECT_EQ(checkValue(ranged(SKeyDescription::Real, 0, {}, true), "0"),
              "\"0\" is the limit; expected a real number above 0 s");
}

TEST(KeyCheckTest, BooleanHasFourWords)
{
    for (const char* word : {"true", "false", "1", "0", " true "}) {
        EXPECT_FALSE(checkValue(key(SKeyDescription::Boolean), word)) << word;
    }
    for (const char* word : {"", "True", "yes", "2", "01", "true false"}) {
        EXPECT_EQ(checkValue(key(SKeyDescription::Boolean), word),
                  "\"" + std::string(word) + "\" is not a boolean; expected true, false, 1 or 0");
    }
}

TEST(KeyCheckTest, WholeNumberFitsAnIntUnlessItsRangeSaysOtherwise)
{
    const SKeyDescription plain = key(SKeyDescription::Integer);
    EXPECT_FALSE(checkValue(plain, "-2147483648"));
    EXPECT_EQ(checkValue(plain, "2147483648"),
              "\"2147483648\" is too large; expected a whole number from -2147483648 to 2147483647");
    EXPECT_FALSE(checkValue(ranged(SKeyDescription::Integer, 0, 1e10), "2147483648"));
    EXPECT_EQ(checkValue(plain, "1.5"), "\"1.5\" is not a whole number; expected a whole number");
    EXPECT_EQ(checkValue(plain, "x"), "\"x\" is not a number; expected a whole number");
    EXPECT_EQ(checkValue(plain, "99999999999999999999"),
              "\"99999999999999999999\" is too large; expected a whole number");
}

TEST(KeyCheckTest, HexadecimalHasAtMost32Bits)
{
    const SKeyDescription hexadecimal = key(SKeyDescription::Hexadecimal);
    for (const char* text : {"0", "ff", "0xFF", "0X1a", "00000000ffffffff", " 7 "}) {
        EXPECT_FALSE(checkValue(hexadecimal, text)) << text;
    }
    EXPECT_EQ(
        checkValue(hexadecimal, "0x"),
        "\"0x\" is not a hexadecimal number; expected a hexadecimal number of at most 32 bits, such as 0x0F");
    EXPECT_EQ(checkValue(hexadecimal, "100000000"),
              "\"100000000\" is too large; expected a hexadecimal number of at most 32 bits, such as 0x0F");
}

TEST(KeyCheckTest, LetterCaseOfAChoiceCounts)
{
    SKeyDescription choice = key(SKeyDescription::Choice);
    choice.choices = {"Fast", "Slow"};
    EXPECT_FALSE(checkValue(choice, "Fast"));
    EXPECT_EQ(checkValue(choice, "fast"),
              "\"fast\" is no choice; expected one of Fast, Slow (did you mean \"Fast\"?)");
}

TEST(KeyCheckTest, OnlyARequiredTextMustNotBeEmpty)
{
    SKeyDescription text = key(SKeyDescription::Text);
    EXPECT_FALSE(checkValue(text, ""));
    text.required = true;
    EXPECT_EQ(checkValue(text, ""), "is empty; expected a text");
}

} // namespace Rvl::Test
