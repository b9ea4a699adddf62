// SPDX-License-Identifier: Apache-2.0
// What trust depends on: a setting that cannot be used is told apart from one that is not there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "common/config/global_config.h"
#include "tests/config/config_fixture.h"

namespace Tulvo {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class GlobalConfigFindTest : public ConfigFixture
{
protected:
    ~GlobalConfigFindTest() override
    {
        unsetenv("VKT_TRUST");
        EXPECT_THAT(Warnings(), IsEmpty()) << "the caller says it, in its refusal";
    }

    void MakeFileUnusable() const { WriteFile("= nonsense\n"); }
};

void ExpectUnset(const std::string& key)
{
    EXPECT_EQ(FindGlobalConfigText(key).state, ConfigState::kUnset) << key;
    EXPECT_EQ(FindGlobalConfigValue(key).state, ConfigState::kUnset) << key;
}

void ExpectText(const std::string& key, const std::string& text)
{
    const ConfigSetting<std::string> setting = FindGlobalConfigText(key);
    EXPECT_EQ(setting.state, ConfigState::kSet) << setting.reason;
    EXPECT_EQ(setting.value, text);
    EXPECT_EQ(setting.reason, "");
}

void ExpectValue(const std::string& key, int value)
{
    const ConfigSetting<int> setting = FindGlobalConfigValue(key);
    EXPECT_EQ(setting.state, ConfigState::kSet) << setting.reason;
    EXPECT_EQ(setting.value, value);
    EXPECT_EQ(setting.reason, "");
}

template <class Value>
void ExpectUnusable(const ConfigSetting<Value>& setting, const std::vector<std::string>& reason)
{
    EXPECT_EQ(setting.state, ConfigState::kUnusable);
    EXPECT_EQ(setting.value, Value{});
    EXPECT_EQ(setting.reason.find('\n'), std::string::npos);
    for (const std::string& part : reason) {
        EXPECT_THAT(setting.reason, HasSubstr(part));
    }
}

TEST_F(GlobalConfigFindTest, NoSourceNamesTheKey)
{
    WriteFile("OTHER = 1\n");
    ExpectUnset("TRUST");
}

TEST_F(GlobalConfigFindTest, EachSourceOfATextStandsAboveTheNext)
{
    WriteFile("TRUST = 'file'\n");
    ExpectText("TRUST", "file");
    setenv("VKT_TRUST", "environment", 1);
    ExpectText("TRUST", "environment");
    setenv("VKT_FOUND_TEXT", "environment", 1);
    SetGlobalConfigText("FOUND_TEXT", "program");
    ExpectText("FOUND_TEXT", "program");
}

TEST_F(GlobalConfigFindTest, EachSourceOfAnIntegerStandsAboveTheNext)
{
    WriteFile("TRUST = 0\n");
    ExpectValue("TRUST", 0);
    setenv("VKT_TRUST", "-3", 1);
    ExpectValue("TRUST", -3);
    setenv("VKT_FOUND_INTEGER", "3", 1);
    SetGlobalConfigValue("FOUND_INTEGER", 4);
    ExpectValue("FOUND_INTEGER", 4);
}

TEST_F(GlobalConfigFindTest, FileThatCannotBeReadOrParsedMaySetEveryKey)
{
    const auto named = [this](const std::string& name, const std::string& content) {
        std::filesystem::path path = directory / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    };
    const std::vector<std::pair<std::filesystem::path, std::string>> cases = {
        {directory / "missing.toml", "missing.toml cannot be read: No such file"},
        {directory.Path(), "not a regular file"},
        {named("long.toml", "TRUST = 'ca.pem'\n#" + std::string(16384, 'x')), "longer than 16384"},
        {named("bad.toml", "TRUST = 'ca.pem'\nOTHER\n"), "bad.toml:2: not TOML"},
        {named("twice.toml", "TRUST = 'a'\nTRUST = 'b'\n"), "twice.toml:2: not TOML"},
        {named("deep.toml", "TRUST = 'a'\n" + std::string(101, '.') + "\n"), "deep.toml:2: "},
    };
    for (const auto& [path, reason] : cases) {
        UseFile(path);
        ExpectUnusable(FindGlobalConfigText("TRUST"), {path.string(), reason, "TRUST"});
        ExpectUnusable(FindGlobalConfigValue("TRUST"), {path.string(), reason, "TRUST"});
    }
}

TEST_F(GlobalConfigFindTest, ValueOfAnotherTypeInTheFile)
{
    for (const char* value : {"3", "true", "['ca.pem']", "{ a = 'ca.pem' }"}) {
        WriteFile("\nTRUST = " + std::string(value) + "\n");
        ExpectUnusable(FindGlobalConfigText("TRUST"), {file.string() + ":2: TRUST must be a text"});
    }
    for (const char* value : {"'2'", "2.0", "true", "[2]", "2147483648"}) {
        WriteFile("\nTRUST = " + std::string(value) + "\n");
        ExpectUnusable(FindGlobalConfigValue("TRUST"),
                       {file.string() + ":2: TRUST must be an int"});
    }
}

TEST_F(GlobalConfigFindTest, KeyWithinATableOfTheFile)
{
    for (const char* content :
         {"[https]\nTRUST = 2\n", "\nhttps.TRUST = 'ca.pem'\n", "\na = { TRUST = 'ca.pem' }\n",
          "[[module]]\nTRUST = ''\n", "[a.b]\nc = [[{ d = 1, TRUST = 2 }]]\n"}) {
        WriteFile(content);
        const std::string reason = file.string() + ":2: TRUST stands within a table";
        ExpectUnusable(FindGlobalConfigText("TRUST"), {reason});
        ExpectUnusable(FindGlobalConfigValue("TRUST"), {reason});
        ExpectUnset("OTHER");
        EXPECT_EQ(GetGlobalConfigValue("TRUST", 7), 7) << "with a default it is passed over";
    }
    WriteFile("TRUST = 2\n[https]\nTRUST = 3\n");
    ExpectValue("TRUST", 2);
    WriteFile("[https]\nTRUST = 3\n");
    setenv("VKT_TRUST", "4", 1);
    ExpectValue("TRUST", 4);
    unsetenv("VKT_TRUST");
    WriteFile("[TRUST]\nOTHER = 3\n");
    ExpectUnusable(FindGlobalConfigValue("TRUST"), {file.string() + ":1: TRUST must be an int"});
    WriteFile("");
    ExpectUnset("TRUST");
}

TEST_F(GlobalConfigFindTest, ValueOfAnotherTypeInTheProcess)
{
    WriteFile("FOUND_AS_INTEGER = 'ca.pem'\nFOUND_AS_TEXT = 2\n");
    SetGlobalConfigValue("FOUND_AS_INTEGER", 3);
    SetGlobalConfigText("FOUND_AS_TEXT", "3");
    ExpectUnusable(FindGlobalConfigText("FOUND_AS_INTEGER"), {"FOUND_AS_INTEGER, as set by this"});
    ExpectUnusable(FindGlobalConfigValue("FOUND_AS_TEXT"), {"FOUND_AS_TEXT, as set by this"});
}

/// No later source stands in for it, as it does for a caller with a default.
TEST_F(GlobalConfigFindTest, VariableThatIsNoInteger)
{
    WriteFile("TRUST = 2\n");
    for (const char* text : {"", "user", "2 ", "2\n", "2147483648"}) {
        setenv("VKT_TRUST", text, 1);
        ExpectUnusable(FindGlobalConfigValue("TRUST"), {"VKT_TRUST is \"", "must be an integer"});
    }
}

TEST_F(GlobalConfigFindTest, EmptyTextOfEverySource)
{
    WriteFile("TRUST = ''\nFOUND_EMPTY = 'ca.pem'\n");
    ExpectUnusable(FindGlobalConfigText("TRUST"), {file.string() + ":1: TRUST must not be empty"});
    WriteFile("TRUST = 'ca.pem'\n");
    setenv("VKT_TRUST", "", 1);
    ExpectUnusable(FindGlobalConfigText("TRUST"), {"VKT_TRUST is \"\", but must not be empty"});
    SetGlobalConfigText("FOUND_EMPTY", "");
    ExpectUnusable(FindGlobalConfigText("FOUND_EMPTY"), {"FOUND_EMPTY, as set by this program,"});
}

TEST_F(GlobalConfigFindTest, EarlierSourceDecidesWhateverTheFileIs)
{
    MakeFileUnusable();
    setenv("VKT_TRUST", "2", 1);
    ExpectValue("TRUST", 2);
    ExpectText("TRUST", "2");
    SetGlobalConfigText("FOUND_EARLIER", "ca.pem");
    ExpectText("FOUND_EARLIER", "ca.pem");
}

TEST_F(GlobalConfigFindTest, FileThatIsMendedIsSeenAtTheNextCall)
{
    MakeFileUnusable();
    ExpectUnusable(FindGlobalConfigText("TRUST"), {":1: not TOML"});
    WriteFile("TRUST = 'ca.pem'\n");
    ExpectText("TRUST", "ca.pem");
    WriteFile("");
    ExpectUnset("TRUST");
}

}  // namespace
}  // namespace Tulvo
