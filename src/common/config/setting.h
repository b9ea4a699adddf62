// SPDX-License-Identifier: Apache-2.0
/// @file
/// The kinds of values that a setting can have.
#ifndef COMMON_CONFIG_SETTING_H
#define COMMON_CONFIG_SETTING_H

#include <optional>
#include <string>
#include <utility>

namespace Tulvo::Config {

/// What one source says about a key: a value, nothing, or nothing usable and why.
template <class Value>
struct Statement
{
    std::optional<Value> value;
    std::string origin;     ///< Of a value: source and key, as the subject of a sentence.
    std::string complaint;  ///< Empty, or a sentence that names the source, and the key if it can.
};

/// What a complaint tells the user to write instead.
template <class Value>
inline constexpr const char* kWanted = nullptr;
template <>
inline constexpr const char* kWanted<int> = "an integer from -2147483648 to 2147483647";
template <>
inline constexpr const char* kWanted<std::string> = "a text";

/// What `origin` says of a key, which is not usable without a value.
template <class Value>
Statement<Value> MakeStatement(const std::string& origin, std::optional<Value> value)
{
    return value ? Statement<Value>{std::move(value), origin, {}}
                 : Statement<Value>{{}, {}, origin + " must be " + kWanted<Value>};
}

}  // namespace Tulvo::Config

#endif
