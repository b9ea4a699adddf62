// SPDX-License-Identifier: Apache-2.0
/// @file
/// The kinds of values that a setting can have.
#ifndef COMMON_CONFIG_SETTING_H
#define COMMON_CONFIG_SETTING_H

#include <optional>
#include <string>

namespace Tulvo {

/// What one source says about a key: a value, nothing, or nothing usable and why.
template <class Value>
struct Answer
{
    std::optional<Value> value;
    std::string complaint;  ///< Empty, or a sentence that names the source and the key.
};

/// What a complaint tells the user to write instead.
template <class Value>
inline constexpr const char* kWanted = nullptr;
template <>
inline constexpr const char* kWanted<int> = "an integer from -2147483648 to 2147483647";
template <>
inline constexpr const char* kWanted<std::string> = "a text";

}  // namespace Tulvo

#endif
