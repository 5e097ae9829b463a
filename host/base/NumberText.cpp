#include "host/base/NumberText.h"

#include <array>
#include <charconv>

namespace Rvl {

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
