// SPDX-License-Identifier: Apache-2.0
#include "common/log/printable_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace Tulvo {

namespace {

struct Range
{
    std::uint8_t first;
    std::uint8_t last;

    constexpr bool Holds(char character) const
    {
        const auto byte = static_cast<std::uint8_t>(character);
        return first <= byte && byte <= last;
    }
};

/// Characters of one length, by their first byte and what their second one may be.
struct Characters
{
    Range lead;
    std::size_t length;
    Range second;
};

constexpr Range kContinuation = {0x80, 0xBF};

/// UTF-8's well-formed sequences, less the control characters; the narrower second bytes leave out
/// C1 controls, overlong forms, surrogates and what lies above U+10FFFF.
constexpr std::array<Characters, 11> kPrintable = {{
    {{'\t', '\n'}, 1, {}},
    {{0x20, 0x7E}, 1, {}},
    {{0xC2, 0xC2}, 2, {0xA0, 0xBF}},
    {{0xC3, 0xDF}, 2, kContinuation},
    {{0xE0, 0xE0}, 3, {0xA0, 0xBF}},
    {{0xE1, 0xEC}, 3, kContinuation},
    {{0xED, 0xED}, 3, {0x80, 0x9F}},
    {{0xEE, 0xEF}, 3, kContinuation},
    {{0xF0, 0xF0}, 4, {0x90, 0xBF}},
    {{0xF1, 0xF3}, 4, kContinuation},
    {{0xF4, 0xF4}, 4, {0x80, 0x8F}},
}};

bool StartsWith(const Characters& characters, std::string_view text)
{
    if (!characters.lead.Holds(text[0]) || text.size() < characters.length) {
        return false;
    }
    const std::string_view rest = text.substr(1, characters.length - 1);
    return rest.empty() || (characters.second.Holds(rest[0]) &&
                            std::all_of(rest.begin(), rest.end(), [](char character) {
                                return kContinuation.Holds(character);
                            }));
}

/// Bytes of the printable character that `text`, which is not empty, starts with, else 0.
std::size_t PrintableLength(std::string_view text)
{
    const auto* const found =
        std::find_if(kPrintable.begin(), kPrintable.end(),
                     [text](const Characters& characters) { return StartsWith(characters, text); });
    return found == kPrintable.end() ? 0 : found->length;
}

std::string Escaped(char character)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto byte = static_cast<std::uint8_t>(character);
    return {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
}

}  // namespace

std::string PrintableText(std::string_view text)
{
    std::string printable;
    while (!text.empty()) {
        const std::size_t length = PrintableLength(text);
        printable += length > 0 ? std::string(text.substr(0, length)) : Escaped(text[0]);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return printable;
}

}  // namespace Tulvo
