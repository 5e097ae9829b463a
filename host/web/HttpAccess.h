#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>

namespace Rvl {

/// What a request says about where it comes from and by which right.
struct SHttpCredentials
{
    std::string host;          ///< the header "Host"
    std::string origin;        ///< the header "Origin"; empty if there is none
    std::string authorization; ///< the header "Authorization"
    std::string cookie;        ///< the header "Cookie"
    std::string local;         ///< this end of the connection, "127.0.0.1:8080"
};

/// Decides which requests are served. A page of another origin that is open in the same browser is refused by
/// its Origin, and by the Host if it made its own name point to this computer. With a token every request
/// needs it, in the header or by a cookie that stands for it.
class CHttpAccess
{
public:
    /// Without a token if it is empty.
    explicit CHttpAccess(std::string token);

    /// `name` may stand in the header Host, followed by the port; so may the address of this end of the
    /// connection.
    void allowHost(const std::string& name, unsigned short port);
    bool needsToken() const { return !token_.empty(); }

    /// Throws CHttpError (403) for another host or origin.
    void checkOrigin(const SHttpCredentials& credentials) const;
    /// Throws CHttpError (401) without the token.
    void checkToken(const SHttpCredentials& credentials) const;
    /// The value of the header Set-Cookie by which a browser has the token from now on. Throws CHttpError
    /// (401) if the token is another one.
    std::string cookieFor(const std::string& token) const;

private:
    const std::string token_;
    const std::string session_; ///< stands for the token in the cookie; random
    std::string cookieName_;    ///< with the port: a browser keeps one set of cookies for all ports
    std::set<std::string> hosts_;
};

/// Whether both are equal, in a time that does not depend on where they differ.
bool equalInConstantTime(const std::string& left, const std::string& right);

/// The token in a file: its first line. Throws CHostException for a file that cannot be read, has no token of
/// 16 characters or more, or that others than its owner may read.
std::string readTokenFile(const std::filesystem::path& file);
/// Throws CHostException unless the text can serve as a token.
std::string checkedToken(const std::string& token, const std::string& origin);

} // namespace Rvl
