// SPDX-License-Identifier: Apache-2.0
// The configuration: what the program was called with, and nothing from the environment or a file.
#include "host_config.h"

#include <charconv>
#include <map>
#include <mutex>
#include <optional>

#include "common/config/global_config.h"

namespace {

// A library may ask from any thread.
std::mutex guard;
std::map<std::string, std::string> settings;
std::set<std::string> asked;

std::optional<std::string> Setting(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(guard);
    asked.insert(key);
    const auto found = settings.find(key);
    return found == settings.end() ? std::nullopt : std::optional(found->second);
}

std::optional<int> Integer(const std::string& text)
{
    int value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && rest == end ? std::optional(value) : std::nullopt;
}

void Set(const std::string& key, const std::string& text)
{
    const std::lock_guard<std::mutex> lock(guard);
    settings[key] = text;
}

}  // namespace

namespace Host {

bool TakeSetting(const std::string& setting)
{
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos) {
        return false;
    }
    Set(setting.substr(0, equals), setting.substr(equals + 1));
    return true;
}

std::set<std::string> AskedKeys()
{
    const std::lock_guard<std::mutex> lock(guard);
    return asked;
}

}  // namespace Host

// What common/config/global_config.h declares.
namespace Tulvo {

int GetGlobalConfigValue(const std::string& key, int defaultValue)
{
    return Integer(Setting(key).value_or("")).value_or(defaultValue);
}

std::string GetGlobalConfigText(const std::string& key, const std::string& defaultText)
{
    return Setting(key).value_or(defaultText);
}

// Trust is decided by settings that are asked for here: what cannot be used must not look unset.
ConfigSetting<int> FindGlobalConfigValue(const std::string& key)
{
    const std::optional<std::string> text = Setting(key);
    if (!text) {
        return {};
    }
    const std::optional<int> value = Integer(*text);
    return value ? ConfigSetting<int>{ConfigState::kSet, *value, {}}
                 : ConfigSetting<int>{ConfigState::kUnusable, 0, key + " must be an integer"};
}

ConfigSetting<std::string> FindGlobalConfigText(const std::string& key)
{
    const std::optional<std::string> text = Setting(key);
    if (!text) {
        return {};
    }
    return text->empty() ? ConfigSetting<std::string>{ConfigState::kUnusable, {}, key + " is empty"}
                         : ConfigSetting<std::string>{ConfigState::kSet, *text, {}};
}

void SetGlobalConfigValue(const std::string& key, int value)
{
    Set(key, std::to_string(value));
}

void SetGlobalConfigText(const std::string& key, const std::string& text)
{
    Set(key, text);
}

}  // namespace Tulvo
