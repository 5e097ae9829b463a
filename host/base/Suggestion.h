#pragma once

#include <string>
#include <vector>

namespace Rvl {

/// The choice with the smallest edit distance from a misspelt word, or an empty text if none is near: at most
/// a third of the letters may differ, upper and lower case being equal. Words of more than 64 letters are not
/// compared.
std::string nearestChoice(const std::string& word, const std::vector<std::string>& choices);

/// "A, B or C"; empty without choices.
std::string enumeration(const std::vector<std::string>& choices);

/// What was expected in place of `word`, as messages put it: `one of A, B, C (did you mean "B"?)`, `"A"` if
/// there is but one choice, `none` if there is none. Of more than 40 choices the first 20 are listed with the
/// number of the others. An empty `word` asks for no suggestion.
std::string expectedChoices(const std::string& word, const std::vector<std::string>& choices);

} // namespace Rvl
