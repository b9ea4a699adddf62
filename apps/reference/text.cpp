// SPDX-License-Identifier: Apache-2.0
#include "apps/reference/text.h"

namespace Tulvo::Reference {

std::string Replaced(std::string text, std::string_view what, std::string_view with)
{
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
    return text;
}

std::string Between(std::string_view begin, std::string_view text, std::string_view end)
{
    return std::string(begin).append(text).append(end);
}

std::string Joined(const std::vector<std::string>& words, std::string_view separator)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : std::string(separator)) + word;
    }
    return text;
}

}  // namespace Tulvo::Reference
