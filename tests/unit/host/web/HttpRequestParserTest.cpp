#include "host/web/HttpRequestParser.h"

#include <boost/asio/buffer.hpp>

#include <gtest/gtest.h>

#include <string>

using namespace Rvl;

namespace {

/// What becomes of the bytes of a request: its summary, or "STATUS MESSAGE".
std::string summaryOf(const std::string& bytes, const SHttpLimits& limits = {})
{
    CHttpRequestParser parser(limits);
    parser.parser().eager(true);
    boost::system::error_code error;
    parser.parser().put(boost::asio::buffer(bytes), error);
    if (error) {
        const SHttpReply reply = CHttpRequestParser::replyTo(error);
        return std::to_string(reply.status) + " " + reply.body;
    }
    try {
        const SHttpRequest request = parser.request("10.0.0.1");
        const SHttpCredentials credentials = parser.credentials("127.0.0.1:80");
        return request.method + " " + request.path + " " + request.contentType + " [" + request.body + "] " +
               request.source + " " + credentials.host + " " + credentials.local;
    } catch (const CHttpError& refused) {
        return std::to_string(refused.status()) + " " + refused.what();
    }
}

} // namespace

TEST(HttpRequestParser, RequestHasWhatTheServerNeeds)
{
    EXPECT_EQ("PUT /a application/json [{}] page 10.0.0.1 h:80 127.0.0.1:80",
              summaryOf("PUT /a?b=c HTTP/1.1\r\nHost: h:80\r\nContent-Type: application/json\r\n"
                        "X-Rivlink-Source: page\r\nContent-Length: 2\r\n\r\n{}"));
    EXPECT_EQ("GET /  [] http 10.0.0.1 h 127.0.0.1:80",
              summaryOf("GET / HTTP/1.1\r\nHost: h\r\nX-Rivlink-Source: not a name\r\n\r\n"));
}

TEST(HttpRequestParser, WhatCannotBeReadHasAReply)
{
    SHttpLimits limits;
    limits.header = 100;
    limits.body = 10;
    limits.target = 20;
    EXPECT_EQ(R"(400 {"error":{"message":"the request is not well-formed HTTP","field":null}})",
              summaryOf("nonsense\r\n\r\n", limits));
    EXPECT_EQ(R"(413 {"error":{"message":"the body is too large; expected 64 KiB at most","field":null}})",
              summaryOf("PUT / HTTP/1.1\r\nContent-Length: 11\r\n\r\n", limits));
    EXPECT_EQ(R"(431 {"error":{"message":"the header is too large; expected 16 KiB at most","field":null}})",
              summaryOf("GET / HTTP/1.1\r\nX: " + std::string(200, 'x') + "\r\n\r\n", limits));
    EXPECT_EQ("414 the target is too long; expected 8 KiB at most",
              summaryOf("GET /" + std::string(20, 'x') + " HTTP/1.1\r\n\r\n", limits));
    EXPECT_EQ("400 the path has a segment \"..\"", summaryOf("GET /.. HTTP/1.1\r\n\r\n", limits));
}

TEST(HttpRequestParser, RequestForTwoHostsIsRefused)
{
    // of which a program in front of the server might take the other one
    EXPECT_EQ("400 the request has several headers \"Host\"; expected one",
              summaryOf("GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n"));
}
