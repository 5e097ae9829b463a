#include "host/base/Suggestion.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(SuggestionTest, NearestChoiceHasTheFewestDifferences)
{
    const std::vector<std::string> choices{"Gain", "Setpoint", "SampleTime_ms"};
    EXPECT_EQ(nearestChoice("gain", choices), "Gain");
    EXPECT_EQ(nearestChoice("Gian", choices), "Gain");
    EXPECT_EQ(nearestChoice("SetPont", choices), "Setpoint");
    EXPECT_EQ(nearestChoice("SampleTime", choices), "SampleTime_ms");
    EXPECT_EQ(nearestChoice("Colour", choices), "");
    EXPECT_EQ(nearestChoice("", choices), "");
}

TEST(SuggestionTest, ChoicesAreListed)
{
    EXPECT_EQ(enumeration({}), "");
    EXPECT_EQ(enumeration({"a"}), "a");
    EXPECT_EQ(enumeration({"a", "b", "c"}), "a, b or c");
    EXPECT_EQ(expectedChoices("x", {}), "none");
    EXPECT_EQ(expectedChoices("x", {"alpha"}), "\"alpha\"");
    EXPECT_EQ(expectedChoices("betta", {"alpha", "beta"}), "one of alpha, beta (did you mean \"beta\"?)");
    EXPECT_EQ(expectedChoices("omega", {"alp", "bet"}), "one of alp, bet");
}

TEST(SuggestionTest, LongWordsAreNotCompared)
{
    const std::string longWord(65, 'a');
    EXPECT_EQ(nearestChoice(longWord, {longWord + "b"}), "");
    EXPECT_EQ(nearestChoice(longWord.substr(1), {longWord, longWord.substr(2)}), longWord.substr(2));
    EXPECT_EQ(nearestChoice(std::string(1000000, 'a'), {std::string(1000000, 'b')}), "");
}

TEST(SuggestionTest, ManyChoicesAreListedInPart)
{
    std::vector<std::string> choices(40, "x");
    EXPECT_EQ(expectedChoices("", choices).find("others"), std::string::npos);
    choices.emplace_back("last");
    EXPECT_EQ(expectedChoices("lasr", choices),
              "one of x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x and 21 others (did you mean "
              "\"last\"?)");
}

TEST(SuggestionTest, SwapAtTheEndOfAWordIsOneStep)
{
    EXPECT_EQ(nearestChoice("ba", {"ab"}), "ab");
    EXPECT_EQ(nearestChoice("abdc", {"abcx", "abcd"}), "abcd");
}

} // namespace Rvl::Test
