// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/arguments.h"

#include <cstring>
#include <string_view>

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kLongName = "--password";
constexpr std::string_view kLongNameWithValue = "--password=";
/// Short flags without a value, which may stand before the P of a word: -vvPsecret.
constexpr std::string_view kShortFlags = "vEhV";

/// Where the word's own password begins; npos when the word is no password flag, the word's size
/// when the password is the next word.
std::size_t PasswordStart(std::string_view word)
{
    if (word.substr(0, kLongNameWithValue.size()) == kLongNameWithValue) {
        return kLongNameWithValue.size();
    }
    if (word == kLongName) {
        return word.size();
    }
    if (word.size() < 2 || word[0] != '-') {
        return std::string_view::npos;
    }
    const std::size_t flag = word.find_first_not_of(kShortFlags, 1);
    return flag != std::string_view::npos && word[flag] == 'P' ? flag + 1 : std::string_view::npos;
}

std::string TakePassword(char* text)
{
    std::string password(text);
    std::memset(text, 0, password.size());
    return password;
}

}  // namespace

Arguments TakeArguments(int argc, char** argv)
{
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::size_t start = PasswordStart(argv[i]);
        if (start == std::string_view::npos) {
            arguments.words.emplace_back(argv[i]);
            continue;
        }
        const bool nextWord = argv[i][start] == '\0' && argv[i][start - 1] != '=';
        arguments.words.emplace_back(argv[i], start);
        if (nextWord && i + 1 == argc) {
            break;
        }
        arguments.password = TakePassword(nextWord ? argv[++i] : argv[i] + start);
        const char* const hidden = arguments.password.empty() ? "" : kHiddenPassword;
        if (nextWord) {
            arguments.words.emplace_back(hidden);
        } else {
            arguments.words.back() += hidden;
        }
    }
    return arguments;
}

}  // namespace Tulvo::Cli
