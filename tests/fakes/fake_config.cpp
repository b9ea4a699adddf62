// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_config.h"

#include "common/config/global_config.h"
#include "tests/fakes/journal.h"

namespace Tulvo {

namespace {

template <class Value>
ConfigSetting<Value> Find(const std::string& key,
                          std::map<std::string, Value> Fakes::FakeConfig::*settings)
{
    Fakes::Journal::Write("config " + key);
    const Fakes::FakeConfig* const fake = Fakes::FakeConfig::Get();
    if (fake == nullptr) {
        return {};
    }
    if (fake->unusable.count(key) != 0) {
        return {ConfigState::kUnusable, {}, fake->unusable.at(key)};
    }
    if ((fake->*settings).count(key) == 0) {
        return {};
    }
    return {ConfigState::kSet, (fake->*settings).at(key), {}};
}

}  // namespace

int GetGlobalConfigValue(const std::string& key, int defaultValue)
{
    Fakes::Journal::Write("config " + key + " " + std::to_string(defaultValue));
    const Fakes::FakeConfig* const fake = Fakes::FakeConfig::Get();
    if (fake == nullptr || fake->values.count(key) == 0) {
        return defaultValue;
    }
    return fake->values.at(key);
}

std::string GetGlobalConfigText(const std::string& key, const std::string& defaultText)
{
    Fakes::Journal::Write("config " + key + " " + defaultText);
    const Fakes::FakeConfig* const fake = Fakes::FakeConfig::Get();
    if (fake == nullptr || fake->texts.count(key) == 0) {
        return defaultText;
    }
    return fake->texts.at(key);
}

ConfigSetting<int> FindGlobalConfigValue(const std::string& key)
{
    return Find(key, &Fakes::FakeConfig::values);
}

ConfigSetting<std::string> FindGlobalConfigText(const std::string& key)
{
    return Find(key, &Fakes::FakeConfig::texts);
}

}  // namespace Tulvo
