// SPDX-License-Identifier: Apache-2.0
// The configuration: what the program was called with, and nothing from the environment or a file.
#include "host_config.h"

#include <cstdlib>
#include <map>
#include <mutex>

#include "common/config/global_config.h"

namespace {

// A library may ask from any thread.
std::mutex guard;
std::map<std::string, std::string> settings;
std::set<std::string> asked;

std::string Setting(const std::string& key, const std::string& defaultText)
{
    const std::lock_guard<std::mutex> lock(guard);
    asked.insert(key);
    const auto found = settings.find(key);
    return found == settings.end() ? defaultText : found->second;
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
    return std::atoi(Setting(key, std::to_string(defaultValue)).c_str());
}

std::string GetGlobalConfigText(const std::string& key, const std::string& defaultText)
{
    return Setting(key, defaultText);
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
