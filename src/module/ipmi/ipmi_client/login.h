// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What a log-in needs, checked before the first packet leaves.
#ifndef MODULE_IPMI_IPMI_CLIENT_LOGIN_H
#define MODULE_IPMI_IPMI_CLIENT_LOGIN_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "module/ipmi/ipmi_client/outcome.h"
#include "module/ipmi/ipmi_client/secret.h"

namespace Tulvo {

/// Bytes that IPMI 2.0 has room for.
inline constexpr std::size_t kLongestUserName = 16;
inline constexpr std::size_t kLongestPassword = 20;

using Password = Secret<kLongestPassword>;

/// The caller's parameters as they came.
struct Credentials
{
    std::string address;
    std::string userName;
    Password password;
    std::string port;
    std::uint64_t cipherSuite;
};

/// The settings of one log-in, all within their ranges.
struct LoginSettings
{
    std::uint16_t port = 0;
    std::uint8_t privilege = 0;
    std::uint8_t cipherSuite = 0;
    std::chrono::milliseconds sessionTimeout{};
    std::chrono::milliseconds retransmissionTimeout{};
};

/// Reads the settings from the parameters and the configuration. A parameter or a setting that
/// would change what the caller meant (a longer password, a suite without encryption) ends the
/// log-in; a wait that makes no sense is replaced by its default with a warning.
Outcome PrepareLogin(const Credentials& credentials, LoginSettings& settings);

}  // namespace Tulvo

#endif
