// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/login_settings.h"

#include <freeipmi/freeipmi.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <system_error>

#include "common/config/global_config.h"
#include "common/log/log.h"

namespace Tulvo::Rmcp {
namespace {

constexpr std::uint16_t kDefaultPort = 623;

constexpr int kSessionTimeoutDefault = 5000;
constexpr int kRetransmissionTimeoutDefault = 1000;

// A wait of more than ten minutes is a slip of the keyboard, and would look like a hang.
constexpr int kLongestTimeout = 600'000;

// The suites that both sign and encrypt every packet, with SHA-1 or SHA-256 and AES. 0 asks for no
// password; those that only authenticate the log-in (1, 6, 11, 15) or only sign (2, 7, 16) let an
// on-path attacker read or forge answers; the others rest on MD5 or on RC4.
constexpr std::array kCipherSuites{3, 17};

constexpr std::array kPrivileges{IPMI_PRIVILEGE_LEVEL_USER, IPMI_PRIVILEGE_LEVEL_OPERATOR,
                                 IPMI_PRIVILEGE_LEVEL_ADMIN};

bool HoldsNul(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

std::optional<Failure> CheckAddress(const std::string& address)
{
    if (address.empty()) {
        return Failure{CONNECTION_FAILED, "the address is empty", "name the module's host"};
    }
    if (HoldsNul(address)) {
        return Failure{CONNECTION_FAILED, "the address holds a NUL byte", "check it"};
    }
    return {};
}

std::optional<Failure> CheckUserName(const std::string& userName)
{
    if (userName.size() > kLongestUserName) {
        return Failure{CONNECTION_REFUSED,
                       "the user name has more than 16 bytes, which IPMI 2.0 has no room for",
                       "check it"};
    }
    if (HoldsNul(userName)) {
        return Failure{CONNECTION_REFUSED, "the user name holds a NUL byte", "check it"};
    }
    return {};
}

std::optional<Failure> CheckPassword(const Password& password)
{
    if (!password.Fits()) {
        return Failure{CONNECTION_REFUSED,
                       "the password has more than 20 bytes, which IPMI 2.0 has no room for",
                       "set a shorter one on the module"};
    }
    if (password.View().find('\0') != std::string_view::npos) {
        return Failure{CONNECTION_REFUSED, "the password holds a NUL byte", "check it"};
    }
    return {};
}

std::optional<Failure> ReadPort(const std::string& text, std::uint16_t& port)
{
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc{} || rest != end) {
        return Failure{CONNECTION_FAILED, "the port is no number from 1 to 65535",
                       "623 is the usual one"};
    }
    port = port == 0 ? kDefaultPort : port;
    return {};
}

/// Reads a setting that bears trust; `value` stays when there is none. One that is there and cannot
/// be used must not turn into the default, which may allow more.
std::optional<Failure> ReadStrictly(const char* key, std::string& value)
{
    const ConfigSetting<int> setting = FindGlobalConfigValue(key);
    if (setting.state == ConfigState::kUnusable) {
        return Failure{CONNECTION_REFUSED, std::string(key) + " cannot be used", "correct it",
                       setting.reason};
    }
    if (setting.state == ConfigState::kSet) {
        value = std::to_string(setting.value);
    }
    return {};
}

/// The one of `known` that `text` names.
template <class Number, std::size_t Size>
std::optional<std::uint8_t> Find(const std::array<Number, Size>& known, const std::string& text)
{
    for (const Number number : known) {
        if (std::to_string(number) == text) {
            return static_cast<std::uint8_t>(number);
        }
    }
    return {};
}

std::optional<Failure> ReadPrivilege(std::uint8_t& privilege)
{
    std::string text = std::to_string(IPMI_PRIVILEGE_LEVEL_ADMIN);
    if (std::optional<Failure> failure = ReadStrictly("IPMI_PRIVILEGE_LEVEL", text)) {
        return failure;
    }
    const std::optional<std::uint8_t> found = Find(kPrivileges, text);
    if (!found) {
        return Failure{CONNECTION_REFUSED, "IPMI_PRIVILEGE_LEVEL is " + text,
                       "set 2 (user), 3 (operator) or 4 (administrator)"};
    }
    privilege = *found;
    return {};
}

Failure UnsoundSuite(const std::string& suite)
{
    return {CONNECTION_REFUSED,
            "cipher suite " + suite + " is not used, as it does not both sign and encrypt soundly",
            "set 3 or 17"};
}

std::optional<Failure> ReadCipherSuite(std::uint64_t argument, std::uint8_t& suite)
{
    std::string text = std::to_string(argument);
    if (std::optional<Failure> failure = ReadStrictly("IPMI_CIPHER_SUITE", text)) {
        return failure;
    }
    const std::optional<std::uint8_t> found = Find(kCipherSuites, text);
    if (!found) {
        return UnsoundSuite(text);
    }
    suite = *found;
    return {};
}

std::chrono::milliseconds ReadTimeout(const char* key, int defaultValue, int longest)
{
    const int value = GetGlobalConfigValue(key, defaultValue);
    if (value >= 1 && value <= longest) {
        return std::chrono::milliseconds(value);
    }
    const int used = std::min(defaultValue, longest);
    Log(2, __FILE__, __LINE__).Stream() << key << " is " << value << ", outside 1 to " << longest
                                        << "; " << used << " is used instead";
    return std::chrono::milliseconds(used);
}

/// The first failure of several checks, in their order.
template <std::size_t Size>
std::optional<Failure> FirstOf(std::array<std::optional<Failure>, Size> checks)
{
    for (std::optional<Failure>& check : checks) {
        if (check) {
            return std::move(check);
        }
    }
    return {};
}

}  // namespace

std::optional<Failure> CheckCredentials(const Credentials& credentials)
{
    return FirstOf(std::array{CheckAddress(credentials.address),
                              CheckUserName(credentials.userName),
                              CheckPassword(credentials.password)});
}

std::optional<Failure> CheckCipherSuite(std::uint64_t suite)
{
    const std::string text = std::to_string(suite);
    return Find(kCipherSuites, text) ? std::nullopt : std::optional(UnsoundSuite(text));
}

std::optional<Failure> ReadLoginSettings(const Credentials& credentials, LoginSettings& settings)
{
    Waits& waits = settings.waits;
    waits.limit = ReadTimeout("IPMI_SESSION_TIMEOUT_MS", kSessionTimeoutDefault, kLongestTimeout);
    waits.copyInterval =
        ReadTimeout("IPMI_RETRANSMISSION_TIMEOUT_MS", kRetransmissionTimeoutDefault,
                    static_cast<int>(waits.limit.count()));
    return FirstOf(
        std::array{CheckAddress(credentials.address), ReadPort(credentials.port, settings.port),
                   CheckUserName(credentials.userName), CheckPassword(credentials.password),
                   ReadCipherSuite(credentials.cipherSuite, settings.cipherSuite),
                   ReadPrivilege(settings.privilege)});
}

}  // namespace Tulvo::Rmcp
