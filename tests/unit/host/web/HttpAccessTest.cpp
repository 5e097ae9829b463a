#include "host/web/HttpAccess.h"

#include "host/base/HostException.h"
#include "host/web/HttpMessage.h"
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

using namespace Rvl;

namespace {

const std::string token = "0123456789abcdef";

/// The status of a refusal; 200 if there is none.
unsigned statusOf(const std::function<void()>& check)
{
    try {
        check();
    } catch (const CHttpError& error) {
        return error.status();
    }
    return 200;
}

std::string refusal(const std::function<void()>& action)
{
    try {
        action();
    } catch (const CHostException& exception) {
        return exception.what();
    }
    return {};
}

} // namespace

TEST(HttpAccess, OnlyItsOwnHostsAndOriginsAreServed)
{
    CHttpAccess access("");
    access.allowHost("127.0.0.1", 8080);
    access.allowHost("Localhost", 8080);
    const auto status = [&](const std::string& host, const std::string& origin = "") {
        return statusOf([&] { access.checkOrigin({host, origin, "", "", "192.168.1.5:8080"}); });
    };
    EXPECT_EQ(200u, status("127.0.0.1:8080"));
    EXPECT_EQ(200u, status("LOCALHOST:8080", "http://localhost:8080"));
    EXPECT_EQ(403u, status("127.0.0.1:8081"));
    EXPECT_EQ(403u, status("evil.example:8080")) << "a name that was made to point here";
    EXPECT_EQ(403u, status(""));
    EXPECT_EQ(200u, status("192.168.1.5:8080")) << "this end of the connection";
    EXPECT_EQ(403u, status("127.0.0.1:8080", "http://evil.example"));
    EXPECT_EQ(403u, status("127.0.0.1:8080", "https://127.0.0.1:8080"));
    EXPECT_EQ(403u, status("127.0.0.1:8080", "null"));
}

TEST(HttpAccess, TheUsualPortMayBeLeftOut)
{
    CHttpAccess access("");
    access.allowHost("bench", 80);
    EXPECT_EQ(200u, statusOf([&] { access.checkOrigin({"bench", "http://bench", "", "", ""}); }));
}

TEST(HttpAccess, TokenIsNeededInTheHeaderOrAsItsCookie)
{
    const CHttpAccess access(token);
    const auto status = [&](const std::string& authorization, const std::string& cookie) {
        return statusOf([&] { access.checkToken({"", "", authorization, cookie, ""}); });
    };
    EXPECT_EQ(401u, status("", ""));
    EXPECT_EQ(401u, status("Bearer 0123456789abcdeX", ""));
    EXPECT_EQ(401u, status("Basic " + token, ""));
    EXPECT_EQ(401u, status("", "rivlink_session=" + token)) << "the cookie does not hold the token";
    EXPECT_EQ(200u, status("Bearer " + token, ""));
    const std::string cookie = access.cookieFor(token);
    EXPECT_NE(std::string::npos, cookie.find("; HttpOnly; SameSite=Strict"));
    EXPECT_EQ(200u, status("", "a=b; " + cookie.substr(0, cookie.find(';')) + "; c=d"));
    EXPECT_EQ(401u, statusOf([&] { access.cookieFor("another"); }));
    const CHttpAccess other(token);
    EXPECT_NE(cookie, other.cookieFor(token)) << "of another run";
}

TEST(HttpAccess, WithoutATokenNoneIsNeeded)
{
    EXPECT_EQ(200u, statusOf([] { CHttpAccess("").checkToken({}); }));
}

TEST(HttpAccess, TextsAreComparedWhole)
{
    EXPECT_TRUE(equalInConstantTime("", ""));
    EXPECT_TRUE(equalInConstantTime("abc", "abc"));
    EXPECT_FALSE(equalInConstantTime("abc", "abd"));
    EXPECT_FALSE(equalInConstantTime("abc", "abcabc"));
    EXPECT_FALSE(equalInConstantTime("abcabc", "abc"));
    EXPECT_FALSE(equalInConstantTime("", "a"));
    EXPECT_FALSE(equalInConstantTime("a", ""));
}

TEST(HttpAccess, TokenFileIsItsOwnersAndLongEnough)
{
    const ::Rvl::Test::CTemporaryFolder folder;
    const std::filesystem::path file = folder.write("token", token + "\n");
    const auto allow = [&](std::filesystem::perms perms) { std::filesystem::permissions(file, perms); };
    allow(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(token, readTokenFile(file));
#if !defined(_WIN32)
    allow(std::filesystem::perms::owner_all | std::filesystem::perms::group_read);
    EXPECT_NE(std::string::npos, refusal([&] { readTokenFile(file); }).find("by others than its owner"));
#endif
    EXPECT_NE(std::string::npos,
              refusal([&] { readTokenFile(folder.file("missing")); }).find("cannot be read"));
    EXPECT_EQ(
        "the access token of RIVLINK_HTTP_TOKEN cannot be used; expected 16 characters or more, without "
        "blanks",
        refusal([] { checkedToken("short", "RIVLINK_HTTP_TOKEN"); }));
    EXPECT_NE("", refusal([] { checkedToken("0123456789 abcdef", "x"); }));
}
