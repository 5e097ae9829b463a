#include "host/web/WebServer.h"

#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include "host/base/HostException.h"
#include "host/web/ApiOperations.h"
#include "host/web/EventFeed.h"
#include "host/web/HttpRouter.h"
#include "host/web/HttpSession.h"
#include "runtime/AlternateStack.h"
#include "runtime/BackgroundThread.h"
#include "runtime/ThreadName.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <map>
#include <optional>
#include <thread>

namespace Rvl {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr unsigned short usualPort = 8080;
// threads for calls into devices, and how many calls into one channel or device there are at a time: a page
// that opens reads several things of a channel at once
constexpr std::size_t commandThreads = 8;
constexpr std::size_t readingThreads = 16;
constexpr int commandsOfOne = 2;
constexpr int readingsOfOne = 6;
constexpr std::size_t longestQueue = 64;

boost::asio::ip::address addressOf(const std::string& text)
{
    if (text == "localhost") {
        return boost::asio::ip::address_v4::loopback();
    }
    error_code error;
    const auto address = boost::asio::ip::make_address(text, error);
    if (error) {
        throw CHostException(ExitUsage,
                             "\"" + text + "\" is no address to listen on; expected one such as 127.0.0.1");
    }
    return address;
}

std::string hostText(const boost::asio::ip::address& address)
{
    return address.is_v6() ? "[" + address.to_string() + "]" : address.to_string();
}

} // namespace

bool parseListenAddress(const std::string& text, SWebOptions& options)
{
    const std::size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    if (colon != std::string::npos) {
        options.address = text.substr(0, colon);
        if (options.address.size() > 2 && options.address.front() == '[' && options.address.back() == ']') {
            options.address = options.address.substr(1, options.address.size() - 2);
        }
        if (options.address.empty()) {
            return false;
        }
    }
    if (port == "auto") {
        options.port = usualPort;
        options.isPortPreferred = true;
        return true;
    }
    const char* const end = port.data() + port.size();
    const auto [last, error] = std::from_chars(port.data(), end, options.port);
    return !port.empty() && last == end && error == std::errc();
}

struct CWebServer::Private : IHttpService
{
    Private(const SWebOptions& options, CLoadedConfiguration& theLoaded, CCommands& theCommands,
            const SShutdownLimits& theLimits, const std::string& version,
            const std::optional<std::filesystem::path>& history)
        : commands(theCommands), limits(theLimits), access(options.token),
          live([this](const CLiveState::Snapshot&) {
              // one after the other, lest they pile up where the server's thread gets little processor time
              if (!isSnapshotPosted.exchange(true)) {
                  boost::asio::post(io, [this] {
                      feed.onSnapshot(live.latest());
                      isSnapshotPosted = false;
                  });
              }
          }),
          ages(std::in_place, theLoaded.session(), theLoaded.session().timeline())
    {
        listen(options);
        const SApiContext context{theLoaded, commands, live,   trend,
                                  *ages,     facts,    access, [this] { return feed.clientCount(); },
                                  version,   history};
        router.emplace(access, operationsOf(context), version);
        commands.addSink([this](const SCommandRecord& record) {
            facts.forget(record.controller);
            boost::asio::post(io, [this, json = recordJson(record)] { feed.broadcast("command", json); });
        });
    }

    // set-up

    void listen(const SWebOptions& options)
    {
        const boost::asio::ip::address address = addressOf(options.address);
        if (!address.is_loopback() && options.token.empty()) {
            throw CHostException(ExitUsage,
                                 "listening on " + options.address +
                                     " lets other computers operate the controllers; expected an access "
                                     "token, or a loopback address");
        }
        error_code error = bind({address, options.port});
        const bool isTaken = error == boost::asio::error::address_in_use ||
                             error == boost::asio::error::access_denied; // of a range that the system keeps
        if (isTaken && options.isPortPreferred) {
            error = bind({address, 0});
        }
        if (error) {
            throw CHostException(ExitFailure, "cannot listen on " + options.address + ":" +
                                                  std::to_string(options.port) + ": " + error.message());
        }
        const unsigned short port = acceptor.local_endpoint().port();
        const bool isAny = address.is_unspecified();
        url = "http://" + (isAny ? "127.0.0.1" : hostText(address)) + ":" + std::to_string(port) + "/";
        for (const std::string& name :
             {std::string("localhost"), std::string("127.0.0.1"), std::string("[::1]"), hostText(address)}) {
            access.allowHost(name, port);
        }
        for (const std::string& name : options.names) {
            access.allowHost(name, port);
        }
    }

