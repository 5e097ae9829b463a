#pragma once

#include <string>

namespace Rvl {

/// The shortest text that reads back as exactly this value ("0.1", "1e-07", "nan"), with a decimal point
/// whatever the locale.
std::string exactText(double value);
/// The value rounded for display: six significant digits.
std::string shortText(double value);
/// A number and its unit, if any: "20 degC".
std::string withUnit(const std::string& number, const std::string& unit);

} // namespace Rvl
