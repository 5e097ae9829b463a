#include "host/base/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace Rvl {

namespace {

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

/// The number of letters to change, insert, drop or swap with their neighbour to get from one word to the
/// other (optimal string alignment).
std::size_t distance(const std::string& from, const std::string& to)
{
    std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const std::size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[from.size()][to.size()];
}

} // namespace

std::string nearestChoice(const std::string& word, const std::vector<std::string>& choices)
{
    std::string nearest;
    if (word.empty()) {
        return nearest;
    }
    std::size_t best = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& choice : choices) {
        const std::size_t letters = distance(lower(word), lower(choice));
        if (letters < best) {
            best = letters;
            nearest = choice;
        }
    }
    return nearest;
}

std::string enumeration(const std::vector<std::string>& choices)
{
    std::string result;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (i > 0) {
            result += i + 1 == choices.size() ? " or " : ", ";
        }
        result += choices[i];
    }
    return result;
}

std::string expectedChoices(const std::string& word, const std::vector<std::string>& choices)
{
    if (choices.empty()) {
        return "none";
    }
    if (choices.size() == 1) {
        return "\"" + choices.front() + "\"";
    }
    std::string result = "one of ";
    for (std::size_t i = 0; i < choices.size(); ++i) {
        result += (i > 0 ? ", " : "") + choices[i];
    }
    const std::string nearest = nearestChoice(word, choices);
    if (!nearest.empty()) {
        result += " (did you mean \"" + nearest + "\"?)";
    }
    return result;
}

} // namespace Rvl
