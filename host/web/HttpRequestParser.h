#pragma once

#include "host/web/HttpAccess.h"
#include "host/web/HttpMessage.h"

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>
#include <cstddef>
#include <string>

namespace Rvl {

/// Bounds of what a connection may take.
struct SHttpLimits
{
    std::size_t header = 16 * 1024;
    std::size_t target = 8 * 1024;
    std::size_t body = 64 * 1024;
    std::chrono::milliseconds request{10000}; ///< from a request's first byte to its last
    std::chrono::milliseconds idle{60000};    ///< between two requests
    std::chrono::milliseconds write{10000};   ///< without progress
    std::size_t connections = 512;
};

/// Takes one request from the bytes of a connection, and gives what the rest of the server needs of it.
class CHttpRequestParser
{
public:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

    explicit CHttpRequestParser(const SHttpLimits& limits);

    /// How much of a connection is buffered at most, whatever the chunks of a request look like.
    static std::size_t bufferSize(const SHttpLimits& limits) { return 2 * (limits.header + limits.body); }
    /// For Beast's reading. What follows holds once it has read a request.
    Parser& parser() { return parser_; }
    bool isHead() const;
    bool keepsAlive() const { return parser_.get().keep_alive(); }
    /// `peer` is the address of the client. Throws CHttpError (400 or 414) for a target that is not valid,
    /// and for several hosts.
    SHttpRequest request(const std::string& peer) const;
    /// `local` is the address and port that the client connected to, as in the header Host.
    SHttpCredentials credentials(const std::string& local) const;
    /// The reply to a request that could not be read: 400, 413 or 431.
    static SHttpReply replyTo(const boost::system::error_code& error);

private:
    Parser parser_;
    std::size_t longestTarget_;
};

} // namespace Rvl
