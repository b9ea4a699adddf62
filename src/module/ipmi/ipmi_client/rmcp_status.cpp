// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/rmcp_status.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <string>

namespace Tulvo {
namespace {

enum class Reason
{
    kNoSessionFree,
    kForgotten,
    kCipherSuite,
    kPrivilege,
    kUserName,
    kPassword,
    kProtocol,
};

struct StatusMeaning
{
    std::uint8_t status;
    Reason reason;
};

constexpr std::array kMeanings{
    StatusMeaning{0x01, Reason::kNoSessionFree},  // insufficient resources to create a session
    StatusMeaning{0x02, Reason::kForgotten},      // invalid session id
    StatusMeaning{0x04, Reason::kCipherSuite},    // invalid authentication algorithm
    StatusMeaning{0x05, Reason::kCipherSuite},    // invalid integrity algorithm
    StatusMeaning{0x06, Reason::kCipherSuite},    // no matching authentication payload
    StatusMeaning{0x07, Reason::kCipherSuite},    // no matching integrity payload
    StatusMeaning{0x08, Reason::kForgotten},      // inactive session id
    StatusMeaning{0x09, Reason::kPrivilege},      // invalid role
    StatusMeaning{0x0A, Reason::kPrivilege},      // unauthorized role or privilege level
    StatusMeaning{0x0B, Reason::kNoSessionFree},  // insufficient resources at the requested role
    StatusMeaning{0x0C, Reason::kUserName},       // invalid name length
    StatusMeaning{0x0D, Reason::kUserName},       // unauthorized name
    StatusMeaning{kInvalidIntegrityCheckValue, Reason::kPassword},
    StatusMeaning{0x10, Reason::kCipherSuite},  // invalid confidentiality algorithm
    StatusMeaning{kNoCipherSuiteMatch, Reason::kCipherSuite},
};

struct Sentence
{
    CONNECTIONSTATE state;
    const char* came;
    const char* advice;
};

Sentence SentenceFor(Reason reason)
{
    switch (reason) {
        case Reason::kNoSessionFree:
            return {CONNECTION_TRY_AGAIN, "the module has no session free",
                    "wait until another client has ended its own"};
        case Reason::kForgotten:
            return {CONNECTION_TRY_AGAIN, "the module forgot the log-in half-way", "try again"};
        case Reason::kCipherSuite:
            return {CONNECTION_REFUSED, "the module does not offer cipher suite ",
                    "choose another (3 or 17)"};
        case Reason::kPrivilege:
            return {CONNECTION_REFUSED, "the module does not grant this user the privilege ",
                    "ask for less, or log in as another user"};
        case Reason::kUserName:
            return {CONNECTION_REFUSED, "the module does not admit this user name",
                    "check the name, and that the user may log in with the privilege asked for"};
        case Reason::kPassword:
            return {CONNECTION_REFUSED, "the password is wrong", "check it"};
        case Reason::kProtocol:
            break;
    }
    return {CONNECTION_FAILED, "the module rejected the log-in with RMCP+ status ",
            "look it up in the module's manual"};
}

constexpr std::array kPrivilegeNames{"user", "operator", "administrator"};

std::string Detail(Reason reason, std::uint8_t status, const LoginSettings& settings)
{
    if (reason == Reason::kCipherSuite) {
        return std::to_string(settings.cipherSuite);
    }
    if (reason == Reason::kPrivilege) {
        return kPrivilegeNames.at(settings.privilege - 2U);
    }
    return reason == Reason::kProtocol ? std::to_string(status) : "";
}

Reason ReasonOf(std::uint8_t status)
{
    const auto* const found =
        std::find_if(kMeanings.begin(), kMeanings.end(),
                     [=](const StatusMeaning& meaning) { return meaning.status == status; });
    return found == kMeanings.end() ? Reason::kProtocol : found->reason;
}

Outcome Describe(Reason reason, std::uint8_t status, const LoginSettings& settings)
{
    const Sentence sentence = SentenceFor(reason);
    return {sentence.state,
            sentence.came + Detail(reason, status, settings) + "; " + sentence.advice};
}

}  // namespace

Outcome OutcomeOfStatus(std::uint8_t status, const LoginSettings& settings)
{
    return status == 0 ? Outcome{} : Describe(ReasonOf(status), status, settings);
}

Outcome PrivilegeRefused(const LoginSettings& settings)
{
    return Describe(Reason::kPrivilege, 0, settings);
}

}  // namespace Tulvo
