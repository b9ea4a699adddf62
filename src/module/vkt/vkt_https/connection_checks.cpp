// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/connection_checks.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/connection/connection_values.h"
#include "common/text/host.h"

namespace Tulvo::Https {
namespace {

using TulvoConnection::ConnectionInfo;
using TulvoConnection::kAuthenticateBasic;
using TulvoConnection::kAuthenticateBySession;
using TulvoConnection::kTlsVerifyAuthority;
using TulvoConnection::kTlsVerifyNothing;

constexpr std::uint16_t kHttpsPort = 443;
constexpr std::size_t kLongestName = 253;
constexpr const char* kNameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";

bool IsName(const std::string& text)
{
    return !text.empty() && text.size() <= kLongestName &&
           text.find_first_not_of(kNameCharacters) == std::string::npos;
}

/// The URL's form of an IPv6 address, with the zone of a link-local one ("fe80::1%eth0") written
/// as URLs want it; empty when `text` is none.
std::string BracketedIpv6(const std::string& text)
{
    const auto percent = text.find('%');
    const std::string address = text.substr(0, percent);
    in6_addr unused{};
    if (address.find('\0') != std::string::npos ||
        inet_pton(AF_INET6, address.c_str(), &unused) != 1) {
        return "";
    }
    if (percent == std::string::npos) {
        return Text::WithBrackets(address);
    }
    const std::string zone = text.substr(percent + 1);
    return IsName(zone) ? Text::WithBrackets(address + "%25" + zone) : "";
}

std::string HostOf(const std::string& address)
{
    std::string ipv6 = BracketedIpv6(Text::WithoutBrackets(address));
    if (!ipv6.empty()) {
        return ipv6;
    }
    return IsName(address) ? address : "";
}

bool HasControlCharacter(const std::string& text)
{
    return std::any_of(text.begin(), text.end(), [](char character) {
        const auto code = static_cast<unsigned char>(character);
        return code < 0x20 || code == 0x7F;
    });
}

bool NameFitsBasic(const ConnectionInfo& info)
{
    // Basic ends the user name at its first colon: the rest would be taken for the password.
    return info.authentication != kAuthenticateBasic ||
           info.userName.find(':') == std::string::npos;
}

struct Check
{
    bool (*passes)(const ConnectionInfo& info);
    VKTHttpsErrorCode code;
    const char* what;
    const char* advice;
};

constexpr std::array kChecks = {
    Check{[](const ConnectionInfo& info) { return !info.address.empty(); },
          VKT_HTTPS_CONNECT_FAILED, "no address was given", "give the module's name or IP address"},
    Check{[](const ConnectionInfo& info) { return !HostOf(info.address).empty(); },
          VKT_HTTPS_CONNECT_FAILED, "the address is neither a host name nor an IP address",
          "give it without scheme, port, path or user"},
    Check{[](const ConnectionInfo& info) {
              return info.addressFamily == 0 || info.addressFamily == 4 || info.addressFamily == 6;
          },
          VKT_HTTPS_INTERNAL_ERROR, "the address family is unknown", "use 0, 4 or 6"},
    Check{[](const ConnectionInfo& info) {
              return info.authentication == kAuthenticateBasic ||
                     info.authentication == kAuthenticateBySession;
          },
          VKT_HTTPS_INTERNAL_ERROR, "the kind of authentication is unknown",
          "use 0 (Basic) or 1 (session token)"},
    Check{[](const ConnectionInfo& info) {
              return info.tlsVerification >= kTlsVerifyAuthority &&
                     info.tlsVerification <= kTlsVerifyNothing;
          },
          VKT_HTTPS_INTERNAL_ERROR, "the kind of TLS verification is unknown",
          "use 0 (authorities), 1 (pinned key) or 2 (none)"},
    Check{NameFitsBasic, VKT_HTTPS_INTERNAL_ERROR, "the user name holds a colon",
          "Basic authentication cannot carry it; use a session token"},
    Check{[](const ConnectionInfo& info) {
              return !HasControlCharacter(info.userName) && !HasControlCharacter(info.password);
          },
          VKT_HTTPS_INTERNAL_ERROR, "user name or password holds a control character",
          "HTTP cannot carry it; check for a stray line end"},
};

}  // namespace

std::optional<Failure> CheckConnection(const ConnectionInfo& info, std::string& origin)
{
    for (const Check& check : kChecks) {
        if (!check.passes(info)) {
            return Failure{check.code, check.what, check.advice};
        }
    }
    const std::uint16_t port = info.port == 0 ? kHttpsPort : info.port;
    origin = "https://" + HostOf(info.address) + ":" + std::to_string(port);
    return std::nullopt;
}

}  // namespace Tulvo::Https
