// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts that must not outlive their use in this process's memory.
#ifndef MODULE_VKT_VKT_HTTPS_SECRET_TEXT_H
#define MODULE_VKT_VKT_HTTPS_SECRET_TEXT_H

#include <string.h>

#include <string>

namespace Tulvo::Https {

/// Overwrites `text`, its unused capacity included, and empties it.
inline void Wipe(std::string& text)
{
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
    text.clear();
}

/// A text that is wiped when it ends. It is never copied: each copy would be one more to wipe.
struct SecretText
{
    SecretText() = default;
    explicit SecretText(std::string&& source) { text.swap(source); }
    ~SecretText() { Wipe(text); }
    SecretText(SecretText&& other) noexcept { text.swap(other.text); }
    SecretText& operator=(SecretText&& other) noexcept
    {
        text.swap(other.text);
        Wipe(other.text);
        return *this;
    }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;

    std::string text;
};

}  // namespace Tulvo::Https

#endif
