#include "host/console/ProgressBar.h"

#include "host/base/TextTable.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Rvl {

namespace {

/// "HH:MM:SS", with as many digits of hours as there are.
std::string clockText(std::chrono::nanoseconds time)
{
    const long long seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
    char text[40];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return text;
}

} // namespace

std::string progressLine(std::chrono::nanoseconds done, std::chrono::nanoseconds all,
                         std::chrono::nanoseconds real, std::size_t width)
{
    constexpr std::size_t length = 20;
    const double share =
        all.count() > 0
            ? std::clamp(static_cast<double>(done.count()) / static_cast<double>(all.count()), 0.0, 1.0)
            : 1.0;
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(length));
    char percent[16];
    std::snprintf(percent, sizeof percent, "%3d %%", static_cast<int>(share * 100.0));
    std::string line = "[" + std::string(filled, '#') + std::string(length - filled, '-') + "] " + percent +
                       "  " + clockText(done) + " of " + clockText(all);
    if (real.count() > 0) {
        line += ", " +
                std::to_string(
                    std::llround(static_cast<double>(done.count()) / static_cast<double>(real.count()))) +
                " times real time";
    }
    return "\r\x1b[2K" + firstCharacters(line, width);
}

} // namespace Rvl
