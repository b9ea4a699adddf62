// SPDX-License-Identifier: Apache-2.0
// The configuration file: what it may hold, how it changes, and everything that can be wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "common/config/global_config.h"
#include "tests/config/config_fixture.h"

namespace Tulvo {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using GlobalConfigFileTest = ConfigFixture;

TEST_F(GlobalConfigFileTest, IntegersOfEveryNotation)
{
    const std::vector<std::pair<std::string, int>> cases = {{"3", 3},
                                                            {"-3", -3},
                                                            {"+3", 3},
                                                            {"0x10", 16},
                                                            {"5_000", 5000},
                                                            {"2147483647", 2147483647},
                                                            {"-2147483648", -2147483647 - 1}};
    for (const auto& [text, value] : cases) {
        WriteFile("# retries\nTRIES = " + text + " # more\n");
        EXPECT_EQ(GetGlobalConfigValue("TRIES", 99), value) << text;
    }
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigFileTest, TextsOfEveryNotation)
{
    WriteFile("BASIC = \"tab\\tand \\u00e9\"\nLITERAL = 'C:\\path'\nLINES = \"\"\"\na\nb\"\"\"\n");
    EXPECT_EQ(GetGlobalConfigText("BASIC", ""), "tab\tand \xc3\xa9");
    EXPECT_EQ(GetGlobalConfigText("LITERAL", ""), "C:\\path");
    EXPECT_EQ(GetGlobalConfigText("LINES", ""), "a\nb");
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigFileTest, OnlyTopLevelKeysCount)
{
    WriteFile("A.B = 1\n[SECTION]\nINNER = 2\n");
    EXPECT_EQ(GetGlobalConfigValue("A.B", 99), 99);
    EXPECT_EQ(GetGlobalConfigValue("B", 99), 99);
    EXPECT_EQ(GetGlobalConfigValue("INNER", 99), 99);
    EXPECT_EQ(GetGlobalConfigValue("SECTION.INNER", 99), 99);
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigFileTest, ValueThatIsNoIntegerGivesOneWarningWithFileLineAndKey)
{
    for (const char* value : {"'3'", "3.0", "true", "[3]", "{ a = 3 }", "1979-05-27", "2147483648",
                              "-2147483649", "9223372036854775807"}) {
        WriteFile("# first line\nNO_INTEGER = " + std::string(value) + "\nOTHER = 4\n");
        for (int call = 0; call < 3; ++call) {
            EXPECT_EQ(GetGlobalConfigValue("NO_INTEGER", 99), 99) << value;
        }
        EXPECT_EQ(GetGlobalConfigValue("OTHER", 99), 4);
        EXPECT_THAT(Warnings(), ElementsAre(AllOf(HasSubstr(file.string() + ":2: NO_INTEGER"),
                                                  HasSubstr("must be an integer"))))
            << value;
        WriteFile("");
        GetGlobalConfigValue("NO_INTEGER", 99);
    }
}

TEST_F(GlobalConfigFileTest, ValueThatIsNoTextGivesOneWarningWithFileLineAndKey)
{
    WriteFile("\n\nNO_TEXT = 3\n");
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(GetGlobalConfigText("NO_TEXT", "default"), "default");
        EXPECT_EQ(GetGlobalConfigValue("NO_TEXT", 99), 3);
    }
    EXPECT_THAT(Warnings(), ElementsAre(AllOf(HasSubstr(file.string() + ":3: NO_TEXT"),
                                              HasSubstr("must be a text"))));
}

TEST_F(GlobalConfigFileTest, BrokenFileGivesOneWarningWithFileLineAndKey)
{
    for (const char* line : {"BROKEN =", "BROKEN 3", "BROKEN = three", "GOOD = 2", "BROKEN = 'open",
                             "[BROKEN", "BROKEN = 99999999999999999999", "BROKEN = \"\xff\""}) {
        WriteFile("GOOD = 1\n" + std::string(line) + "\n");
        for (int call = 0; call < 3; ++call) {
            EXPECT_EQ(GetGlobalConfigValue("BROKEN", 99), 99) << line;
            EXPECT_EQ(GetGlobalConfigValue("GOOD", 98), 98) << line;
        }
        EXPECT_THAT(Warnings(), ElementsAre(AllOf(HasSubstr(file.string() + ":2:"),
                                                  HasSubstr("looking elsewhere for BROKEN"))))
            << line;
    }
}

