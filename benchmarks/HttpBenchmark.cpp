// Clients of a server over HTTP on this computer.
//
// http_benchmark events PORT TARGET CLIENTS SECONDS
// has so many clients read a stream of events; prints how many events all of them got, and how many bytes
// those were.
//
// http_benchmark requests PORT TARGET CONNECTIONS SECONDS
// has each connection send the same request as soon as it has the reply to the one before; prints how many
// replies with status 200 a second came, and the CPU time that a reply took of the clients.

#include "benchmarks/Measuring.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Rvl::Benchmark {

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;

/// One connection, and what came over it.
struct SConnection
{
    int socket = -1;
    std::string received; ///< of the reply that is being read
    bool wasNewline = false;
};

int connected(unsigned short port)
{
    const int result = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (result < 0 || ::connect(result, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
    const int on = 1;
    ::setsockopt(result, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return result;
}

void send(int socket, const std::string& text)
{
    if (::send(socket, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the request cannot be sent");
    }
}

/// Opens the connections, sends the request over each, and hands over what comes until the time is over.
template <class OnData>
void converse(unsigned short port, const std::string& request, int connections, int seconds, OnData onData)
{
    const int poll = epoll_create1(0);
    std::vector<SConnection> all(static_cast<std::size_t>(connections));
    for (std::size_t index = 0; index < all.size(); ++index) {
        all[index].socket = connected(port);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = index;
        epoll_ctl(poll, EPOLL_CTL_ADD, all[index].socket, &event);
        send(all[index].socket, request);
    }
    std::vector<char> buffer(1 << 20);
    std::array<epoll_event, 64> events{};
    for (const std::int64_t end = now_ns() + seconds * second_ns; now_ns() < end;) {
        const int count = epoll_wait(poll, events.data(), static_cast<int>(events.size()), 100);
        for (int index = 0; index < count; ++index) {
            SConnection& connection = all[events[static_cast<std::size_t>(index)].data.u64];
            const ssize_t size = ::recv(connection.socket, buffer.data(), buffer.size(), 0);
            if (size <= 0) {
                throw std::runtime_error("the server has ended a connection");
            }
            onData(connection, std::string_view(buffer.data(), static_cast<std::size_t>(size)));
        }
    }
    for (const SConnection& connection : all) {
        ::close(connection.socket);
    }
    ::close(poll);
}

std::string requestFor(unsigned short port, const std::string& target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
}

int events(unsigned short port, const std::string& target, int clients, int seconds)
{
    std::int64_t ends = 0; // of events, and one of the header
    std::int64_t bytes = 0;
    converse(port, requestFor(port, target), clients, seconds,
             [&](SConnection& connection, std::string_view data) {
                 bytes += static_cast<std::int64_t>(data.size());
                 if (connection.wasNewline && data.front() == '\n') {
                     ++ends;
                 }
                 for (std::size_t at = data.find('\n'); at < data.size(); at = data.find('\n', at + 1)) {
                     ends += at + 1 < data.size() && data[at + 1] == '\n' ? 1 : 0;
                 }
                 connection.wasNewline = data.back() == '\n';
             });
    std::cout << "{\"events\": " << ends << ", \"bytes\": " << bytes << "}" << std::endl;
    return EXIT_SUCCESS;
}

/// The length of a complete reply at the beginning of what came; 0 if there is none yet.
std::size_t replyLength(const std::string& received)
{
    const std::size_t headerEnd = received.find("\r\n\r\n");
    if (headerEnd == std::string::npos) {
        return 0;
    }
    if (received.compare(0, 12, "HTTP/1.1 200") != 0) {
        throw std::runtime_error("the reply is " + received.substr(0, received.find('\r')));
    }
    const std::string name = "Content-Length: ";
    const std::size_t at = received.find(name);
    if (at > headerEnd) {
        throw std::runtime_error("the reply has no length");
    }
    std::size_t length = 0;
    std::from_chars(received.data() + at + name.size(), received.data() + headerEnd, length);
    const std::size_t complete = headerEnd + 4 + length;
    return received.size() < complete ? 0 : complete;
}

int requests(unsigned short port, const std::string& target, int connections, int seconds)
{
    const std::string request = requestFor(port, target);
    std::int64_t replies = 0;
    std::size_t length = 0;
    const std::int64_t cpuBefore = processCpu_ns();
    converse(port, request, connections, seconds, [&](SConnection& connection, std::string_view data) {
        connection.received += data;
        length = replyLength(connection.received);
        if (length != 0) {
            ++replies;
            connection.received.erase(0, length);
            send(connection.socket, request);
        }
    });
    std::cout << "{\"replies_per_s\": " << static_cast<double>(replies) / seconds << ", \"client_us\": "
              << static_cast<double>(processCpu_ns() - cpuBefore) / 1000.0 / static_cast<double>(replies)
              << "}" << std::endl;
    return EXIT_SUCCESS;
}

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    using namespace Rvl::Benchmark;
    const std::string side = argc > 1 ? argv[1] : "";
    if (argc != 6 || (side != "events" && side != "requests")) {
        std::cerr << "http_benchmark events PORT TARGET CLIENTS SECONDS | requests PORT TARGET CONNECTIONS "
                     "SECONDS"
                  << std::endl;
        return 64;
    }
    raiseDescriptorLimit();
    const auto port = static_cast<unsigned short>(std::atoi(argv[2]));
    try {
        return (side == "events" ? events : requests)(port, argv[3], std::atoi(argv[4]), std::atoi(argv[5]));
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << std::endl;
        return EXIT_FAILURE;
    }
}
