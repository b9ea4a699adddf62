// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/code_rules.h"

#include <algorithm>
#include <array>

namespace Tulvo::Enclosures {
namespace {

constexpr auto kAny = RequestClass::kAny;
constexpr auto kFirst = RequestClass::kFirst;
constexpr auto kRegister = RequestClass::kRegister;

// A rule for one class stands before the one for any.
constexpr std::array<CodeRule, 30> kRules{{
    {0x81, kRegister, Reaction::kLater, "lost arbitration on the supply's bus"},
    {0x82, kRegister, Reaction::kOnceMore, "bus error"},
    {0x83, kRegister, Reaction::kFinal, "the supply did not acknowledge"},
    {0x84, kRegister, Reaction::kFinal, "truncated read"},
    {0xC0, kAny, Reaction::kLater, "busy"},
    {0xC1, kFirst, Reaction::kOtherModule, "invalid command"},
    {0xC1, kAny, Reaction::kFinal, "invalid command"},
    {0xC2, kAny, Reaction::kFinal, "command invalid for the LUN"},
    {0xC3, kAny, Reaction::kOnceMore, "timeout while processing"},
    {0xC4, kAny, Reaction::kOnceMore, "out of space"},
    {0xC5, kAny, Reaction::kFinal, "reservation cancelled"},
    {0xC6, kAny, Reaction::kFinal, "request data truncated"},
    {0xC7, kAny, Reaction::kFinal, "request data length invalid"},
    {0xC8, kAny, Reaction::kFinal, "request data field length limit exceeded"},
    {0xC9, kAny, Reaction::kFinal, "parameter out of range"},
    {0xCA, kAny, Reaction::kFinal, "cannot return so many bytes"},
    {0xCB, kAny, Reaction::kAbsent, "not present"},
    {0xCC, kAny, Reaction::kFinal, "invalid data field"},
    {0xCD, kAny, Reaction::kFinal, "command illegal for this object"},
    {0xCE, kAny, Reaction::kOnceMore, "response could not be provided"},
    {0xCF, kAny, Reaction::kFinal, "duplicated request"},
    {0xD0, kAny, Reaction::kFinal, "data repository in update mode"},
    {0xD1, kAny, Reaction::kEndRead, "firmware update in progress"},
    {0xD2, kAny, Reaction::kLater, "initialization in progress"},
    {0xD3, kAny, Reaction::kOnceMore, "destination unavailable"},
    {0xD4, kAny, Reaction::kRaisePrivilege, "insufficient privilege"},
    {0xD5, kAny, Reaction::kFinal, "not supported in the present state"},
    {0xD6, kAny, Reaction::kFinal, "disabled or unavailable"},
    {0xFF, kAny, Reaction::kOnceMore, "unspecified error"},
    {0x00, kAny, Reaction::kFinal, "no meaning known"},
}};

}  // namespace

const CodeRule& RuleFor(std::uint8_t code, RequestClass requests)
{
    const auto* const rule =
        std::find_if(kRules.begin(), kRules.end(), [code, requests](const CodeRule& candidate) {
            return candidate.code == code &&
                   (candidate.requests == requests || candidate.requests == kAny);
        });
    return rule == kRules.end() ? kRules.back() : *rule;
}

}  // namespace Tulvo::Enclosures
