#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace Rvl::Test {

/// The text as a whole matches the regular expression (ECMAScript's). GoogleTest's own matcher has neither
/// sets nor groups on Windows.
MATCHER_P(MatchesPattern, pattern, std::string("matches ") + pattern)
{
    return std::regex_match(arg, std::regex(pattern));
}

} // namespace Rvl::Test
