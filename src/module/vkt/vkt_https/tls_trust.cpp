// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/tls_trust.h"

#include <string>
#include <utility>

#include "common/config/global_config.h"
#include "common/connection/connection_values.h"
#include "common/log/log.h"
#include "module/vkt/vkt_https/https_transport.h"

namespace Tulvo::Https {
namespace {

constexpr long kPeerHasAuthority = 1;
constexpr long kNameMatches = 2;

bool IsOnePin(std::string_view pin)
{
    constexpr std::string_view kScheme = "sha256//";
    constexpr std::size_t kDigits = 43;  // of 32 bytes in Base64, before one "="
    constexpr std::string_view kBase64 =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (!pin.starts_with(kScheme)) {
        return false;
    }
    const std::string_view digest = pin.substr(kScheme.size());
    return digest.find_first_not_of(kBase64) == kDigits && digest.substr(kDigits) == "=";
}

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
    if (IsPin(pin)) {
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

bool IsPin(std::string_view pin)
{
    const auto end = pin.find(';');
    const bool fits = IsOnePin(pin.substr(0, end));
    return end == std::string_view::npos ? fits : fits && IsPin(pin.substr(end + 1));
}

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
