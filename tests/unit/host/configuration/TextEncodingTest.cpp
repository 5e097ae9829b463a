#include "host/configuration/TextEncoding.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace Rvl::Test {

TEST(TextEncodingTest, EncodingIsThatOfMarkFirstCharacterOrDeclaration)
{
    using namespace TextEncoding;
    EXPECT_EQ(of("<A/>"), Utf8);
    EXPECT_EQ(of("\xEF\xBB\xBF<A/>"), Utf8);
    EXPECT_EQ(of(""), Utf8);
    EXPECT_EQ(of("\xff\xfe<\0"s), Utf16LittleEndian);
    EXPECT_EQ(of("<\0A\0"s), Utf16LittleEndian);
    EXPECT_EQ(of("\xfe\xff\0<"s), Utf16BigEndian);
    EXPECT_EQ(of("\0<\0A"s), Utf16BigEndian);
    EXPECT_EQ(of("\xff\xfe\0\0"s), Utf32LittleEndian);
    EXPECT_EQ(of("<\0\0\0"s), Utf32LittleEndian);
    EXPECT_EQ(of("\0\0\xfe\xff"s), Utf32BigEndian);
    EXPECT_EQ(of("\0\0\0<"s), Utf32BigEndian);
    EXPECT_EQ(of("<?xml version='1.0' encoding='ISO-8859-1'?><A/>"), Latin1);
    EXPECT_EQ(of("<?xml version='1.0' encoding='utf-8'?><A/>"), Utf8);
}

TEST(TextEncodingTest, EveryEncodingGivesTheSameText)
{
    using namespace TextEncoding;
    EXPECT_EQ(inUtf8("\xe4"s, Latin1), "\xc3\xa4");
    EXPECT_EQ(inUtf8("\xff\xfe\xe4\0\xac\x20\x3d\xd8\0\xde"s, Utf16LittleEndian),
              "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
    EXPECT_EQ(inUtf8("\0\xe4\x20\xac\xd8\x3d\xde\0"s, Utf16BigEndian),
              "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
    EXPECT_EQ(inUtf8("\0\0\0\xe4\0\1\xf6\0"s, Utf32BigEndian), "\xc3\xa4\xf0\x9f\x98\x80");
    EXPECT_EQ(inUtf8("\xe4\0\0\0\0\xf6\1\0"s, Utf32LittleEndian), "\xc3\xa4\xf0\x9f\x98\x80");
}

TEST(TextEncodingTest, WhatIsNoCharacterStaysNone)
{
    using namespace TextEncoding;
    EXPECT_EQ(inUtf8("\x3d\xd8<\0"s, Utf16LittleEndian), "\xed\xa0\xbd<") << "half a pair";
    EXPECT_EQ(inUtf8("\0\0\x11\0"s, Utf32LittleEndian), "\xef\xbf\xbf") << "beyond the last code";
    EXPECT_EQ(inUtf8("<\0A"s, Utf16LittleEndian), "<") << "half a unit";
}

} // namespace Rvl::Test
