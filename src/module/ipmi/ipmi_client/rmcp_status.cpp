// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/rmcp_status.h"

#include <freeipmi/freeipmi.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

namespace Tulvo::Rmcp {
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
    StatusMeaning{RMCPPLUS_STATUS_INSUFFICIENT_RESOURCES_TO_CREATE_A_SESSION,
                  Reason::kNoSessionFree},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_SESSION_ID, Reason::kForgotten},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_AUTHENTICATION_ALGORITHM, Reason::kCipherSuite},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_INTEGRITY_ALGORITHM, Reason::kCipherSuite},
    StatusMeaning{RMCPPLUS_STATUS_NO_MATCHING_AUTHENTICATION_PAYLOAD, Reason::kCipherSuite},
    StatusMeaning{RMCPPLUS_STATUS_NO_MATCHING_INTEGRITY_PAYLOAD, Reason::kCipherSuite},
    StatusMeaning{RMCPPLUS_STATUS_INACTIVE_SESSION_ID, Reason::kForgotten},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_ROLE, Reason::kPrivilege},
    StatusMeaning{RMCPPLUS_STATUS_UNAUTHORIZED_ROLE_OR_PRIVILEGE_LEVEL_REQUESTED,
                  Reason::kPrivilege},
    StatusMeaning{RMCPPLUS_STATUS_INSUFFICIENT_RESOURCES_TO_CREATE_A_SESSION_AT_THE_REQUESTED_TIME,
                  Reason::kNoSessionFree},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_NAME_LENGTH, Reason::kUserName},
    StatusMeaning{RMCPPLUS_STATUS_UNAUTHORIZED_NAME, Reason::kUserName},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_INTEGRITY_CHECK_VALUE, Reason::kPassword},
    StatusMeaning{RMCPPLUS_STATUS_INVALID_CONFIDENTIALITY_ALGORITHM, Reason::kCipherSuite},
    StatusMeaning{RMCPPLUS_STATUS_NO_CIPHER_SUITE_MATCH_WITH_PROPOSED_SECURITY_ALGORITHMS,
                  Reason::kCipherSuite},
};

struct Sentence
{
    CONNECTIONSTATE state;
    const char* what;
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

std::string Subject(Reason reason, std::uint8_t status, const LoginSettings& settings)
{
    if (reason == Reason::kCipherSuite) {
        return std::to_string(settings.cipherSuite);
    }
    if (reason == Reason::kPrivilege) {
        return kPrivilegeNames.at(settings.privilege - IPMI_PRIVILEGE_LEVEL_USER);
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

Cause CauseOf(Reason reason)
{
    const bool passes = reason == Reason::kNoSessionFree || reason == Reason::kForgotten;
    return passes ? Cause::kBusy : Cause::kRefused;
}

Failure FailureFor(Reason reason, std::uint8_t status, const LoginSettings& settings)
{
    const Sentence sentence = SentenceFor(reason);
    Failure failure{sentence.state, sentence.what + Subject(reason, status, settings),
                    sentence.advice};
    failure.cause = CauseOf(reason);
    failure.point.status = status;
    failure.accountRefused = reason == Reason::kUserName || reason == Reason::kPassword;
    return failure;
}

}  // namespace

std::optional<Failure> FailureOfStatus(std::uint8_t status, const LoginSettings& settings)
{
    if (status == RMCPPLUS_STATUS_NO_ERRORS) {
        return {};
    }
    return FailureFor(ReasonOf(status), status, settings);
}

bool RefusesSuite(std::uint8_t status)
{
    constexpr std::array<std::uint8_t, 6> kNoSuchSuite{
        RMCPPLUS_STATUS_INVALID_AUTHENTICATION_ALGORITHM,
        RMCPPLUS_STATUS_INVALID_INTEGRITY_ALGORITHM,
        RMCPPLUS_STATUS_UNAUTHORIZED_ROLE_OR_PRIVILEGE_LEVEL_REQUESTED,
        RMCPPLUS_STATUS_INVALID_CONFIDENTIALITY_ALGORITHM,
        RMCPPLUS_STATUS_NO_CIPHER_SUITE_MATCH_WITH_PROPOSED_SECURITY_ALGORITHMS,
        RMCPPLUS_STATUS_ILLEGAL_OR_UNRECOGNIZED_PARAMETER,
    };
    return std::find(kNoSuchSuite.begin(), kNoSuchSuite.end(), status) != kNoSuchSuite.end();
}

bool IsBusy(std::uint8_t completionCode)
{
    constexpr std::array<std::uint8_t, 5> kBusy{
        IPMI_COMP_CODE_NODE_BUSY, IPMI_COMP_CODE_COMMAND_TIMEOUT, IPMI_COMP_CODE_OUT_OF_SPACE,
        IPMI_COMP_CODE_DEVICE_IN_FIRMWARE_UPDATE_MODE,
        IPMI_COMP_CODE_BMC_INITIALIZATION_IN_PROGRESS};
    return std::find(kBusy.begin(), kBusy.end(), completionCode) != kBusy.end();
}

Failure PrivilegeRefused(const LoginSettings& settings)
{
    return FailureFor(Reason::kPrivilege, RMCPPLUS_STATUS_NO_ERRORS, settings);
}

}  // namespace Tulvo::Rmcp
