#include "host/web/HttpAccess.h"

#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/web/HttpMessage.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <random>
#include <utility>

namespace Rvl {

namespace {

constexpr std::size_t shortestToken = 16;

std::string randomText()
{
    constexpr std::array<char, 17> digits{"0123456789abcdef"};
    std::random_device source;
    std::uniform_int_distribution<std::size_t> digit(0, 15);
    std::string text;
    for (int i = 0; i < 32; ++i) {
        text.push_back(digits[digit(source)]);
    }
    return text;
}

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

/// The value of a cookie in the header; empty if it is not there.
std::string cookieOf(const std::string& header, const std::string& name)
{
    std::size_t begin = 0;
    while (begin < header.size()) {
        const std::size_t end = std::min(header.find(';', begin), header.size());
        std::string part = header.substr(begin, end - begin);
        part.erase(0, part.find_first_not_of(' '));
        if (part.rfind(name + "=", 0) == 0) {
            return part.substr(name.size() + 1);
        }
        begin = end + 1;
    }
    return {};
}

} // namespace

CHttpAccess::CHttpAccess(std::string token)
    : token_(std::move(token)), session_(randomText()), cookieName_("rivlink_session")
{}

void CHttpAccess::allowHost(const std::string& name, unsigned short port)
{
    cookieName_ = "rivlink_session_" + std::to_string(port);
    const std::string host = lowerCase(name);
    hosts_.insert(host + ":" + std::to_string(port));
    if (port == 80) {
        hosts_.insert(host);
    }
}

void CHttpAccess::checkOrigin(const SHttpCredentials& credentials) const
{
    const std::string host = lowerCase(credentials.host);
    if (host.empty() || (!hosts_.count(host) && host != credentials.local)) {
        throw CHttpError(403, "the request is addressed to another host");
    }
    if (!credentials.origin.empty() && lowerCase(credentials.origin) != "http://" + host) {
        throw CHttpError(403, "the request comes from a page of another origin");
    }
}

void CHttpAccess::checkToken(const SHttpCredentials& credentials) const
{
    if (token_.empty()) {
        return;
    }
    const std::string scheme = "Bearer ";
    const bool hasToken = credentials.authorization.rfind(scheme, 0) == 0 &&
                          equalInConstantTime(credentials.authorization.substr(scheme.size()), token_);
    if (!hasToken && !equalInConstantTime(cookieOf(credentials.cookie, cookieName_), session_)) {
        throw CHttpError(401, "the access token is missing or wrong");
    }
}

std::string CHttpAccess::cookieFor(const std::string& token) const
{
    if (!token_.empty() && !equalInConstantTime(token, token_)) {
        throw CHttpError(401, "the access token is wrong", "token");
    }
    return cookieName_ + "=" + session_ + "; HttpOnly; SameSite=Strict; Path=/";
}

bool equalInConstantTime(const std::string& left, const std::string& right)
{
    unsigned difference = left.size() == right.size() ? 0U : 1U;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const char other = right.empty() ? '\0' : right[i % right.size()];
        difference |=
            static_cast<unsigned char>(left[i]) ^ static_cast<unsigned>(static_cast<unsigned char>(other));
    }
    return difference == 0;
}

std::string checkedToken(const std::string& token, const std::string& origin)
{
    const bool visible = std::all_of(token.begin(), token.end(),
                                     [](unsigned char character) { return std::isgraph(character); });
    if (token.size() < shortestToken || !visible) {
        throw CHostException(ExitUsage,
                             "the access token of " + origin +
                                 " cannot be used; expected 16 characters or more, without blanks");
    }
    return token;
}

std::string readTokenFile(const std::filesystem::path& file)
{
    std::error_code error;
    [[maybe_unused]] const auto status = std::filesystem::status(file, error);
#if !defined(_WIN32) // where the access list decides, which a folder of the user's own keeps from others
    using std::filesystem::perms;
    if (!error && (status.permissions() & (perms::group_all | perms::others_all)) != perms::none) {
        throw CHostException(ExitUsage, "the file " + textOf(file) +
                                            " with the access token can be used by others than its owner; "
                                            "expected the permissions 600");
    }
#endif
    std::ifstream stream(file);
    std::string token;
    if (!stream || !std::getline(stream, token)) {
        throw CHostException(ExitUsage, "the file " + textOf(file) + " with the access token cannot be read");
    }
    if (!token.empty() && token.back() == '\r') {
        token.pop_back();
    }
    return checkedToken(token, "the file " + textOf(file));
}

} // namespace Rvl