TEST_F(GlobalConfigFileTest, ChangeIsSeenAtTheNextCall)
{
    for (int value = 10; value < 60; ++value) {
        WriteFile("CHANGING = " + std::to_string(value) + "\n");
        EXPECT_EQ(GetGlobalConfigValue("CHANGING", 99), value);
    }
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigFileTest, ReplacedFileIsSeenAtTheNextCall)
{
    WriteFile("REPLACED = 1\n");
    EXPECT_EQ(GetGlobalConfigValue("REPLACED", 99), 1);
    std::filesystem::rename(file, directory / "kept.toml");
    WriteFile("REPLACED = 2\n");
    EXPECT_EQ(GetGlobalConfigValue("REPLACED", 99), 2);
    UseFile(directory / "kept.toml");
    EXPECT_EQ(GetGlobalConfigValue("REPLACED", 99), 1);
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigFileTest, WarningComesAgainAfterAChange)
{
    for (int turn = 0; turn < 2; ++turn) {
        WriteFile("TURNING =\n");
        EXPECT_EQ(GetGlobalConfigValue("TURNING", 99), 99);
        EXPECT_THAT(Warnings(), ElementsAre(HasSubstr(":1:")));
        WriteFile("TURNING = 'bad'\n");
        EXPECT_EQ(GetGlobalConfigValue("TURNING", 99), 99);
        EXPECT_THAT(Warnings(), ElementsAre(HasSubstr(":1: TURNING")));
        WriteFile("TURNING = 1\n");
        EXPECT_EQ(GetGlobalConfigValue("TURNING", 99), 1);
        EXPECT_THAT(Warnings(), IsEmpty());
    }
}

TEST_F(GlobalConfigFileTest, NamedFileThatIsMissingGivesOneWarning)
{
    UseFile(directory / "missing.toml");
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(GetGlobalConfigValue("MISSING", 99), 99);
    }
    EXPECT_THAT(Warnings(), ElementsAre(AllOf(HasSubstr((directory / "missing.toml").string()),
                                              HasSubstr("No such file"), HasSubstr("MISSING"))));
}

TEST_F(GlobalConfigFileTest, RemovedFileGivesAWarningUntilItIsBack)
{
    WriteFile("REMOVED = 1\n");
    EXPECT_EQ(GetGlobalConfigValue("REMOVED", 99), 1);
    std::filesystem::remove(file);
    EXPECT_EQ(GetGlobalConfigValue("REMOVED", 99), 99);
    EXPECT_THAT(Warnings(), ElementsAre(HasSubstr("No such file")));
    WriteFile("REMOVED = 1\n");
    EXPECT_EQ(GetGlobalConfigValue("REMOVED", 99), 1);
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigFileTest, WhatIsNoSmallRegularFileIsRefusedAtOnce)
{
    const std::filesystem::path pipe = directory / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::filesystem::path huge = directory / "huge.toml";
    std::ofstream(huge) << "HUGE = 1\n";
    std::filesystem::resize_file(huge, std::uintmax_t{1} << 33U);
    const std::vector<std::pair<std::filesystem::path, std::string>> cases = {
        {pipe, "not a regular file"},
        {directory.Path(), "not a regular file"},
        {"/dev/zero", "not a regular file"},
        {huge, "longer than 16384 bytes"},
        {file / "below", "Not a directory"}};
    for (const auto& [path, reason] : cases) {
        UseFile(path);
        EXPECT_EQ(GetGlobalConfigValue("HUGE", 99), 99) << path;
        EXPECT_THAT(Warnings(), ElementsAre(AllOf(HasSubstr(path.string()), HasSubstr(reason))));
    }
}

TEST_F(GlobalConfigFileTest, LongestFileIsRead)
{
    const std::string setting = "LONGEST = 1\n";
    WriteFile(setting + "#" + std::string(16384 - setting.size() - 1, 'x'));
    EXPECT_EQ(GetGlobalConfigValue("LONGEST", 99), 1);
    WriteFile(setting + "#" + std::string(16384 - setting.size(), 'x'));
    EXPECT_EQ(GetGlobalConfigValue("LONGEST", 99), 99);
    EXPECT_THAT(Warnings(), ElementsAre(HasSubstr("longer than")));
}

TEST_F(GlobalConfigFileTest, DeepNestingIsSurvived)
{
    std::string dotted;
    for (int depth = 0; depth < 8000; ++depth) {
        dotted += "a.";
    }
    WriteFile(dotted + "a = 1\nb = 2\n");
    EXPECT_EQ(GetGlobalConfigValue("b", 99), 99);
    WriteFile("b = " + std::string(16000, '[') + "\n");
    EXPECT_EQ(GetGlobalConfigValue("b", 99), 99);
    EXPECT_THAT(Warnings(),
                ElementsAre(HasSubstr(":1: more than 100 dots"), HasSubstr(":1: not TOML")));
}

TEST_F(GlobalConfigFileTest, WarningIsOneLineWhateverTheFileHolds)
{
    WriteFile("A = t\n\x1b[31m\n");
    EXPECT_EQ(GetGlobalConfigValue("A", 99), 99);
    EXPECT_THAT(Warnings(),
                ElementsAre(AllOf(HasSubstr(":1: not TOML"), Not(ContainsRegex("[[:cntrl:]]")))));
}

/// That this is defined at all is for the sanitizers to see.
TEST_F(GlobalConfigFileTest, LetterWhereNoneMayStandGivesAWarning)
{
    for (const char* content :
         {"A = \u00e9\n", "\u00e9 = 1\n", "A = 1 \u0416\n", "\u2e80\n", "A = [1,\n\u0220]\n"}) {
        WriteFile(content);
        EXPECT_EQ(GetGlobalConfigValue("A", 99), 99) << content;
        EXPECT_THAT(Warnings(), ElementsAre(HasSubstr(": not TOML"))) << content;
    }
}

}  // namespace
}  // namespace Tulvo
