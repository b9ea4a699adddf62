// SPDX-License-Identifier: Apache-2.0
/// @file
/// Numbers as they stand in host names, leading zeros and all: "7" and "007" are two.
#ifndef FLEET_NUMBER_RUNS_H
#define FLEET_NUMBER_RUNS_H

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Fleet {

inline constexpr std::string_view kDigits = "0123456789";

/// A longer row of digits is text: no arithmetic is done with it.
inline constexpr std::size_t kMostDigits = 18;

/// Of one to kMostDigits digits.
inline std::uint64_t NumberOf(std::string_view digits)
{
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

inline bool HasLeadingZero(std::string_view digits)
{
    return digits.size() > 1 && digits.front() == '0';
}

/// Shorter ones first, and with as many digits by their value.
inline bool StandsBefore(std::string_view one, std::string_view other)
{
    return one.size() != other.size() ? one.size() < other.size() : one < other;
}

/// Consecutive numbers; one alone is both first and last.
struct NumberRun
{
    std::string first;
    std::string last;
};

/// ClusterShell's division into runs. A run that has leading zeros keeps its width; so does one
/// behind a single number that has them.
inline std::vector<NumberRun> RunsOf(std::vector<std::string> numbers)
{
    std::sort(numbers.begin(), numbers.end(), StandsBefore);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    std::vector<NumberRun> runs;
    bool padded = false;
    for (const std::string& number : numbers) {
        const bool zeros = HasLeadingZero(number);
        bool fits = false;
        if (!runs.empty()) {
            const std::string& last = runs.back().last;
            fits = padded ? last.size() == number.size() : !zeros;
            if (fits && NumberOf(number) == NumberOf(last) + 1) {
                runs.back().last = number;
                continue;
            }
            fits = fits && runs.back().first == last;
        }
        padded = fits ? padded : zeros;
        runs.push_back({number, number});
    }
    return runs;
}

}  // namespace Tulvo::Fleet

#endif
