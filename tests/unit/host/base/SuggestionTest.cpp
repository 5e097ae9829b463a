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

} // namespace Rvl::Test
