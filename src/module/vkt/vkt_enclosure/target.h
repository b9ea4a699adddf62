// SPDX-License-Identifier: Apache-2.0
/// @file
/// Whom to ask, as whom, over what, and how long.
#ifndef MODULE_VKT_VKT_ENCLOSURE_TARGET_H
#define MODULE_VKT_VKT_ENCLOSURE_TARGET_H

#if __cplusplus < 202002L
#error "libvktenclosure needs C++20: compile with -std=c++20"
#endif

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

#include "common/failure/log_in_gate.h"

namespace Tulvo::Enclosures {

/// As IPMI numbers them.
enum class Privilege : std::uint8_t
{
    kUser = 2,           ///< Reads what the module lets anybody read.
    kOperator = 3,       ///< Changes what can be changed back.
    kAdministrator = 4,  ///< All.
};

/// IPMI 2.0 over UDP. What is not set comes from the configuration, else is as said here. A setting
/// that cannot be ends the read before anything is sent, with Cause::kLocal or Cause::kRefused.
struct RmcpPlus
{
    /// 3 or 17, and no other then. Not set: `IPMI_CIPHER_SUITE`, else 17, and 3 where the module
    /// says that it has no 17.
    std::optional<std::uint8_t> cipherSuite = {};
    /// What the session may be raised to when the module refuses a request for lack of privilege.
    /// Not set: `IPMI_PRIVILEGE_LEVEL`, else administrator, and less where the account has less.
    std::optional<Privilege> privilege = {};
    /// The module's own key, for modules that have one beside the users' passwords; at most 20
    /// bytes; empty for none.
    std::string kg = {};
};

/// The system's authorities vouch for the module.
struct TrustAuthorities
{
};
/// Authorities of a file vouch for it.
struct TrustAuthorityFile
{
    std::string path;  ///< Of PEM: authorities, or the module's certificate itself.
};
/// One public key is trusted, and nothing else.
struct TrustPinnedKey
{
    /// "sha256//" and the 44 Base64 characters of the hash of the key (SubjectPublicKeyInfo). While
    /// a module changes its key, both, with a semicolon between.
    std::string pin;
};
/// Nobody vouches for it: whoever answers gets the password.
struct TrustAnybody
{
};
/// Who vouches for the module over HTTPS. Without proof no password leaves: Cause::kNotTrusted,
/// whose message names the key that was shown.
using Trust = std::variant<TrustAuthorities, TrustAuthorityFile, TrustPinnedKey, TrustAnybody>;

/// How an account proves itself over HTTPS.
enum class HttpAuthentication : std::uint8_t
{
    kSession,  ///< One log-in, then its token; logged out at the end.
    kBasic,    ///< User name and password with every request.
};

/// IPMI in requests over TLS.
struct Https
{
    /// Not set: `HTTPS_PINNED_KEY`, else `HTTPS_CA_FILE`, else the system's authorities.
    std::optional<Trust> trust = {};
    /// Never changed to the other when the module refuses it.
    HttpAuthentication authentication = HttpAuthentication::kSession;
};

/// One management module and the account to ask it with. Two targets in one process share nothing.
/// Name the members, for host, user and password are of one type:
///
///     Target{.host = "enc017", .user = "monitor", .password = secret, .transport = Https{}}
struct Target
{
    std::string host;        ///< Name, IPv4 or IPv6 address, brackets allowed.
    std::uint16_t port = 0;  ///< 0 is the transport's own: 623 or 443.
    std::string user = {};   ///< Over RMCP+ at most 16 bytes.
    std::string password =
        {};  ///< Over RMCP+ at most 20 bytes; a longer one is refused, never cut.
    std::variant<RmcpPlus, Https> transport = {};  ///< RMCP+ unless said otherwise.
};

/// How long a read may take, all told: looking up the name, log-in, requests, pauses, log-out.
struct Limits
{
    /// From the call to its return. Asking ends a tenth before it, at most a second, so that the
    /// log-out fits. None or less: nobody is asked. More than a day is a day.
    std::chrono::milliseconds deadline{30'000};
    /// Ends the read at once, with Cause::kCancelled; what was read by then is given, and the
    /// session is given back, for which there are three seconds at most, or one where the module
    /// left the request before unanswered. The source of the token may be another thread's, and
    /// touches no other read.
    std::stop_token stop = {};
    /// For the module's first answer; 0 leaves it to the deadline. Who gives none is unreachable.
    std::chrono::milliseconds firstAnswer{};
    /// Of reads that share an account; null for none. Outlives the read.
    LogInGate* gate = nullptr;
};

}  // namespace Tulvo::Enclosures

#endif
