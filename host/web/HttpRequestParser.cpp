#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include "host/web/HttpRequestParser.h"

#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/http/verb.hpp>

#include <algorithm>
#include <cstdint>

namespace Rvl {

namespace {

namespace http = boost::beast::http;

constexpr std::size_t longestSource = 32;

std::string textOf(boost::beast::string_view view)
{
    return {view.data(), view.size()};
}

/// What the header says about the kind of client, as far as it is a name.
std::string sourceOf(const std::string& header, const std::string& address)
{
    const bool isName =
        !header.empty() && header.size() <= longestSource &&
        std::all_of(header.begin(), header.end(), [](unsigned char character) {
            return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                   (character >= '0' && character <= '9') || character == '-' || character == '_';
        });
    return (isName ? header : "http") + " " + address;
}

} // namespace

CHttpRequestParser::CHttpRequestParser(const SHttpLimits& limits) : longestTarget_(limits.target)
{
    parser_.header_limit(static_cast<std::uint32_t>(limits.header));
    parser_.body_limit(limits.body);
}

bool CHttpRequestParser::isHead() const
{
    return parser_.get().method() == http::verb::head;
}

SHttpRequest CHttpRequestParser::request(const std::string& peer) const
{
    const auto& message = parser_.get();
    if (message.target().size() > longestTarget_) {
        throw CHttpError(414, "the target is too long; expected 8 KiB at most");
    }
    if (message.count(http::field::host) > 1) {
        throw CHttpError(400, "the request has several headers \"Host\"; expected one");
    }
    SHttpRequest request;
    request.method = textOf(message.method_string());
    request.contentType = textOf(message[http::field::content_type]);
    request.body = message.body();
    request.source = sourceOf(textOf(message["X-Rivlink-Source"]), peer);
    parseTarget(textOf(message.target()), request);
    return request;
}

SHttpCredentials CHttpRequestParser::credentials(const std::string& local) const
{
    const auto& message = parser_.get();
    return {textOf(message[http::field::host]), textOf(message[http::field::origin]),
            textOf(message[http::field::authorization]), textOf(message[http::field::cookie]), local};
}

SHttpReply CHttpRequestParser::replyTo(const boost::system::error_code& error)
{
    if (error == http::error::body_limit) {
        return errorReply(413, "the body is too large; expected 64 KiB at most");
    }
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        return errorReply(431, "the header is too large; expected 16 KiB at most");
    }
    return errorReply(400, "the request is not well-formed HTTP");
}

} // namespace Rvl
