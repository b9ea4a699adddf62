// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/suggestion.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace Tulvo::Cli {
namespace {

constexpr std::size_t kShortestPrefix = 3;
/// Nothing that is longer is a misspelt word of ours.
constexpr std::size_t kLongestWord = 40;

std::string InLowerCase(std::string_view word)
{
    std::string lower(word);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char letter) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    });
    return lower;
}

/// So many letters have to be put in, left out, changed or swapped with their neighbour.
std::size_t Distance(std::string_view one, std::string_view other)
{
    using Row = std::vector<std::size_t>;
    std::vector<Row> rows(one.size() + 1, Row(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); ++i) {
        for (std::size_t j = 0; j <= other.size(); ++j) {
            if (i == 0 || j == 0) {
                rows[i][j] = i + j;
                continue;
            }
            const std::size_t changed = one[i - 1] == other[j - 1] ? 0 : 1;
            rows[i][j] =
                std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + changed});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
            }
        }
    }
    return rows[one.size()][other.size()];
}

}  // namespace

std::string_view NearestTo(std::string_view word, const std::vector<std::string_view>& known)
{
    if (word.size() < 2 || word.size() > kLongestWord) {
        return {};
    }
    const std::string lower = InLowerCase(word);
    std::string_view nearest;
    std::size_t least = 1 + word.size() / 4 + 1;
    for (const std::string_view candidate : known) {
        const std::string name = InLowerCase(candidate);
        const bool isShortened = lower.size() >= kShortestPrefix && name.starts_with(lower);
        const std::size_t distance = isShortened ? 0 : Distance(lower, name);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string Suggestion(std::string_view word, const std::vector<std::string_view>& known)
{
    const std::string_view nearest = NearestTo(word, known);
    return nearest.empty() ? "" : " (did you mean \"" + std::string(nearest) + "\"?)";
}

}  // namespace Tulvo::Cli
