#include "host/base/ControlCharacters.h"

#include <gtest/gtest.h>

#include <string>

namespace Rvl::Test {

namespace {

struct SEscaped
{
    std::string text;
    std::string expected;
};

class ControlCharacter : public testing::TestWithParam<SEscaped>
{};

TEST_P(ControlCharacter, IsFoundAndEscaped)
{
    const std::string text = "a" + GetParam().text + "b";
    const std::string expected = "a" + GetParam().expected + "b";
    EXPECT_TRUE(hasControlCharacters(text));
    EXPECT_EQ(escapeControlCharacters(text), expected);
    EXPECT_FALSE(hasControlCharacters(expected));
    EXPECT_EQ(escapeControlCharacters(expected), expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, ControlCharacter,
    testing::Values(SEscaped{std::string(1, '\0'), "\\x00"}, SEscaped{"\x07", "\\x07"}, SEscaped{"\t", "\\t"},
                    SEscaped{"\n", "\\n"}, SEscaped{"\r", "\\r"}, SEscaped{"\x1b[2J", "\\x1b[2J"},
                    SEscaped{"\x1f", "\\x1f"}, SEscaped{"\x7f", "\\x7f"}, SEscaped{"\xc2\x80", "\\u0080"},
                    SEscaped{"\xc2\x9f", "\\u009f"}, SEscaped{"\xe2\x80\xa8\xe2\x80\xa9", "\\u2028\\u2029"},
                    SEscaped{"\xe2\x80\xaa\xe2\x80\xae", "\\u202a\\u202e"},
                    SEscaped{"\xe2\x81\xa6\xe2\x81\xa9", "\\u2066\\u2069"},
                    // no UTF-8: C1 in one byte, a surrogate, a longer form of "/", an incomplete character
                    SEscaped{"\x9b", "\\x9b"}, SEscaped{"\xed\xa0\x80", "\\xed\\xa0\\x80"},
                    SEscaped{"\xe0\x80\xaf", "\\xe0\\x80\\xaf"}, SEscaped{"\xe2\x80", "\\xe2\\x80"}));

} // namespace

TEST(ControlCharactersTest, OtherTextStaysAsItIs)
{
    for (const std::string text :
         {"", "Jacket temperature", "a\\x1bb", "~", "\xc2\xa0",
          "\xc2\xb0"
          "C",
          "\xe2\x80\xa7", "\xe2\x80\xaf", "\xe2\x81\xa5", "\xe2\x81\xaa", "\xf0\x9f\x98\x80"}) {
        EXPECT_FALSE(hasControlCharacters(text)) << text;
        EXPECT_EQ(escapeControlCharacters(text), text);
    }
}

} // namespace Rvl::Test
