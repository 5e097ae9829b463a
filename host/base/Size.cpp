#include "host/base/Size.h"

#include "common/Numbers.h"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace Rvl {

std::optional<std::uint64_t> parseSize(const std::string& text)
{
    // "B" last: every other unit ends with it
    constexpr std::array<std::pair<std::string_view, double>, 5> units{
        {{"kB", 1e3}, {"MB", 1e6}, {"GB", 1e9}, {"TB", 1e12}, {"B", 1.0}}};
    constexpr double largest = 1e15;

    const std::string_view trimmed = withoutOuterBlanks(text);
    for (const auto& [unit, factor] : units) {
        if (!trimmed.ends_with(unit)) {
            continue;
        }
        const auto number = parseReal(trimmed.substr(0, trimmed.size() - unit.size()));
        if (!number || *number < 0.0 || *number * factor > largest) {
            return std::nullopt;
        }
        return static_cast<std::uint64_t>(std::llround(*number * factor));
    }
    return std::nullopt;
}

} // namespace Rvl
