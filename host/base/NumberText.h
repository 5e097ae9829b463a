#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Rvl {

/// The text without blanks (space, tab, line ends) at either end.
std::string_view withoutOuterBlanks(std::string_view text);

/// The finite real number that the text is, in full, with a decimal point whatever the locale. Blanks around
/// it and a leading "+" are allowed; hexadecimal digits, "inf", "nan" and what no double can hold are not.
std::optional<double> parseReal(std::string_view text);
/// The whole number that the text is, in full, with the same freedoms; nothing if 64 bits do not hold it.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// The shortest text that reads back as exactly this value ("0.1", "1e-07", "nan"), with a decimal point
/// whatever the locale.
std::string exactText(double value);
/// The value for people: six significant digits.
std::string shortText(double value);
/// A number and, if there is one, its unit: "20 degC".
std::string withUnit(const std::string& number, const std::string& unit);

} // namespace Rvl