    /// Shorter where the others are.
    static SHttpLimits httpLimitsFor(const SShutdownLimits& limits)
    {
        SHttpLimits result;
        result.request = limits.call * 5;
        result.write = limits.call * 5;
        result.idle = limits.call * 30;
        return result;
    }

    error_code bind(const tcp::endpoint& endpoint)
    {
        error_code error;
        acceptor.close(error);
        acceptor.open(endpoint.protocol(), error);
#if !defined(_WIN32) // where the option would let another program take the port over
        acceptor.set_option(tcp::acceptor::reuse_address(true), error);
#endif
        acceptor.bind(endpoint, error);
        if (!error) {
            acceptor.listen(boost::asio::socket_base::max_listen_connections, error);
        }
        return error;
    }

    // the server's thread

    void accept()
    {
        acceptor.async_accept([this](const error_code& error, tcp::socket socket) {
            if (!acceptor.is_open()) {
                return;
            }
            if (!error) {
                std::erase_if(sessions, [](const auto& session) { return session.expired(); });
                if (sessions.size() < httpLimits.connections) {
                    const auto session = std::make_shared<CHttpSession>(std::move(socket), *this, httpLimits);
                    sessions.push_back(session);
                    session->start();
                }
                accept();
                return;
            }
            // such as no descriptor left: not again at once
            acceptTimer.expires_after(std::chrono::milliseconds(100));
            acceptTimer.async_wait([this](const error_code& cancelled) {
                if (!cancelled) {
                    accept();
                }
            });
        });
    }

    void authorize(const SHttpRequest& request, const SHttpCredentials& credentials) override
    {
        router->authorize(request, credentials);
    }

    void serve(const SHttpRequest& request, Done done) override
    {
        if (auto page = router->pageReply(request)) {
            done(std::move(*page));
            return;
        }
        const SOperation& operation = router->api().find(request);
        if (!operation.mayBlock) {
            done(router->api().carryOut(operation, request));
            return;
        }
        // so many that a device that hangs cannot take up all threads
        const bool isReading = request.method == "GET";
        std::string object = CApi::objectOf(operation, request);
        object = object.empty() ? object : (isReading ? "reading " : "command ") + object;
        if (queued >= longestQueue ||
            (!object.empty() && underWay[object] >= (isReading ? readingsOfOne : commandsOfOne))) {
            done(errorReply(503, "too many requests wait for devices"));
            return;
        }
        serveBeside(operation, request, object, std::move(done));
    }

    void serveBeside(const SOperation& operation, const SHttpRequest& request, const std::string& object,
                     Done done)
    {
        struct SCall
        {
            explicit SCall(boost::asio::io_context& context, Done whenDone)
                : timer(context), done(std::move(whenDone))
            {}
            void end(SHttpReply reply)
            {
                if (done) {
                    std::exchange(done, nullptr)(std::move(reply));
                }
            }
            boost::asio::steady_timer timer;
            Done done;
            std::atomic<bool> isExpired{false}; ///< what has not begun by then is not carried out any more
        };
        const auto call = std::make_shared<SCall>(io, std::move(done));
        call->timer.expires_after(limits.call);
        call->timer.async_wait([call](const error_code& cancelled) {
            if (!cancelled) {
                call->isExpired = true;
                call->end(errorReply(504, "the device did not return within the limit"));
            }
        });
        ++queued;
        if (!object.empty()) {
            ++underWay[object];
        }
        boost::asio::post(request.method == "GET" ? readings : commandCalls,
                          [this, call, &operation, request, object] {
                              SHttpReply reply;
                              if (!call->isExpired) {
                                  reply = router->api().carryOut(operation, request);
                              }
                              --queued;
                              boost::asio::post(io, [this, call, object, reply = std::move(reply)]() mutable {
                                  if (const auto found = underWay.find(object);
                                      found != underWay.end() && --found->second == 0) {
                                      underWay.erase(found);
                                  }
                                  call->timer.cancel();
                                  call->end(std::move(reply));
                              });
                          });
    }

