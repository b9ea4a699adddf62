// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/check/range.h"

#include <charconv>
#include <system_error>

namespace Tulvo::Cli {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Digits, and perhaps a sign and a fraction: neither "nan" nor "inf" nor an exponent.
std::optional<double> ParseNumber(std::string_view text)
{
    if (text.empty() || text.find_first_not_of("0123456789.-") != text.npos) {
        return std::nullopt;
    }
    double number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number, std::chars_format::fixed);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

std::optional<double> ParseStart(std::string_view text)
{
    return text == "~" ? std::optional(-kInfinity) : ParseNumber(text);
}

std::optional<double> ParseEnd(std::string_view text)
{
    return text.empty() ? std::optional(kInfinity) : ParseNumber(text);
}

}  // namespace

std::optional<Range> ParseRange(std::string_view text)
{
    Range range;
    range.inverted = text.starts_with('@');
    text.remove_prefix(range.inverted ? 1 : 0);
    const std::size_t colon = text.find(':');
    const auto start = colon == text.npos ? std::optional(0.0) : ParseStart(text.substr(0, colon));
    const auto end = colon == text.npos ? ParseNumber(text) : ParseEnd(text.substr(colon + 1));
    if (!start || !end || *start > *end) {
        return std::nullopt;
    }
    range.start = *start;
    range.end = *end;
    return range;
}

}  // namespace Tulvo::Cli
