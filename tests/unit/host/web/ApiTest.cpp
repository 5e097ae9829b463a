#include "host/web/Api.h"

#include "host/session/Commands.h"
#include "host/web/JsonSchema.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace Rvl;

namespace {

class ApiTest : public testing::Test
{
protected:
    ApiTest()
    {
        SOperation read;
        read.method = "GET";
        read.path = "/api/channels/{channel}";
        read.query = {{"limit", schemaOf("integer"), "rows"}};
        read.replySchema = schemaOf("object");
        read.carryOut = [](const SApiRequest& request) {
            return jsonReply(
                {{"channel", request.path.at("channel")}, {"limit", request.integer("limit", 1, 10, 5)}});
        };
        SOperation write;
        write.method = "PUT";
        write.path = "/api/channels/{channel}";
        write.summary = "writes";
        write.bodySchema = object({{"value", schemaOf("number")}}, {"value"});
        write.needsToken = false;
        write.carryOut = [this](const SApiRequest& request) {
            if (thrown) {
                thrown();
            }
            return jsonReply(request.body);
        };
        api.add({read, write});
    }

    SHttpReply reply(const std::string& method, const std::string& target, const std::string& body = "",
                     const std::string& type = "application/json")
    {
        SHttpRequest request;
        request.method = method;
        request.contentType = type;
        request.body = body;
        try {
            parseTarget(target, request);
            return api.carryOut(api.find(request), request);
        } catch (const CHttpError& error) {
            return errorReply(error.status(), error.what(), error.field());
        }
    }

    CApi api;
    std::function<void()> thrown;
};

} // namespace

TEST_F(ApiTest, RequestFindsItsOperation)
{
    EXPECT_EQ(R"({"channel":"A/B","limit":5})", reply("GET", "/api/channels/A%2FB").body);
    EXPECT_EQ(R"({"channel":"A","limit":7})", reply("GET", "/api/channels/A?limit=7").body);
    EXPECT_EQ(R"({"value":1.5})",
              reply("PUT", "/api/channels/A", R"({"value":1.5})", "application/json; charset=utf-8").body);
    EXPECT_EQ(404u, reply("GET", "/api/channel/A").status);
    EXPECT_EQ(404u, reply("GET", "/api/channels/A/B").status);
    EXPECT_EQ(404u, reply("GET", "/api/channels//").status);
    EXPECT_EQ(405u, reply("DELETE", "/api/channels/A").status);
}

TEST_F(ApiTest, QueryIsChecked)
{
    EXPECT_EQ(R"({"error":{"message":"there is no parameter \"limt\"","field":"limt"}})",
              reply("GET", "/api/channels/A?limt=7").body);
    EXPECT_EQ(400u, reply("GET", "/api/channels/A?limit=7x").status);
    EXPECT_EQ(422u, reply("GET", "/api/channels/A?limit=11").status);
    EXPECT_EQ(400u, reply("GET", "/api/channels/A?limit=99999999999999999999").status);
}

TEST_F(ApiTest, BodyIsChecked)
{
    EXPECT_EQ(415u, reply("PUT", "/api/channels/A", R"({"value":1})", "text/plain").status);
    EXPECT_EQ(415u, reply("PUT", "/api/channels/A", R"({"value":1})", "").status);
    EXPECT_EQ(400u, reply("PUT", "/api/channels/A", R"({"value":)").status);
    EXPECT_EQ(400u, reply("PUT", "/api/channels/A", R"({"value":1e999})").status);
    EXPECT_EQ(400u, reply("PUT", "/api/channels/A", R"({"value":"1"})").status);
    EXPECT_EQ(400u, reply("PUT", "/api/channels/A", "").status);
    EXPECT_EQ(400u, reply("PUT", "/api/channels/A", std::string(60000, '[')).status);
}

TEST_F(ApiTest, WhatAnOperationThrowsIsAnError)
{
    const auto statusOf = [&](CCommandRefused::eReason reason) {
        thrown = [reason] { throw CCommandRefused(reason, "refused", "value"); };
        const SHttpReply result = reply("PUT", "/api/channels/A", R"({"value":1})");
        EXPECT_EQ(R"({"error":{"message":"refused","field":"value"}})", result.body);
        return result.status;
    };
    EXPECT_EQ(404u, statusOf(CCommandRefused::NotFound));
    EXPECT_EQ(409u, statusOf(CCommandRefused::WrongState));
    EXPECT_EQ(422u, statusOf(CCommandRefused::OutOfRange));
    EXPECT_EQ(500u, statusOf(CCommandRefused::Failed));
    thrown = [] { throw std::runtime_error("broken"); };
    EXPECT_EQ(500u, reply("PUT", "/api/channels/A", R"({"value":1})").status);
    thrown = [] { throw 42; };
    EXPECT_EQ(R"({"error":{"message":"an exception of unknown kind","field":null}})",
              reply("PUT", "/api/channels/A", R"({"value":1})").body);
}

TEST_F(ApiTest, DocumentDescribesEveryOperation)
{
    const Json document = openApi(api.operations(), "1.2.3");
    EXPECT_EQ("1.2.3", document.at("info").at("version"));
    const Json& path = document.at("paths").at("/api/channels/{channel}");
    EXPECT_EQ("channel", path.at("get").at("parameters").at(0).at("name"));
    EXPECT_EQ("path", path.at("get").at("parameters").at(0).at("in"));
    EXPECT_EQ("limit", path.at("get").at("parameters").at(1).at("name"));
    EXPECT_FALSE(path.at("get").contains("requestBody"));
    EXPECT_FALSE(path.at("get").contains("security"));
    EXPECT_EQ("writes", path.at("put").at("summary"));
    EXPECT_EQ("value", path.at("put")
                           .at("requestBody")
                           .at("content")
                           .at("application/json")
                           .at("schema")
                           .at("required")
                           .at(0));
    EXPECT_TRUE(path.at("put").at("security").empty());
    EXPECT_TRUE(document.at("components").at("responses").contains("Error"));
}
