#include "host/base/UtcText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace Rvl {

std::string utcText(std::chrono::system_clock::time_point moment)
{
    using namespace std::chrono;
    const auto time = floor<milliseconds>(moment);
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()),
                  static_cast<int>(clock.subseconds().count()));
    return buffer.data();
}

namespace {

/// Reads from a text, piece by piece, what stands at fixed places.
class CPieces
{
public:
    explicit CPieces(std::string_view text) : rest_(text) {}

    bool skip(char expected)
    {
        const bool is = !rest_.empty() && rest_.front() == expected;
        rest_.remove_prefix(is ? 1 : 0);
        return is;
    }
    /// Exactly so many digits; -1 if there are other characters.
    int digits(std::size_t count)
    {
        int result = 0;
        for (std::size_t i = 0; i < count; ++i, rest_.remove_prefix(1)) {
            if (rest_.empty() || rest_.front() < '0' || rest_.front() > '9') {
                return -1;
            }
            result = 10 * result + (rest_.front() - '0');
        }
        return result;
    }
    std::size_t leadingDigits() const
    {
        return std::min(rest_.find_first_not_of("0123456789"), rest_.size());
    }
    bool atEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

} // namespace

std::optional<std::chrono::system_clock::time_point> parseUtc(const std::string& text)
{
    using namespace std::chrono;
    CPieces pieces(text);
    const int y = pieces.digits(4);
    const bool hasMonth = pieces.skip('-');
    const int m = pieces.digits(2);
    const bool hasDay = pieces.skip('-');
    const int d = pieces.digits(2);
    constexpr int firstYear = 1678; // of those that the clock's nanoseconds can count
    constexpr int lastYear = 2261;
    if (y < firstYear || y > lastYear || !hasMonth || m < 1 || !hasDay || d < 1) {
        return std::nullopt;
    }
    const year_month_day date(year(y), month(static_cast<unsigned>(m)), day(static_cast<unsigned>(d)));
    if (!date.ok()) {
        return std::nullopt;
    }
    milliseconds time(0);
    if (pieces.skip('T')) {
        const int hour = pieces.digits(2);
        const bool hasMinute = pieces.skip(':');
        const int minute = pieces.digits(2);
        int second = 0;
        int millisecond = 0;
        if (pieces.skip(':')) {
            second = pieces.digits(2);
            if (pieces.skip('.')) {
                const std::size_t length = pieces.leadingDigits();
                millisecond = length < 1 || length > 3 ? -1 : pieces.digits(length);
                for (std::size_t i = length; i < 3; ++i) {
                    millisecond *= 10;
                }
            }
        }
        if (hour < 0 || hour > 23 || !hasMinute || minute < 0 || minute > 59 || second < 0 || second > 59 ||
            millisecond < 0 || !pieces.skip('Z')) {
            return std::nullopt;
        }
        time = hours(hour) + minutes(minute) + seconds(second) + milliseconds(millisecond);
    }
    if (!pieces.atEnd()) {
        return std::nullopt;
    }
    return system_clock::time_point(sys_days(date)) + time;
}

} // namespace Rvl
