// SPDX-License-Identifier: Apache-2.0
/// @file
/// Process-wide settings by key. The first of these that knows the key decides:
///  1. SetGlobalConfigValue or SetGlobalConfigText in this process,
///  2. the environment variable `VKT_<KEY>`,
///  3. the TOML file named by the environment variable `VKT_CONFIG`, else
///     `/etc/vktinventory/config.toml`,
///  4. the caller's default.
/// A source that cannot be used (a file that cannot be read or parsed, a value of another type or
/// out of range) gives one warning with file, line and key, and the next source is asked. Who must
/// not take what cannot be used for what is not set, because trust depends on it, asks the Find
/// functions. All functions may be called from any thread; a changed file is seen at the next call.
#ifndef COMMON_CONFIG_GLOBAL_CONFIG_H
#define COMMON_CONFIG_GLOBAL_CONFIG_H

#include <string>

#include "common/platform/export.h"

namespace Tulvo {

/// The integer set for `key`, or `defaultValue`.
VKT_EXPORT int GetGlobalConfigValue(const std::string& key, int defaultValue);

/// The text set for `key`, or `defaultText`.
VKT_EXPORT std::string GetGlobalConfigText(const std::string& key, const std::string& defaultText);

/// Whether the sources set a key.
enum class ConfigState
{
    kUnset,     ///< No source names the key.
    kSet,       ///< The first source that names the key has a value for it.
    kUnusable,  ///< A source names the key, or may, and what it says cannot be used.
};

/// What the sources say of a key.
template <class Value>
struct ConfigSetting
{
    ConfigState state = ConfigState::kUnset;  ///< Decides which of the others counts.
    Value value{};                            ///< Of kSet only.
    std::string reason;  ///< Of kUnusable only: on one line, which source is wrong, and how.
};

/// The integer set for `key`. Unlike with GetGlobalConfigValue no later source stands in for one
/// that cannot be used, and no warning is written: refuse, with the reason. A key that stands only
/// within a table of the file cannot be used.
VKT_EXPORT ConfigSetting<int> FindGlobalConfigValue(const std::string& key);

/// The text set for `key`, likewise; an empty text cannot be used.
VKT_EXPORT ConfigSetting<std::string> FindGlobalConfigText(const std::string& key);

/// Sets an integer for this process; it stands above every other source.
VKT_EXPORT void SetGlobalConfigValue(const std::string& key, int value);

/// Sets a text for this process; it stands above every other source.
VKT_EXPORT void SetGlobalConfigText(const std::string& key, const std::string& text);

}  // namespace Tulvo

#endif
