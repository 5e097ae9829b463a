#include "tests/support/HttpClient.h"

#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>
#include <stdexcept>

namespace Rvl::Test {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

tcp::endpoint serverAt(unsigned short port)
{
    return {boost::asio::ip::address_v4::loopback(), port};
}

/// All that comes from a socket until its end, until `isEnough`, or until nothing came for the time.
std::string readAll(boost::asio::io_context& context, tcp::socket& socket, std::chrono::milliseconds silence,
                    const std::function<bool(const std::string&)>& isEnough)
{
    std::string received;
    std::array<char, 65536> buffer{};
    while (!isEnough(received)) {
        bool ended = false;
        socket.async_read_some(boost::asio::buffer(buffer), [&](const error_code& error, std::size_t size) {
            received.append(buffer.data(), size);
            ended = static_cast<bool>(error);
        });
        context.restart();
        if (context.run_one_for(silence) == 0) {
            error_code ignored;
            socket.close(ignored);
            context.run();
            break;
        }
        if (ended) {
            break;
        }
    }
    return received;
}

SHttpAnswer parsed(const std::string& text)
{
    SHttpAnswer answer;
    const std::size_t headerEnd = text.find("\r\n\r\n");
    if (headerEnd == std::string::npos) {
        return answer;
    }
    std::istringstream header(text.substr(0, headerEnd));
    std::string line;
    header >> line >> answer.status;
    std::getline(header, line);
    while (std::getline(header, line)) {
        const std::size_t colon = line.find(": ");
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
        line.erase(line.find_last_not_of('\r') + 1);
        answer.headers[name] = line.substr(colon + 2);
    }
    answer.body = text.substr(headerEnd + 4);
    return answer;
}

} // namespace

CHttpClient::CHttpClient(const std::string& url)
{
    const std::string prefix = "http://127.0.0.1:";
    if (url.rfind(prefix, 0) != 0) {
        throw std::invalid_argument("no address of a server: " + url);
    }
    port_ = static_cast<unsigned short>(std::stoi(url.substr(prefix.size())));
}

std::string CHttpClient::raw(const std::string& bytes, std::chrono::milliseconds silence) const
{
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(serverAt(port_));
    error_code ignored; // the server may have refused before it has read everything
    boost::asio::write(socket, boost::asio::buffer(bytes), ignored);
    return readAll(context, socket, silence, [](const std::string&) { return false; });
}

SHttpAnswer CHttpClient::get(const std::string& target,
                             const std::map<std::string, std::string>& headers) const
{
    return send("GET", target, "", headers);
}

SHttpAnswer CHttpClient::send(const std::string& method, const std::string& target, const std::string& json,
                              std::map<std::string, std::string> headers) const
{
    headers.try_emplace("Host", "127.0.0.1:" + std::to_string(port_));
    headers.try_emplace("Connection", "close");
    if (!json.empty()) {
        headers.try_emplace("Content-Type", "application/json");
        headers.try_emplace("Content-Length", std::to_string(json.size()));
    }
    std::string request = method + " " + target + " HTTP/1.1\r\n";
    for (const auto& [name, value] : headers) {
        request += name + ": " + value + "\r\n";
    }
    return parsed(raw(request + "\r\n" + json));
}

std::string CHttpClient::events(const std::string& target,
                                const std::function<bool(const std::string&)>& isEnough) const
{
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(serverAt(port_));
    const std::string request =
        "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n\r\n";
    boost::asio::write(socket, boost::asio::buffer(request));
    return readAll(context, socket, std::chrono::seconds(30), isEnough);
}

struct CSilentConnection::Private
{
    void read()
    {
        isReading = true;
        socket.async_read_some(boost::asio::buffer(buffer),
                               [this](const error_code& error, std::size_t size) {
                                   received.append(buffer.data(), size);
                                   isReading = false;
                                   hasEnded = static_cast<bool>(error);
                               });
    }

    boost::asio::io_context context;
    tcp::socket socket{context};
    std::array<char, 4096> buffer{};
    std::string received;
    bool isReading = false;
    bool hasEnded = false;
};

CSilentConnection::CSilentConnection(unsigned short port, const std::string& bytes, int receiveBuffer)
    : private_(std::make_unique<Private>())
{
    const tcp::endpoint server = serverAt(port);
    private_->socket.open(server.protocol());
    if (receiveBuffer > 0) { // before connecting, when the window is agreed on
        private_->socket.set_option(boost::asio::socket_base::receive_buffer_size(receiveBuffer));
    }
    private_->socket.connect(server);
    boost::asio::write(private_->socket, boost::asio::buffer(bytes));
}

CSilentConnection::~CSilentConnection() = default;

bool CSilentConnection::send(const std::string& bytes)
{
    error_code error;
    boost::asio::write(private_->socket, boost::asio::buffer(bytes), error);
    return !error;
}

bool CSilentConnection::endsWithin(std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (!private_->hasEnded) {
        if (!private_->isReading) {
            private_->read();
        }
        private_->context.restart();
        if (private_->context.run_one_until(end) == 0) {
            return false;
        }
    }
    return true;
}

const std::string& CSilentConnection::received() const
{
    return private_->received;
}

} // namespace Rvl::Test
