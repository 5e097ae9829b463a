#include "host/base/Suggestion.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <numeric>

namespace Rvl {

namespace {

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

constexpr std::size_t longestCompared = 64;
constexpr std::size_t mostListed = 40;
constexpr std::size_t listedOfMore = 20;

/// The number of letters to change, insert, drop or swap with their neighbour to get from one word to the
/// other (optimal string alignment); `limit` if it is not below that. Both are of at most longestCompared
/// letters.
std::size_t distance(const std::string& from, const std::string& to, std::size_t limit)
{
    if (std::max(from.size(), to.size()) - std::min(from.size(), to.size()) >= limit) {
        return limit;
    }
    std::array<std::array<std::size_t, longestCompared + 1>, 3> rows{};
    std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        auto& row = rows[i % 3];
        const auto& above = rows[(i - 1) % 3];
        const auto& twoAbove = rows[(i + 1) % 3];
        row[0] = i;
        std::size_t least = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + change});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], twoAbove[j - 2] + 1);
            }
            least = std::min(least, row[j]);
        }
        // a swap reaches back two rows, and costs one
        if (least > limit) {
            return limit;
        }
    }
    return std::min(rows[from.size() % 3][to.size()], limit);
}

} // namespace

std::string nearestChoice(const std::string& word, const std::vector<std::string>& choices)
{
    std::string nearest;
    if (word.empty() || word.size() > longestCompared) {
        return nearest;
    }
    const std::string wanted = lower(word);
    std::size_t best = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& choice : choices) {
        if (choice.size() > longestCompared) {
            continue;
        }
        const std::size_t letters = distance(wanted, lower(choice), best);
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
    const std::size_t listed = choices.size() > mostListed ? listedOfMore : choices.size();
    for (std::size_t i = 0; i < listed; ++i) {
        result += (i > 0 ? ", " : "") + choices[i];
    }
    if (listed < choices.size()) {
        result += " and " + std::to_string(choices.size() - listed) + " others";
    }
    const std::string nearest = nearestChoice(word, choices);
    if (!nearest.empty()) {
        result += " (did you mean \"" + nearest + "\"?)";
    }
    return result;
}

} // namespace Rvl
