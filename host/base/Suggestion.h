#pragma once

#include <string>
#include <vector>

namespace Rvl {

/// The choice that a misspelt word most probably means, or an empty text if none is near: at most a third of
/// the letters may differ, letter case counting little.
std::string nearestChoice(const std::string& word, const std::vector<std::string>& choices);

/// "A, B or C"; empty without choices.
std::string enumeration(const std::vector<std::string>& choices);

/// What a report says was expected in place of `word`: `one of A, B, C (did you mean "B"?)`, `"A"` if there
/// is but one choice, `none` if there is none.
std::string expectedChoices(const std::string& word, const std::vector<std::string>& choices);

} // namespace Rvl
