// SPDX-License-Identifier: Apache-2.0
#include "common/config/global_config.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "common/config/config_file.h"
#include "common/config/setting.h"
#include "common/log/log.h"
#include "common/text/printable.h"

namespace Tulvo {

namespace Config {
namespace {

constexpr const char* kDefaultFile = "/etc/vktinventory/config.toml";

struct Configuration
{
    std::mutex mutex;
    std::map<std::string, std::variant<int, std::string>> ownSettings;
    ConfigFile file;
    /// What was wrong at the last look, by what it was wrong with: said once, not at every look.
    std::map<std::string, std::string> complaints;
};

/// Never destroyed: other libraries may ask while the process ends.
Configuration& TheConfiguration()
{
    static Configuration& configuration = *new Configuration;
    return configuration;
}

template <class Value>
Statement<Value> AskProcess(Configuration& configuration, const std::string& key)
{
    const auto found = configuration.ownSettings.find(key);
    if (found == configuration.ownSettings.end()) {
        return {};
    }
    const auto* const value = std::get_if<Value>(&found->second);
    return MakeStatement(key + ", as set by this program,",
                         value != nullptr ? std::optional(*value) : std::nullopt);
}

template <class Value>
std::optional<Value> Parsed(std::string_view text);

template <>
std::optional<int> Parsed<int>(std::string_view text)
{
    int value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && rest == end ? std::optional(value) : std::nullopt;
}

template <>
std::optional<std::string> Parsed<std::string>(std::string_view text)
{
    return std::string(text);
}

template <class Value>
Statement<Value> AskEnvironment(Configuration&, const std::string& key)
{
    const std::string name = "VKT_" + key;
    const char* const text = std::getenv(name.c_str());
    if (text == nullptr) {
        return {};
    }
    return MakeStatement(
        "environment variable " + name + " is \"" + Text::PrintableAscii(text) + "\", but",
        Parsed<Value>(text));
}

template <class Value>
Statement<Value> ReadFile(Configuration& configuration, const std::string&)
{
    const char* const named = std::getenv("VKT_CONFIG");
    const bool isNamed = named != nullptr && *named != '\0';
    configuration.file.Read(isNamed ? named : kDefaultFile, !isNamed);
    return {{}, {}, configuration.file.Complaint()};
}

template <class Value>
Statement<Value> AskFile(Configuration& configuration, const std::string& key)
{
    return configuration.file.Find<Value>(key);
}

template <class Value>
struct Source
{
    const char* name;
    bool ownComplaintPerKey;
    Statement<Value> (*ask)(Configuration& configuration, const std::string& key);
};

/// Asked in this order until one has a value.
template <class Value>
constexpr std::array<Source<Value>, 4> kSources = {{
    {"program", true, AskProcess<Value>},
    {"environment", true, AskEnvironment<Value>},
    {"file", false, ReadFile<Value>},
    {"file entry", true, AskFile<Value>},
}};

template <class Value>
std::string SubjectOf(const Source<Value>& source, const std::string& key)
{
    return source.name + (source.ownComplaintPerKey ? ' ' + key + " as " + kWanted<Value> : "");
}

bool IsNews(Configuration& configuration, const std::string& subject, const std::string& complaint)
{
    return std::exchange(configuration.complaints[subject], complaint) != complaint &&
           !complaint.empty();
}

template <class Value>
std::optional<Value> LookUp(const std::string& key, std::vector<std::string>& news)
{
    Configuration& configuration = TheConfiguration();
    const std::lock_guard lock(configuration.mutex);
    for (const Source<Value>& source : kSources<Value>) {
        Statement<Value> statement = source.ask(configuration, key);
        if (IsNews(configuration, SubjectOf(source, key), statement.complaint)) {
            news.push_back(statement.complaint + "; looking elsewhere for " + key);
        }
        if (statement.value) {
            return std::move(statement.value);
        }
    }
    return std::nullopt;
}

template <class Value>
Value Get(const std::string& key, const Value& defaultValue)
{
    try {
        std::vector<std::string> news;
        std::optional<Value> value = LookUp<Value>(key, news);
        // After the lock: whoever takes the record may ask for a setting, too.
        for (const std::string& warning : news) {
            Log(2, __FILE__, __LINE__).Stream() << warning;
        }
        return std::move(value).value_or(defaultValue);
    } catch (const std::bad_alloc&) {
        return defaultValue;
    }
}

bool IsEmpty(int)
{
    return false;
}

bool IsEmpty(const std::string& text)
{
    return text.empty();
}

template <class Value>
ConfigSetting<Value> Unusable(std::string reason)
{
    return {ConfigState::kUnusable, {}, std::move(reason)};
}

template <class Value>
ConfigSetting<Value> Find(const std::string& key)
{
    Configuration& configuration = TheConfiguration();
    const std::lock_guard lock(configuration.mutex);
    for (const Source<Value>& source : kSources<Value>) {
        Statement<Value> statement = source.ask(configuration, key);
        if (!statement.complaint.empty()) {
            return Unusable<Value>(statement.complaint +
                                   (source.ownComplaintPerKey ? "" : "; it may set " + key));
        }
        if (statement.value && IsEmpty(*statement.value)) {
            return Unusable<Value>(statement.origin + " must not be empty");
        }
        if (statement.value) {
            return {ConfigState::kSet, *std::move(statement.value), {}};
        }
    }
    // Whoever wrote it there, below a table's name, meant it to count.
    if (std::string complaint = configuration.file.Misplaced(key); !complaint.empty()) {
        return Unusable<Value>(std::move(complaint));
    }
    return {};
}

template <class Value>
ConfigSetting<Value> FindWhateverMemoryThereIs(const std::string& key)
{
    try {
        return Find<Value>(key);
    } catch (const std::bad_alloc&) {
        return Unusable<Value>("out of memory");  // short enough to take none
    }
}

template <class Value>
void Set(const std::string& key, const Value& value)
{
    Configuration& configuration = TheConfiguration();
    const std::lock_guard lock(configuration.mutex);
    configuration.ownSettings[key] = value;
}

}  // namespace
}  // namespace Config

int GetGlobalConfigValue(const std::string& key, int defaultValue)
{
    return Config::Get(key, defaultValue);
}

std::string GetGlobalConfigText(const std::string& key, const std::string& defaultText)
{
    return Config::Get(key, defaultText);
}

ConfigSetting<int> FindGlobalConfigValue(const std::string& key)
{
    return Config::FindWhateverMemoryThereIs<int>(key);
}

ConfigSetting<std::string> FindGlobalConfigText(const std::string& key)
{
    return Config::FindWhateverMemoryThereIs<std::string>(key);
}

void SetGlobalConfigValue(const std::string& key, int value)
{
    Config::Set(key, value);
}

void SetGlobalConfigText(const std::string& key, const std::string& text)
{
    Config::Set(key, text);
}

}  // namespace Tulvo
