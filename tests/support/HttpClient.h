#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace Rvl::Test {

struct SHttpAnswer
{
    unsigned status = 0;                        ///< 0 if the connection ended without a reply
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;
};

/// A server on this computer, as tests see it. Each request has a connection of its own.
class CHttpClient
{
public:
    /// `url` is "http://127.0.0.1:PORT/".
    explicit CHttpClient(const std::string& url);

    unsigned short port() const { return port_; }
    SHttpAnswer get(const std::string& target, const std::map<std::string, std::string>& headers = {}) const;
    SHttpAnswer send(const std::string& method, const std::string& target, const std::string& json,
                     std::map<std::string, std::string> headers = {}) const;
    /// Sends these bytes and returns all that comes back until the end of the connection, or until nothing
    /// came for the time.
    std::string raw(const std::string& bytes,
                    std::chrono::milliseconds silence = std::chrono::seconds(30)) const;
    /// Reads a stream of events until `isEnough`, which is called with all that came so far, or for 30 s.
    std::string events(const std::string& target,
                       const std::function<bool(const std::string&)>& isEnough) const;

private:
    unsigned short port_ = 0;
};

/// A connection that sends nothing but what it is given, reads nothing before it is asked to, and stays open.
class CSilentConnection
{
public:
    /// With a `receiveBuffer`, in bytes, the system keeps about that much of what was not read.
    CSilentConnection(unsigned short port, const std::string& bytes, int receiveBuffer = 0);
    ~CSilentConnection();
    CSilentConnection(const CSilentConnection&) = delete;
    CSilentConnection& operator=(const CSilentConnection&) = delete;

    /// False if the server has ended the connection.
    bool send(const std::string& bytes);
    /// Whether the server ends the connection within the time. What comes until then is read.
    bool endsWithin(std::chrono::milliseconds time);
    /// All that was read.
    const std::string& received() const;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl::Test
