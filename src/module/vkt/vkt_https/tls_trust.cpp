// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/tls_trust.h"

#include <string>
#include <utility>

#include "common/config/global_config.h"
#include "common/connection/connection_values.h"
#include "common/log/log.h"
#include "common/text/pin.h"
#include "module/vkt/vkt_https/https_transport.h"

namespace Tulvo::Https {
namespace {

constexpr long kPeerHasAuthority = 1;
constexpr long kNameMatches = 2;

// What cannot be used may have been meant to be stricter than what would stand in for it.
std::optional<Failure> Find(const char* key, ConfigSetting<std::string>& setting)
{
    setting = FindGlobalConfigText(key);
    if (setting.state != ConfigState::kUnusable) {
        return std::nullopt;
    }
    return Failure{VKT_HTTPS_TLS_ERROR, std::string("the setting ") + key + " cannot be used",
                   "correct it, or take it away", setting.reason};
}

std::optional<Failure> CheckPin(const std::string& pin, const char* advice)
{
    if (Text::ArePins(pin)) {
        return std::nullopt;
    }
    return Failure{VKT_HTTPS_TLS_ERROR,
                   pin.empty() ? "the server's key is to be checked, but no key is pinned"
                               : "the pinned key is not of the form sha256//BASE64",
                   advice};
}

std::optional<Failure> FindAuthorities(ServerTrust& trust)
{
    ConfigSetting<std::string> file;
    if (auto failure = Find("HTTPS_CA_FILE", file)) {
        return failure;
    }
    if (file.state == ConfigState::kSet) {
        trust = {HttpsTrust::kAuthorityFile, std::move(file.value)};
    }
    return std::nullopt;
}

std::optional<Failure> FindPinnedKey(ServerTrust& trust)
{
    ConfigSetting<std::string> pin;
    if (auto failure = Find("HTTPS_PINNED_KEY", pin)) {
        return failure;
    }
    trust = {HttpsTrust::kPinnedKey, std::move(pin.value)};
    return CheckPin(trust.trusted, "set HTTPS_PINNED_KEY to the key's pin, sha256//...");
}

void TrustAuthorities(CurlOptions& options)
{
    options.Set(CURLOPT_SSL_VERIFYPEER, kPeerHasAuthority);
    options.Set(CURLOPT_SSL_VERIFYHOST, kNameMatches);
}

void TrustAuthorityFile(CurlOptions& options, const std::string& path)
{
    TrustAuthorities(options);
    options.Set(CURLOPT_CAINFO, path.c_str());
    // Without this the system's authorities would be trusted beside the file's.
    options.Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
}

void TrustAnyCertificate(CurlOptions& options)
{
    options.Set(CURLOPT_SSL_VERIFYPEER, 0L).Set(CURLOPT_SSL_VERIFYHOST, 0L);
}

}  // namespace

std::optional<Failure> FindConfiguredTrust(std::int32_t tlsVerification, std::string_view origin,
                                           ServerTrust& trust)
{
    switch (tlsVerification) {
        case TulvoConnection::kTlsVerifyPinnedKey:
            return FindPinnedKey(trust);
        case TulvoConnection::kTlsVerifyNothing:
            Log(2, __FILE__, __LINE__).Stream()
                << origin
                << ": the server's certificate is not verified; anyone in between can read the "
                   "password. Verify it, or pin its key with HTTPS_PINNED_KEY.";
            trust.kind = HttpsTrust::kAnybody;
            return std::nullopt;
        default:
            return FindAuthorities(trust);
    }
}

std::optional<Failure> SetTrust(CurlOptions& options, const ServerTrust& trust, std::string& pins)
{
    switch (trust.kind) {
        case HttpsTrust::kAuthorityFile:
            TrustAuthorityFile(options, trust.trusted);
            return std::nullopt;
        case HttpsTrust::kPinnedKey:
            TrustAnyCertificate(options);
            pins = trust.trusted;
            return CheckPin(pins, "give the key's pin, sha256// and 44 Base64 characters");
        case HttpsTrust::kAnybody:
            TrustAnyCertificate(options);
            return std::nullopt;
        default:
            TrustAuthorities(options);
            return std::nullopt;
    }
}

}  // namespace Tulvo::Https
