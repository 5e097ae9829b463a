#include "host/web/HttpMessage.h"

#include <gmock/gmock.h>

#include <string>

using namespace Rvl;
using testing::ElementsAre;
using testing::Pair;

namespace {

/// Why a target is refused; empty if it is not.
std::string refusal(const std::string& target)
{
    SHttpRequest request;
    try {
        parseTarget(target, request);
    } catch (const CHttpError& error) {
        EXPECT_EQ(400u, error.status());
        return error.what();
    }
    return {};
}

} // namespace

TEST(HttpMessage, TargetIsTakenApart)
{
    SHttpRequest request;
    parseTarget("/api/channels/Vessel%20%C3%A4%2Fb?from=a+b&to=%2B1&flag", request);
    EXPECT_EQ("/api/channels/Vessel%20%C3%A4%2Fb", request.path);
    EXPECT_THAT(request.segments, ElementsAre("api", "channels", "Vessel \xc3\xa4/b"));
    EXPECT_THAT(request.query, ElementsAre(Pair("flag", ""), Pair("from", "a b"), Pair("to", "+1")));
}

TEST(HttpMessage, TargetThatIsNoPathIsRefused)
{
    EXPECT_EQ("the target is no path; expected one that begins with /", refusal(""));
    EXPECT_EQ("the target is no path; expected one that begins with /", refusal("http://evil/"));
    EXPECT_EQ("the target has a % that two hexadecimal digits do not follow", refusal("/a%2"));
    EXPECT_EQ("the target has a % that two hexadecimal digits do not follow", refusal("/a%zz"));
    EXPECT_EQ("the target has a control character", refusal("/a%00b"));
    EXPECT_EQ("the target has a control character", refusal("/a?b=%0d%0aSet-Cookie"));
    EXPECT_EQ("the path has a segment \"..\"", refusal("/../etc/passwd"));
    EXPECT_EQ("the path has a segment \"..\"", refusal("/a/%2e%2e/b"));
    EXPECT_EQ("", refusal("/"));
}

TEST(HttpMessage, ErrorHasItsMessageAndField)
{
    const SHttpReply reply = errorReply(422, "the value is \"wrong\"", "value");
    EXPECT_EQ(422u, reply.status);
    EXPECT_EQ(R"({"error":{"message":"the value is \"wrong\"","field":"value"}})", reply.body);
    EXPECT_EQ(R"({"error":{"message":"m","field":null}})", errorReply(404, "m").body);
}

TEST(HttpMessage, ErrorShowsCharactersThatActOnATerminal)
{
    // what a request says may stand in both
    EXPECT_EQ(R"({"error":{"message":"\\n\\x1b[31m \\u0085 \\xff \\u202e","field":"\\x00"}})",
              errorReply(400, "\n\x1b[31m \xc2\x85 \xff \xe2\x80\xae", std::string(1, '\0')).body);
    EXPECT_EQ(R"({"error":{"message":"\"ä\" \\ is no name","field":null}})",
              errorReply(400, "\"ä\" \\ is no name").body);
}
