// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts of others (a module, a document, a command line) made harmless for terminals and for
/// programs that read line by line. Two forms: PrintableAscii() for one line in a message,
/// PrintableText() for a text that may have lines and letters of any language.
#ifndef COMMON_TEXT_PRINTABLE_H
#define COMMON_TEXT_PRINTABLE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/text/hexadecimal.h"

namespace Tulvo::Text {

/// Whatever locale the host program has set.
constexpr bool IsPrintableAscii(char character)
{
    return character >= ' ' && character <= '~';
}

/// `\xNN`.
inline std::string EscapedByte(char character)
{
    std::string text = "\\x";
    AppendHexPair(text, static_cast<std::uint8_t>(character));
    return text;
}

/// `text` on one line, each byte that is no printable ASCII as `\xNN`. Of a longer text than `most`
/// bytes the rest is left out, which "..." says.
inline std::string PrintableAscii(std::string_view text, std::size_t most = std::string_view::npos)
{
    std::string printable;
    for (const char character : text.substr(0, most)) {
        if (IsPrintableAscii(character)) {
            printable += character;
        } else {
            printable += EscapedByte(character);
        }
    }
    return text.size() > most ? printable + "..." : printable;
}

/// How much of a name, a value or another word a message shows.
inline constexpr std::size_t kMostShown = 80;

/// As much of `text` as a message shows, in double quotes.
inline std::string Quoted(std::string_view text)
{
    return std::string("\"").append(PrintableAscii(text, kMostShown)).append("\"");
}

namespace Utf8 {

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

inline constexpr Range kContinuation = {0x80, 0xBF};

/// UTF-8's well-formed sequences, less the control characters; the narrower second bytes leave out
/// C1 controls, overlong forms, surrogates and what lies above U+10FFFF.
inline constexpr std::array<Characters, 11> kPrintable = {{
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

inline bool StartsWith(const Characters& characters, std::string_view text)
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
inline std::size_t PrintableLength(std::string_view text)
{
    const auto* const found =
        std::find_if(kPrintable.begin(), kPrintable.end(),
                     [text](const Characters& characters) { return StartsWith(characters, text); });
    return found == kPrintable.end() ? 0 : found->length;
}

}  // namespace Utf8

/// `text` with each byte that belongs to no printable UTF-8 character, line feed or tab as `\xNN`.
inline std::string PrintableText(std::string_view text)
{
    std::string printable;
    while (!text.empty()) {
        const std::size_t length = Utf8::PrintableLength(text);
        printable += length > 0 ? std::string(text.substr(0, length)) : EscapedByte(text[0]);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return printable;
}

}  // namespace Tulvo::Text

#endif
