#include "host/base/Duration.h"

#include "common/Numbers.h"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace Rvl {

std::optional<std::chrono::milliseconds> parseDuration(const std::string& text)
{
    // "min" and "ms" before "s": the longer unit must not be taken for the shorter one
    constexpr std::array<std::pair<std::string_view, double>, 5> units{
        {{"ms", 1.0}, {"min", 60'000.0}, {"s", 1'000.0}, {"h", 3'600'000.0}, {"d", 86'400'000.0}}};
    constexpr double longest_ms = 100.0 * 365.0 * 24.0 * 3'600'000.0;

    const std::string_view trimmed = withoutOuterBlanks(text);
    for (const auto& [unit, factor] : units) {
        if (!trimmed.ends_with(unit)) {
            continue;
        }
        const auto number = parseReal(trimmed.substr(0, trimmed.size() - unit.size()));
        if (!number || *number < 0.0 || *number * factor > longest_ms) {
            return std::nullopt;
        }
        return std::chrono::milliseconds(std::llround(*number * factor));
    }
    return std::nullopt;
}

} // namespace Rvl
