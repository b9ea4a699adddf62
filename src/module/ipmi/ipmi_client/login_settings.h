// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What a log-in needs, checked before the first packet leaves.
#ifndef MODULE_IPMI_IPMI_CLIENT_LOGIN_SETTINGS_H
#define MODULE_IPMI_IPMI_CLIENT_LOGIN_SETTINGS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/ipmi/ipmi_client/secret.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

/// Bytes that IPMI 2.0 has room for.
inline constexpr std::size_t kLongestUserName = 16;
inline constexpr std::size_t kLongestPassword = 20;
inline constexpr std::size_t kLongestKg = 20;

using Password = Secret<kLongestPassword>;

/// The caller's parameters, unchecked.
struct Credentials
{
    std::string address;
    std::string userName;
    Password password;
    std::string port;
    std::uint64_t cipherSuite;
    Secret<kLongestKg> kg{};  ///< The module's own key; empty for none.
};

/// The settings of one log-in, all within their ranges.
struct LoginSettings
{
    std::uint16_t port = 0;
    std::uint8_t privilege = 0;
    std::uint8_t cipherSuite = 0;
    /// Asked for where the module does not have the first; none: the log-in fails there.
    std::optional<std::uint8_t> otherSuite{};
    Waits waits;
    /// For the answer to each step after the first, where that is less than `waits` allow; half as
    /// long at a module that was quick before.
    std::chrono::milliseconds laterStepLimit = std::chrono::milliseconds::max();
    /// Where the last reply gets lost, a signed answer of the session will do: some modules take no
    /// copy of the proof.
    bool provedBySession = false;
    IpmiCost* cost = nullptr;  ///< What the log-in costs is added here; null for nowhere.
    Clock::time_point firstAnswer = Clock::time_point::max();  ///< When the module has to answer.
    /// Asked when it has, before the user's name is sent: false ends the log-in. Empty: go on.
    std::function<bool()> mayLogIn = {};
};

/// Reads the settings from the parameters and the configuration. A parameter or a setting that
/// would change what the caller meant (a longer password, a suite without encryption) ends the
/// log-in; a wait that makes no sense is replaced by its default with a warning.
std::optional<Failure> ReadLoginSettings(const Credentials& credentials, LoginSettings& settings);

/// Of those, what needs no configuration: address, user name and password.
std::optional<Failure> CheckCredentials(const Credentials& credentials);
/// A failure for a suite that does not both sign and encrypt soundly.
std::optional<Failure> CheckCipherSuite(std::uint64_t suite);

}  // namespace Tulvo::Rmcp

#endif