    std::optional<std::chrono::milliseconds> eventInterval(const SHttpRequest& request) override
    {
        return router->eventInterval(request);
    }

    void subscribe(const std::shared_ptr<IEventClient>& client, std::chrono::milliseconds interval) override
    {
        feed.add(client, interval);
    }

    // threads

    void start()
    {
        threads.emplace_back([this] {
            makeBackgroundThread(); // many readers must not make a loop late
            run("web", io);
        });
        beginCallThreads(commandThreads, "web command", commandCalls);
        beginCallThreads(readingThreads, "web reading", readings);
        boost::asio::post(io, [this] { accept(); });
    }

    void beginCallThreads(std::size_t count, const std::string& name, boost::asio::io_context& context)
    {
        for (std::size_t index = 0; index < count; ++index) {
            threads.emplace_back([this, name, &context] {
                run(name, context);
                ++endedCallThreads;
            });
        }
    }

    static void run(const std::string& name, boost::asio::io_context& context)
    {
        setThreadName(name);
        const CAlternateStack alternateStack; // for crashes
        context.run();
    }

    bool stop(std::chrono::milliseconds limit)
    {
        if (isStopped) {
            return true;
        }
        commandWork.reset();
        readingWork.reset();
        commandCalls.stop(); // what has not begun is dropped
        readings.stop();
        boost::asio::post(io, [this] {
            error_code ignored;
            acceptor.close(ignored);
            acceptTimer.cancel();
            for (const auto& session : sessions) {
                if (const auto open = session.lock()) {
                    open->close();
                }
            }
            ioWork.reset();
            io.stop();
        });
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!threads.empty() && endedCallThreads < commandThreads + readingThreads) {
            if (std::chrono::steady_clock::now() >= end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ages.reset(); // before the channels that it listens to
        isStopped = true;
        return true;
    }

    CCommands& commands;
    const SShutdownLimits limits;
    const SHttpLimits httpLimits = httpLimitsFor(limits);
    boost::asio::io_context io{1};
    boost::asio::io_context commandCalls;
    boost::asio::io_context readings;
    using Work = boost::asio::executor_work_guard<boost::asio::io_context::executor_type>;
    std::optional<Work> ioWork{io.get_executor()};
    std::optional<Work> commandWork{commandCalls.get_executor()};
    std::optional<Work> readingWork{readings.get_executor()};
    std::map<std::string, int> underWay; ///< calls by channel or device; of the server's thread
    tcp::acceptor acceptor{io};
    boost::asio::steady_timer acceptTimer{io};
    CHttpAccess access;
    CEventFeed feed;
    std::atomic<bool> isSnapshotPosted{false};
    CLiveState live;
    CTrendMemory trend;
    std::optional<CChannelAges> ages;
    CControllerFacts facts;
    std::optional<CHttpRouter> router;
    std::string url;
    std::vector<std::weak_ptr<CHttpSession>> sessions;
    std::atomic<std::size_t> queued{0};
    std::atomic<std::size_t> endedCallThreads{0};
    std::vector<std::thread> threads;
    bool isStopped = false;
};

CWebServer::CWebServer(const SWebOptions& options, CLoadedConfiguration& loaded, CCommands& commands,
                       const SShutdownLimits& limits, const std::string& version,
                       const std::optional<std::filesystem::path>& history)
    : private_(std::make_unique<Private>(options, loaded, commands, limits, version, history))
{}

CWebServer::~CWebServer()
{
    if (!stop(std::chrono::milliseconds(0))) {
        for (std::thread& thread : private_->threads) {
            thread.detach();
        }
        static_cast<void>(private_.release()); // the hung call uses it
    }
}

std::string CWebServer::url() const
{
    return private_->url;
}

std::vector<ISnapshotSink*> CWebServer::sinks()
{
    return {&private_->live, &private_->trend};
}

void CWebServer::start()
{
    private_->start();
}

bool CWebServer::stop(std::chrono::milliseconds limit)
{
    return private_->stop(limit);
}

} // namespace Rvl
