#include "host/web/HttpSession.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/completion_condition.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include <utility>

namespace Rvl {

namespace {

namespace http = boost::beast::http;
using boost::system::error_code;

constexpr std::chrono::milliseconds cancelAgain(20);

/// No page may load or run anything but the server's own files, or be shown within another one.
constexpr const char* contentSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; font-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

} // namespace

CHttpSession::CHttpSession(Socket socket, IHttpService& service, const SHttpLimits& limits)
    : socket_(std::move(socket)), service_(service), limits_(limits), timer_(socket_.get_executor()),
      buffer_(CHttpRequestParser::bufferSize(limits))
{}

CHttpSession::~CHttpSession() = default;

void CHttpSession::start()
{
    error_code ignored;
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
    // Left to itself the system keeps megabytes for a client that does not read, and shows progress only when
    // a third of them has gone.
    socket_.set_option(boost::asio::socket_base::send_buffer_size(128 * 1024), ignored);
    peerAddress_ = socket_.remote_endpoint(ignored).address().to_string();
    const auto local = socket_.local_endpoint(ignored);
    const std::string address = local.address().to_string();
    localAddress_ =
        (local.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(local.port());
    awaitRequest();
}

void CHttpSession::close()
{
    error_code ignored;
    timer_.cancel();
    // before it is closed: not every system ends a write that is partly done with that
    socket_.cancel(ignored);
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
}

/// What is done when the time is over, unless limit() is called again before.
void CHttpSession::limit(std::chrono::milliseconds time, eOnTime onTime)
{
    onTime_ = onTime;
    limit_ = Clock::now() + time;
    if (!isWatching_ || timer_.expiry() > limit_) {
        watch();
    }
}

void CHttpSession::watch()
{
    isWatching_ = true;
    isSure_ = false;
    timer_.expires_at(limit_);
    awaitTime();
}

void CHttpSession::awaitTime()
{
    timer_.async_wait([self = shared_from_this()](const error_code& error) {
        if (error) {
            return; // by another wait, or by close()
        }
        if (self->onTime_ != Nothing && Clock::now() < self->limit_) {
            self->watch();
        } else if (self->onTime_ != Nothing && !std::exchange(self->isSure_, true)) {
            // a server that got no processor time for long may have what the limit is for in its queue
            self->timer_.expires_at(Clock::now());
            self->awaitTime();
        } else {
            self->isWatching_ = false;
            self->onTime();
        }
    });
}

void CHttpSession::onTime()
{
    switch (std::exchange(onTime_, Nothing)) {
    case Nothing:
        break;
    case Close:
        close();
        break;
    case RefuseRequest: {
        isTimedOut_ = true;
        error_code ignored;
        socket_.cancel(ignored);
        // again: a piece that had just arrived leaves nothing to cancel, and has the next one read
        limit(cancelAgain, RefuseRequest);
        break;
    }
    }
}

void CHttpSession::awaitRequest()
{
    if (buffer_.size() > 0) { // of a client that sends requests without waiting for replies
        readRequest();
        return;
    }
    limit(limits_.idle, Close);
    constexpr std::size_t first = 4096;
    socket_.async_read_some(buffer_.prepare(first),
                            [self = shared_from_this()](const error_code& error, std::size_t size) {
                                if (error) {
                                    self->close();
                                    return;
                                }
                                self->buffer_.commit(size);
                                self->readRequest();
                            });
}

void CHttpSession::readRequest()
{
    parser_.emplace(limits_);
    isTimedOut_ = false;
    limit(limits_.request, RefuseRequest);
    http::async_read(
        socket_, buffer_, parser_->parser(),
        [self = shared_from_this()](const error_code& error, std::size_t) { self->onRequest(error); });
}

void CHttpSession::onRequest(const error_code& error)
{
    onTime_ = Nothing;
    if (isTimedOut_) {
        refuse(errorReply(408, "the request did not arrive within its time"));
    } else if (error == http::error::end_of_stream || error == boost::asio::error::operation_aborted ||
               error == boost::asio::error::connection_reset || error == boost::asio::error::eof) {
        close();
    } else if (error) {
        refuse(CHttpRequestParser::replyTo(error));
    } else {
        serve();
    }
}

void CHttpSession::serve()
{
    try {
        const SHttpRequest request = parser_->request(peerAddress_);
        service_.authorize(request, parser_->credentials(localAddress_));
        if (const auto interval = service_.eventInterval(request)) {
            beginEvents(*interval);
            return;
        }
        service_.serve(request,
                       [self = shared_from_this()](SHttpReply reply) { self->reply(std::move(reply)); });
    } catch (const CHttpError& error) {
        reply(errorReply(error.status(), error.what(), error.field()));
    }
}

/// Replies to a request that was not understood, and ends the connection.
void CHttpSession::refuse(const SHttpReply& error)
{
    parser_.reset();
    reply(error);
}

void CHttpSession::reply(SHttpReply reply)
{
    const bool isHead = parser_ && parser_->isHead();
    const bool keepsAlive = parser_ && !isHead && parser_->keepsAlive();
    response_ = std::make_shared<Response>();
    response_->version(11);
    response_->result(reply.status);
    response_->set(http::field::content_type, reply.contentType);
    response_->set(http::field::cache_control, "no-store");
    response_->set("X-Content-Type-Options", "nosniff");
    response_->set("Referrer-Policy", "no-referrer");
    response_->set("Content-Security-Policy", contentSecurityPolicy);
    for (const auto& [name, value] : reply.headers) {
        response_->set(name, value);
    }
    response_->body() = std::move(reply.body);
    response_->prepare_payload();
    response_->keep_alive(keepsAlive);
    if (isHead) {
        response_->body().clear(); // which a reply to this method has not
    }
    serializer_.emplace(*response_);
    // of one write: some systems take all of it before they report progress
    serializer_->limit(std::size_t{64} * 1024);
    writeReply(keepsAlive);
}

/// Writes piece by piece: a long reply over a slow line takes the time it needs as long as it proceeds.
void CHttpSession::writeReply(bool keepsAlive)
{
    limit(limits_.write, Close);
    http::async_write_some(socket_, *serializer_,
                           [self = shared_from_this(), keepsAlive](const error_code& error, std::size_t) {
                               if (!error && !self->serializer_->is_done()) {
                                   self->writeReply(keepsAlive);
                                   return;
                               }
                               self->serializer_.reset();
                               self->response_.reset();
                               if (error || !keepsAlive) {
                                   self->close();
                                   return;
                               }
                               self->awaitRequest();
                           });
}

void CHttpSession::beginEvents(std::chrono::milliseconds interval)
{
    events_.push_back(std::make_shared<const std::string>("HTTP/1.1 200 OK\r\n"
                                                          "Content-Type: text/event-stream\r\n"
                                                          "Cache-Control: no-store\r\n"
                                                          "X-Content-Type-Options: nosniff\r\n"
                                                          "Connection: close\r\n\r\n"));
    sendNextEvent();
    service_.subscribe(shared_from_this(), interval);
    awaitEndOfClient();
}

/// A client of events sends nothing more; reading finds out when it has gone.
void CHttpSession::awaitEndOfClient()
{
    socket_.async_read_some(boost::asio::buffer(&ignored_, 1),
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                                if (error) {
                                    self->close();
                                } else {
                                    self->awaitEndOfClient();
                                }
                            });
}

void CHttpSession::send(std::shared_ptr<const std::string> event)
{
    events_.push_back(std::move(event));
    if (!isWriting_) {
        sendNextEvent();
    }
}

void CHttpSession::sendNextEvent()
{
    if (events_.empty() || !socket_.is_open()) {
        return;
    }
    isWriting_ = true;
    limit(limits_.write, Close);
    const auto proceed = [self = shared_from_this()](const error_code& error, std::size_t size) {
        if (!error) {
            self->limit(self->limits_.write, Close); // a client that reads slowly is none that does not read
        }
        return boost::asio::transfer_all()(error, size);
    };
    boost::asio::async_write(socket_, boost::asio::buffer(*events_.front()), proceed,
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                                 self->onTime_ = Nothing;
                                 self->isWriting_ = false;
                                 self->events_.pop_front();
                                 if (error) {
                                     self->close();
                                     return;
                                 }
                                 self->sendNextEvent();
                             });
}

} // namespace Rvl
