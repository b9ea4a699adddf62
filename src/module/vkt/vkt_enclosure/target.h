// SPDX-License-Identifier: Apache-2.0
/// @file
/// Whom to ask, as whom, over what, and how long.
#ifndef MODULE_VKT_VKT_ENCLOSURE_TARGET_H
#define MODULE_VKT_VKT_ENCLOSURE_TARGET_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

namespace Tulvo::Enclosures {

/// As IPMI numbers them.
enum class Privilege : std::uint8_t
{
    kUser = 2,
    kOperator = 3,
    kAdministrator = 4,
};

/// IPMI 2.0 over UDP. What is not set comes from the configuration, else is as said here.
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

/// Who vouches for the module over HTTPS.
struct TrustAuthorities  ///< The system's.
{
};
struct TrustAuthorityFile  ///< Those in a file of PEM, or a certificate itself.
{
    std::string path;
};
struct TrustPinnedKey  ///< One public key, and nothing else: "sha256//" and 44 Base64 characters.
{
    std::string pin;
};
struct TrustAnybody  ///< Nobody: whoever answers gets the password.
{
};
using Trust = std::variant<TrustAuthorities, TrustAuthorityFile, TrustPinnedKey, TrustAnybody>;

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
    HttpAuthentication authentication = HttpAuthentication::kSession;
};

/// One management module and the account to ask it with. A read copies what it needs; two targets
/// in one process share nothing.
struct Target
{
    std::string host;        ///< Name, IPv4 or IPv6 address, brackets allowed.
    std::uint16_t port = 0;  ///< 0 is the transport's own: 623 or 443.
    std::string user = {};
    std::string password = {};  ///< Over RMCP+ at most 20 bytes.
    std::variant<RmcpPlus, Https> transport = {};
};

/// How long a read may take, all told: looking up the name, log-in, requests, pauses, log-out.
struct Limits
{
    /// Asking ends a tenth before it, at most a second, so that the log-out fits.
    std::chrono::milliseconds deadline{30'000};  ///< At most a day.
    /// Ends the read soon; what was read by then is given, and the session is given back.
    std::stop_token stop = {};
};

}  // namespace Tulvo::Enclosures

#endif
