// SPDX-License-Identifier: Apache-2.0
/// @file
/// How to reach an enclosure and as whom, as flags and the fleet file's keys set it: each setting
/// by itself, so that one source can be laid over another.
#ifndef FLEET_SETTINGS_H
#define FLEET_SETTINGS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "fleet/host_pattern.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fleet {

/// The password itself.
struct PasswordText
{
    std::string text;
};
/// The first line of a file.
struct PasswordFile
{
    std::string path;
    std::string where = {};  ///< Who named it, for messages: "fleet.toml:7: password-file".
};
/// The one line that a shell command prints.
struct PasswordCommand
{
    std::string command;
    std::string where = {};  ///< Who named it, for messages.
};
/// The variable IPMI_PASSWORD.
struct PasswordEnvironment
{
};
/// Where a password comes from.
using PasswordSource =
    std::variant<PasswordText, PasswordFile, PasswordCommand, PasswordEnvironment>;

/// A file of pins, in which the host has no line.
struct NoPin
{
    std::string where;  ///< For messages: "fleet.toml:9: pins-file: /etc/vkt/remote.pins".
};
/// Who vouches for a module over HTTPS.
using TrustSetting = std::variant<Enclosures::TrustAuthorities, Enclosures::TrustAuthorityFile,
                                  Enclosures::TrustPinnedKey, Enclosures::TrustAnybody, NoPin>;

/// What is not set, nobody has said.
struct Settings
{
    std::optional<bool> https;                       ///< Else RMCP+.
    std::optional<std::uint16_t> port;               ///< For hosts named without one.
    std::optional<std::string> user;                 ///< To log in as.
    std::optional<PasswordSource> password;          ///< Where it comes from.
    std::optional<std::uint8_t> cipherSuite;         ///< RMCP+: 3 or 17.
    std::optional<Enclosures::Privilege> privilege;  ///< RMCP+: the session's ceiling.
    std::optional<std::string> kg;                   ///< RMCP+: the key itself, not as typed.
    std::optional<TrustSetting> trust;               ///< HTTPS.
    std::string pinsFrom;  ///< As NoPin has it, where trust is a pin of it.
    std::optional<Enclosures::HttpAuthentication> authentication;  ///< HTTPS.
    std::optional<std::chrono::seconds> timeout;                   ///< For a whole read.
    std::optional<std::chrono::seconds> connectTimeout;            ///< For the first answer.
    std::optional<std::uint8_t> expectPsus;                        ///< Present supplies.
    std::optional<std::uint8_t> expectNodes;                       ///< Bays that hold a node.
};

/// Each setting as `first` has it, else as `second` has it.
Settings Over(const Settings& first, const Settings& second);

/// Whom to ask. A port in the host's name stands before the settings' one. A mistake when the host
/// has no line in the file of pins that it is to be trusted by.
/// @param host as it was named, a port included.
std::variant<Enclosures::Target, Mistake> TargetOf(const std::string& host,
                                                   const Settings& settings, std::string password);

/// What the enclosure should have.
Enclosures::Expectations ExpectationsOf(const Settings& settings);

/// A K_g key as it is typed: a text, or "0x" and pairs of hexadecimal digits. Nothing when it is
/// longer than a key may be, or no such pairs.
std::optional<std::string> KgFrom(std::string_view typed);

}  // namespace Tulvo::Fleet

#endif
