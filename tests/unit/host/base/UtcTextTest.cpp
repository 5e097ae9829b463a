#include "host/base/UtcText.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(UtcTextTest, TextsOfMomentsAreReadBack)
{
    const auto moment = std::chrono::system_clock::time_point(std::chrono::milliseconds(1'700'000'000'007));
    EXPECT_EQ(utcText(moment), "2023-11-14T22:13:20.007Z");
    EXPECT_EQ(parseUtc(utcText(moment)), moment);
}

TEST(UtcTextTest, PartsOfTheTimeMayBeLeftOut)
{
    const auto textOfParsed = [](const std::string& text) { return utcText(parseUtc(text).value()); };
    EXPECT_EQ(textOfParsed("2026-03-01T14:00:05.25Z"), "2026-03-01T14:00:05.250Z");
    EXPECT_EQ(textOfParsed("2026-03-01T14:00:05Z"), "2026-03-01T14:00:05.000Z");
    EXPECT_EQ(textOfParsed("2026-03-01T14:00Z"), "2026-03-01T14:00:00.000Z");
    EXPECT_EQ(textOfParsed("2024-02-29"), "2024-02-29T00:00:00.000Z");
}

TEST(UtcTextTest, WhatIsNoMomentIsRefused)
{
    for (const char* text :
         {"", "2026", "2026-03", "2026-13-01", "2026-02-29", "2026-00-10", "26-03-01", "2026-03-01T",
          "2026-03-01T14Z", "2026-03-01T24:00Z", "2026-03-01T14:60Z", "2026-03-01T14:00:61Z",
          "2026-03-01T14:00:05.Z", "2026-03-01T14:00:05.1234Z", "2026-03-01T14:00", "2026-03-01T14:00Z ",
          "2026-03-01 14:00Z", "2026-03-0a", "-026-03-01"}) {
        EXPECT_FALSE(parseUtc(text)) << text;
    }
}

} // namespace Rvl::Test
