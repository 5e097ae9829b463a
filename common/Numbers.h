#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace Rvl {

// The one reader of numbers in configurations and on command lines. Numbers have a decimal point whatever the
// locale, and the whole text must be the number; blanks around it are allowed.

/// The text without blanks (space, tab, line ends) at either end.
inline std::string_view withoutOuterBlanks(std::string_view text)
{
    constexpr const char* blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

namespace Private {

/// `format` is what std::from_chars takes after the value: nothing, or the base of an integer.
template <class Number, class... Format>
std::optional<Number> numberOf(std::string_view text, Format... format)
{
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, format...);
    return error == std::errc() && stop == end ? std::optional<Number>(value) : std::nullopt;
}

/// Without outer blanks and a leading "+", which std::from_chars does not take; empty for "+-".
inline std::string_view withoutPlus(std::string_view text)
{
    text = withoutOuterBlanks(text);
    if (!text.starts_with('+')) {
        return text;
    }
    text.remove_prefix(1);
    return text.starts_with('-') ? std::string_view() : text;
}

} // namespace Private

/// The finite real number that the text is. A leading "+" is allowed; hexadecimal digits, "inf", "nan" and
/// what no double can hold are not.
inline std::optional<double> parseReal(std::string_view text)
{
    const auto value = Private::numberOf<double>(Private::withoutPlus(text));
    return value && std::isfinite(*value) ? value : std::nullopt;
}

/// The whole number that the text is. A leading "+" is allowed; a fraction, an exponent and what 64 bits do
/// not hold are not.
inline std::optional<std::int64_t> parseInteger(std::string_view text)
{
    return Private::numberOf<std::int64_t>(Private::withoutPlus(text));
}

/// The hexadecimal number that the text is, with or without "0x" before its digits. A sign and what 32 bits
/// do not hold are not allowed.
inline std::optional<std::uint32_t> parseHexadecimal(std::string_view text)
{
    text = withoutOuterBlanks(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    return Private::numberOf<std::uint32_t>(text, 16);
}

} // namespace Rvl
