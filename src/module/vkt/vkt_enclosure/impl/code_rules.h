// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a completion code means for the rest of a conversation.
#ifndef MODULE_VKT_VKT_ENCLOSURE_IMPL_CODE_RULES_H
#define MODULE_VKT_VKT_ENCLOSURE_IMPL_CODE_RULES_H

#include <cstdint>
#include <string_view>

namespace Tulvo::Enclosures {

/// What a request is to the rules.
enum class RequestClass : std::uint8_t
{
    kAny,
    kFirst,     ///< Finds out whether there is a module of our kind at all.
    kRegister,  ///< Reads a register on a power supply's bus.
};

enum class Reaction : std::uint8_t
{
    kFinal,           ///< The request is refused for good.
    kLater,           ///< Ask again for a while, others meanwhile.
    kOnceMore,        ///< Ask again, once.
    kAbsent,          ///< There is no such value.
    kEndRead,         ///< The module has no time for anybody.
    kRaisePrivilege,  ///< Raise the session's privilege, then ask again.
    kOtherModule,     ///< Ask again after a while, once; then it is no such module.
};

struct CodeRule
{
    std::uint8_t code;
    RequestClass requests;
    Reaction reaction;
    std::string_view meaning;
};

/// Of a request of that class; a code that nobody has named is final.
const CodeRule& RuleFor(std::uint8_t code, RequestClass requests);

}  // namespace Tulvo::Enclosures

#endif
