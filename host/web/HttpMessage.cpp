#include "host/web/HttpMessage.h"

#include "host/base/ControlCharacters.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace Rvl {

namespace {

constexpr unsigned badRequest = 400;

/// Decodes "%20", and "+" where it stands for a blank.
std::string decoded(const std::string& text, bool plusIsBlank)
{
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char character = text[at];
        if (character == '%') {
            unsigned value = 0;
            const char* const begin = text.data() + at + 1;
            const char* const end = begin + 2;
            if (at + 2 >= text.size() || std::from_chars(begin, end, value, 16).ptr != end) {
                throw CHttpError(badRequest, "the target has a % that two hexadecimal digits do not follow");
            }
            character = static_cast<char>(value);
            at += 2;
        } else if (character == '+' && plusIsBlank) {
            character = ' ';
        }
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7f) {
            throw CHttpError(badRequest, "the target has a control character");
        }
        result.push_back(character);
    }
    return result;
}

} // namespace

std::vector<std::string> partsOf(std::string_view text, char separator)
{
    std::vector<std::string> result;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        result.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

SHttpReply errorReply(unsigned status, const std::string& message, const std::string& field)
{
    using nlohmann::ordered_json;
    // both may repeat what the request has, and programs print them; what is no UTF-8 is escaped as well
    const ordered_json error{
        {"error",
         {{"message", escapeControlCharacters(message)},
          {"field", field.empty() ? ordered_json() : ordered_json(escapeControlCharacters(field))}}}};
    SHttpReply reply;
    reply.status = status;
    reply.body = error.dump();
    return reply;
}

void parseTarget(const std::string& target, SHttpRequest& request)
{
    if (target.empty() || target.front() != '/') {
        throw CHttpError(badRequest, "the target is no path; expected one that begins with /");
    }
    const std::size_t question = target.find('?');
    request.path = target.substr(0, question);
    for (const std::string& part : partsOf(std::string_view(request.path).substr(1), '/')) {
        request.segments.push_back(decoded(part, false));
        const std::string& segment = request.segments.back();
        if (segment == "." || segment == "..") {
            throw CHttpError(badRequest, "the path has a segment \"" + segment + "\"");
        }
    }
    if (question == std::string::npos) {
        return;
    }
    for (const std::string& part : partsOf(std::string_view(target).substr(question + 1), '&')) {
        const std::size_t equals = part.find('=');
        request.query[decoded(part.substr(0, equals), true)] =
            equals == std::string::npos ? "" : decoded(part.substr(equals + 1), true);
    }
}

} // namespace Rvl
