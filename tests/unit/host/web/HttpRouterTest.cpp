#include "host/web/HttpRouter.h"

#include <gtest/gtest.h>

#include <string>

using namespace Rvl;

namespace {

class HttpRouterTest : public testing::Test
{
protected:
    HttpRouterTest() : access(allowed()), router(access, operations(), "1.2") {}

    static CHttpAccess allowed()
    {
        CHttpAccess access("0123456789abcdef");
        access.allowHost("h", 80);
        return access;
    }
    static std::vector<SOperation> operations()
    {
        SOperation secret;
        secret.method = "GET";
        secret.path = "/secret";
        SOperation open = secret;
        open.path = "/open";
        open.needsToken = false;
        return {secret, open};
    }
    /// 0 if the request may be carried out.
    unsigned refusal(const std::string& method, const std::string& target,
                     const SHttpCredentials& credentials = {"h", "", "", "", "h:80"}) const
    {
        try {
            router.authorize(request(method, target), credentials);
        } catch (const CHttpError& error) {
            return error.status();
        }
        return 0;
    }
    static SHttpRequest request(const std::string& method, const std::string& target)
    {
        SHttpRequest result;
        result.method = method;
        parseTarget(target, result);
        return result;
    }

    CHttpAccess access;
    CHttpRouter router;
};

} // namespace

TEST_F(HttpRouterTest, TokenIsNeededButForThePageAndWhatIsOpen)
{
    EXPECT_EQ(401u, refusal("GET", "/secret"));
    EXPECT_EQ(401u, refusal("GET", "/api/events"));
    EXPECT_EQ(401u, refusal("GET", "/api/openapi.json"));
    EXPECT_EQ(0u, refusal("GET", "/secret", {"h", "", "Bearer 0123456789abcdef", "", "h:80"}));
    EXPECT_EQ(0u, refusal("GET", "/open"));
    EXPECT_EQ(0u, refusal("GET", "/"));
    EXPECT_EQ(403u, refusal("GET", "/", {"other", "", "", "", "h:80"}));
    EXPECT_EQ(404u, refusal("GET", "/nothing"));
    EXPECT_EQ(404u, refusal("POST", "/")) << "a file of the page is only got";
    EXPECT_EQ(405u, refusal("PUT", "/open"));
}

TEST_F(HttpRouterTest, OnlyFilesOfThePageAreServed)
{
    const auto page = router.pageReply(request("GET", "/"));
    ASSERT_TRUE(page);
    EXPECT_EQ("text/html; charset=utf-8", page->contentType);
    EXPECT_EQ(page->body, router.pageReply(request("GET", "/index.html?x=y")).value().body);
    EXPECT_FALSE(router.pageReply(request("HEAD", "/")));
    for (const char* const target : {"//index.html", "/etc/passwd", "/app.js/", "/a/..%2findex.html"}) {
        EXPECT_FALSE(router.pageReply(request("GET", target))) << target;
    }
}

TEST_F(HttpRouterTest, EventsHaveAnIntervalInRange)
{
    EXPECT_EQ(std::chrono::milliseconds(500), router.eventInterval(request("GET", "/api/events")));
    EXPECT_EQ(std::chrono::milliseconds(250),
              router.eventInterval(request("GET", "/api/events?interval_ms=250")));
    EXPECT_EQ(std::nullopt, router.eventInterval(request("GET", "/open")));
    EXPECT_EQ(std::nullopt, router.eventInterval(request("PUT", "/api/events")));
    EXPECT_THROW(router.eventInterval(request("GET", "/api/events?interval_ms=99")), CHttpError);
    EXPECT_THROW(router.eventInterval(request("GET", "/api/events?interval=100")), CHttpError);
}

TEST_F(HttpRouterTest, DescriptionHasEveryOperation)
{
    const SHttpRequest description = request("GET", "/api/openapi.json");
    const SHttpReply reply = router.api().carryOut(router.api().find(description), description);
    const Json paths = Json::parse(reply.body).at("paths");
    for (const char* const path : {"/secret", "/open", "/api/events", "/api/openapi.json"}) {
        EXPECT_TRUE(paths.contains(path)) << path;
    }
}
