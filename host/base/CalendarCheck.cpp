#include "host/base/CalendarCheck.h"

#include <chrono>

namespace Rvl {

namespace {

constexpr int firstYear = 1970;
constexpr int lastYear = 2261;

} // namespace

std::string calendarFault(std::time_t now)
{
    using namespace std::chrono;
    constexpr std::time_t secondsPerDay = 86400;
    constexpr std::time_t mostDays = 365 * 30000; // beyond what a year is counted by
    const std::time_t days = now / secondsPerDay - (now % secondsPerDay < 0 ? 1 : 0);
    if (days > mostDays || days < -mostDays) {
        return "the system's clock is more than 30000 years from 1970; expected a year from " +
               std::to_string(firstYear) + " to " + std::to_string(lastYear);
    }
    const int year(year_month_day(sys_days(std::chrono::days(days))).year());
    return firstYear <= year && year <= lastYear
               ? ""
               : "the system's clock is in the year " + std::to_string(year) + "; expected one from " +
                     std::to_string(firstYear) + " to " + std::to_string(lastYear);
}

} // namespace Rvl
