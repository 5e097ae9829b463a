#pragma once

#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include "host/web/EventFeed.h"
#include "host/web/HttpAccess.h"
#include "host/web/HttpMessage.h"
#include "host/web/HttpRequestParser.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/string_body.hpp>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Rvl {

/// What a connection needs of its server. All of it is called on the server's thread.
class IHttpService
{
public:
    using Done = std::function<void(SHttpReply reply)>;

    virtual ~IHttpService() = default;

    /// Decides about origin and token; throws CHttpError.
    virtual void authorize(const SHttpRequest& request, const SHttpCredentials& credentials) = 0;
    /// Calls `done` once, now or later, on the server's thread.
    virtual void serve(const SHttpRequest& request, Done done) = 0;
    /// The interval if the request asks for events, nothing otherwise. Throws CHttpError.
    virtual std::optional<std::chrono::milliseconds> eventInterval(const SHttpRequest& request) = 0;
    virtual void subscribe(const std::shared_ptr<IEventClient>& client,
                           std::chrono::milliseconds interval) = 0;
};

/// One connection: reads a request, has it served, writes the reply, and so on; or sends events. Everything
/// happens on the server's thread. It lives as long as an operation of it is under way.
class CHttpSession : public IEventClient, public std::enable_shared_from_this<CHttpSession>
{
public:
    using Socket = boost::asio::ip::tcp::socket;

    CHttpSession(Socket socket, IHttpService& service, const SHttpLimits& limits);
    ~CHttpSession() override;
    CHttpSession(const CHttpSession&) = delete;
    CHttpSession& operator=(const CHttpSession&) = delete;

    void start();
    /// Ends every operation.
    void close();

    std::size_t backlog() const override { return events_.size(); }
    void send(std::shared_ptr<const std::string> event) override;

private:
    using Response = boost::beast::http::response<boost::beast::http::string_body>;
    using Serializer = boost::beast::http::response_serializer<boost::beast::http::string_body>;

    void awaitRequest();
    void readRequest();
    void onRequest(const boost::system::error_code& error);
    void serve();
    void reply(SHttpReply reply);
    void writeReply(bool keepsAlive);
    void refuse(const SHttpReply& error);
    void beginEvents(std::chrono::milliseconds interval);
    void awaitEndOfClient();
    void sendNextEvent();
    enum eOnTime
    {
        Nothing,
        Close,
        RefuseRequest
    };
    void limit(std::chrono::milliseconds time, eOnTime onTime);
    void watch();
    void awaitTime();
    void onTime();

    Socket socket_;
    IHttpService& service_;
    const SHttpLimits limits_;
    std::string peerAddress_;
    std::string localAddress_; ///< as clients write it: "127.0.0.1:8080" or "[::1]:8080"

    // One wait serves many limits: it is begun anew only for one that ends before it.
    using Clock = std::chrono::steady_clock;
    boost::asio::steady_timer timer_;
    bool isWatching_ = false;
    bool isSure_ = false; ///< the time is over also after what was queued before
    Clock::time_point limit_;
    eOnTime onTime_ = Nothing;

    boost::beast::flat_buffer buffer_;
    std::optional<CHttpRequestParser> parser_; ///< of the request under way, if it was understood
    std::shared_ptr<Response> response_;
    std::optional<Serializer> serializer_; ///< of the response
    std::deque<std::shared_ptr<const std::string>> events_;
    bool isWriting_ = false;
    bool isTimedOut_ = false;
    char ignored_ = 0;
};

} // namespace Rvl
