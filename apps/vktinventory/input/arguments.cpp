// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/arguments.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace Tulvo::Cli {
namespace {

struct Secret
{
    char shortName;
    std::string_view longName;
    std::string Arguments::*value;
};

constexpr Secret kSecrets[] = {
    {'P', "--password", &Arguments::password},
    {'k', "--kg", &Arguments::kg},
};

/// Short flags without a value, which may stand before the P of a word: -vvPsecret.
constexpr std::string_view kShortFlags = "vEhV";

/// Where the word's own secret begins; npos when the word is not that flag, the word's size when
/// the secret is the next word.
std::size_t Start(const Secret& secret, std::string_view word)
{
    const std::size_t name = secret.longName.size();
    if (word.substr(0, name) == secret.longName && word.substr(name, 1) == "=") {
        return name + 1;
    }
    if (word == secret.longName) {
        return word.size();
    }
    if (word.size() < 2 || word[0] != '-') {
        return std::string_view::npos;
    }
    const std::size_t flag = word.find_first_not_of(kShortFlags, 1);
    return flag != std::string_view::npos && word[flag] == secret.shortName
               ? flag + 1
               : std::string_view::npos;
}

const Secret* SecretOf(std::string_view word)
{
    const auto* const found = std::find_if(
        std::begin(kSecrets), std::end(kSecrets),
        [&](const Secret& secret) { return Start(secret, word) != std::string_view::npos; });
    return found == std::end(kSecrets) ? nullptr : found;
}

std::string Taken(char* text)
{
    std::string secret(text);
    std::memset(text, 0, secret.size());
    return secret;
}

}  // namespace

Arguments TakeArguments(int argc, char** argv)
{
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const Secret* const secret = SecretOf(argv[i]);
        if (secret == nullptr) {
            arguments.words.emplace_back(argv[i]);
            continue;
        }
        const std::size_t start = Start(*secret, argv[i]);
        const bool nextWord = argv[i][start] == '\0' && argv[i][start - 1] != '=';
        arguments.words.emplace_back(argv[i], start);
        if (nextWord && i + 1 == argc) {
            break;
        }
        arguments.*secret->value = Taken(nextWord ? argv[++i] : argv[i] + start);
        const char* const hidden = (arguments.*secret->value).empty() ? "" : kHiddenSecret;
        if (nextWord) {
            arguments.words.emplace_back(hidden);
        } else {
            arguments.words.back() += hidden;
        }
    }
    return arguments;
}

}  // namespace Tulvo::Cli
