// SPDX-License-Identifier: Apache-2.0
/// @file
/// The web configuration file that Prometheus' exporters share: TLS, users, header fields.
#ifndef APPS_VKT_EXPORTER_WEB_WEB_CONFIG_H
#define APPS_VKT_EXPORTER_WEB_WEB_CONFIG_H

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Tulvo::Exporter {

/// What is asked of a client's certificate; the names are the file's.
enum class ClientAuthType
{
    kNoClientCert,
    kRequestClientCert,
    kRequireAnyClientCert,
    kVerifyClientCertIfGiven,
    kRequireAndVerifyClientCert,
};

struct TlsConfig
{
    std::string certFile;
    std::string keyFile;
    std::string clientCaFile;  ///< Empty for none.
    ClientAuthType clientAuthType = ClientAuthType::kNoClientCert;
    bool onlyVersion13 = false;
};

struct WebConfig
{
    std::optional<TlsConfig> tls;
    /// User to bcrypt hash, whose cost is bounded; nobody has to log in when empty.
    std::map<std::string, std::string> users;
    std::vector<std::pair<std::string, std::string>> headers;  ///< For each answer.
    std::vector<std::string> hints;                            ///< What the writer may not expect.
};

/// A mistake in the file or in one that it names. The message names the file, the line where it has
/// one, and what to do; it holds nothing secret.
class BadWebConfig : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// A certificate with the key of another one: a mistake, or the middle of a renewal, which replaces
/// one file after the other.
class UnmatchedKey : public BadWebConfig
{
    using BadWebConfig::BadWebConfig;
};

/// @param path of the file with this text: for messages, and for the paths in it, which are
/// relative to its folder.
/// @throws BadWebConfig
WebConfig ParseWebConfig(const std::string& text, const std::string& path);

}  // namespace Tulvo::Exporter

#endif
