// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/code_rules.h"

#include <gtest/gtest.h>

#include <map>

namespace Tulvo::Enclosures {
namespace {

/// Every code that is not final, of any request.
const std::map<int, Reaction> kOfAny{
    {0xC0, Reaction::kLater},         {0xD2, Reaction::kLater},    {0xC3, Reaction::kOnceMore},
    {0xC4, Reaction::kOnceMore},      {0xCE, Reaction::kOnceMore}, {0xD3, Reaction::kOnceMore},
    {0xFF, Reaction::kOnceMore},      {0xCB, Reaction::kAbsent},   {0xD1, Reaction::kEndRead},
    {0xD4, Reaction::kRaisePrivilege}};

void ExpectReactions(RequestClass requests, const std::map<int, Reaction>& expected)
{
    for (int code = 1; code <= 0xFF; ++code) {
        const auto row = expected.find(code);
        EXPECT_EQ(row == expected.end() ? Reaction::kFinal : row->second,
                  RuleFor(static_cast<std::uint8_t>(code), requests).reaction)
            << code;
        EXPECT_FALSE(RuleFor(static_cast<std::uint8_t>(code), requests).meaning.empty()) << code;
    }
}

TEST(CodeRules, OfAnyRequest)
{
    ExpectReactions(RequestClass::kAny, kOfAny);
}

TEST(CodeRules, OfARegisterOfASupply)
{
    std::map<int, Reaction> expected = kOfAny;
    expected[0x81] = Reaction::kLater;
    expected[0x82] = Reaction::kOnceMore;
    ExpectReactions(RequestClass::kRegister, expected);
}

TEST(CodeRules, OfTheFirstRequest)
{
    std::map<int, Reaction> expected = kOfAny;
    expected[0xC1] = Reaction::kOtherModule;
    ExpectReactions(RequestClass::kFirst, expected);
}

}  // namespace
}  // namespace Tulvo::Enclosures
