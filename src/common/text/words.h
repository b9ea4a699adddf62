// SPDX-License-Identifier: Apache-2.0
/// @file
/// Names of programs as people write them.
#ifndef COMMON_TEXT_WORDS_H
#define COMMON_TEXT_WORDS_H

#include <string>
#include <string_view>

namespace Tulvo::Text {

/// "powerState" as people write it: "power state".
inline std::string InWords(std::string_view name)
{
    std::string words;
    for (const char letter : name) {
        const bool upper = letter >= 'A' && letter <= 'Z';
        words += upper ? " " : "";
        words += static_cast<char>(upper ? letter - 'A' + 'a' : letter);
    }
    return words;
}

}  // namespace Tulvo::Text

#endif
