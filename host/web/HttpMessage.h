#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Rvl {

/// A request as operations see it, whatever transported it.
struct SHttpRequest
{
    std::string method; ///< in capitals
    std::string path;   ///< as sent, without the query
    std::vector<std::string>
        segments; ///< the path's, decoded: "/api/channels/A%20B" is {"api", "channels", "A B"}
    std::map<std::string, std::string> query; ///< decoded
    std::string contentType;
    std::string body;
    std::string source; ///< for the records of commands: "page 127.0.0.1"
};

struct SHttpReply
{
    unsigned status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers; ///< besides those of every reply
};

/// A request that is not carried out.
class CHttpError : public std::runtime_error
{
public:
    /// `message` is a sentence without a full stop, `field` the member or parameter at fault, or empty.
    CHttpError(unsigned status, const std::string& message, std::string field = {})
        : std::runtime_error(message), status_(status), field_(std::move(field))
    {}

    unsigned status() const { return status_; }
    const std::string& field() const { return field_; }

private:
    unsigned status_;
    std::string field_;
};

/// The reply that reports an error: {"error": {"message": ..., "field": ...}}. Control characters, and bytes
/// that are no UTF-8, are made visible in both: "\n", "\xff".
SHttpReply errorReply(unsigned status, const std::string& message, const std::string& field = {});

/// What stands between separators; the end of the text begins no part: "a//b/" is "a", "", "b".
std::vector<std::string> partsOf(std::string_view text, char separator);

/// Takes a request's target apart into path, segments and query. Throws CHttpError (400) for an encoding that
/// is not valid, a control character, or a segment "." or "..".
void parseTarget(const std::string& target, SHttpRequest& request);

} // namespace Rvl
