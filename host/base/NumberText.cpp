#include "host/base/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace Rvl {

namespace {

template <class Number> std::optional<Number> parse(std::string_view text)
{
    text = withoutOuterBlanks(text);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') {
            return std::nullopt;
        }
    }
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || text.empty()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string_view withoutOuterBlanks(std::string_view text)
{
    constexpr const char* blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<double> parseReal(std::string_view text)
{
    const auto value = parse<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<std::int64_t> parseInteger(std::string_view text)
{
    return parse<std::int64_t>(text);
}

std::string exactText(double value)
{
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), result.ptr);
}

std::string shortText(double value)
{
    std::array<char, 64> buffer{};
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general, 6);
    return std::string(buffer.data(), result.ptr);
}

std::string withUnit(const std::string& number, const std::string& unit)
{
    return unit.empty() ? number : number + " " + unit;
}

} // namespace Rvl
