#include "host/web/HttpSession.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

using namespace Rvl;

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Far more than what the system keeps of what a client has not read yet.
constexpr std::size_t longText = 8 * 1024 * 1024;

/// Replies with a long text, or sends it as an event.
class CLongService : public IHttpService
{
public:
    void authorize(const SHttpRequest&, const SHttpCredentials&) override {}
    void serve(const SHttpRequest&, Done done) override
    {
        SHttpReply reply;
        reply.body.assign(longText, 'x');
        done(std::move(reply));
    }
    std::optional<milliseconds> eventInterval(const SHttpRequest& request) override
    {
        return request.path == "/events" ? std::optional<milliseconds>(milliseconds(100)) : std::nullopt;
    }
    void subscribe(const std::shared_ptr<IEventClient>& client, milliseconds) override
    {
        client->send(std::make_shared<const std::string>(longText, 'x'));
    }
};

/// A client and its session, over a real connection. A write that stands still is given up after 0.7 s.
class HttpSessionTest : public testing::Test
{
protected:
    HttpSessionTest()
    {
        tcp::acceptor acceptor(server_, {boost::asio::ip::address_v4::loopback(), 0});
        client_.open(tcp::v4());
        client_.set_option(boost::asio::socket_base::receive_buffer_size(32 * 1024));
        client_.connect(acceptor.local_endpoint());
        SHttpLimits limits;
        limits.write = milliseconds(700);
        session_ = std::make_shared<CHttpSession>(acceptor.accept(), service_, limits);
        session_->start();
        thread_ = std::thread([this] { server_.run(); });
    }
    ~HttpSessionTest() override
    {
        error_code ignored;
        client_.close(ignored);
        boost::asio::post(server_, [this] { session_->close(); });
        thread_.join();
    }

    void request(const std::string& path)
    {
        boost::asio::write(client_, boost::asio::buffer("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n"));
    }
    /// How many bytes come until there are `enough` or the connection ends, with a pause after each 256 KiB.
    std::size_t read(std::size_t enough, milliseconds pause)
    {
        std::array<char, 65536> buffer{};
        std::size_t size = 0;
        error_code error;
        for (std::size_t rested = 0; size < enough && !error;) {
            size += client_.read_some(boost::asio::buffer(buffer), error);
            if (size - rested >= 256 * 1024) {
                rested = size;
                std::this_thread::sleep_for(pause);
            }
        }
        return size;
    }

    boost::asio::io_context server_;
    CLongService service_;
    tcp::socket client_{server_};
    std::shared_ptr<CHttpSession> session_;
    std::thread thread_;
};

} // namespace

TEST_F(HttpSessionTest, LongReplyTakesTheTimeItNeedsAsLongAsItProceeds)
{
    request("/");
    const auto begin = steady_clock::now();
    EXPECT_GE(read(longText, milliseconds(60)), longText);
    EXPECT_GT(steady_clock::now() - begin, milliseconds(1400)) << "twice what ends a reply that stands still";
}

TEST_F(HttpSessionTest, LongEventTakesTheTimeItNeedsAsLongAsItProceeds)
{
    request("/events");
    const auto begin = steady_clock::now();
    EXPECT_GE(read(longText, milliseconds(60)), longText);
    EXPECT_GT(steady_clock::now() - begin, milliseconds(1400));
}

TEST_F(HttpSessionTest, ReplyThatStandsStillEndsTheConnectionAndTheSystemKeepsLittleOfIt)
{
    request("/");
    std::this_thread::sleep_for(milliseconds(2000));
    EXPECT_LT(read(longText, milliseconds(0)), 1024 * 1024);
}
