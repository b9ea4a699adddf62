// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/web_config.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "common/text/printable.h"
#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

using Exporter::ClientAuthType;
using Exporter::WebConfig;

constexpr std::string_view kFile = "web.yml";

void RequireGoodHashes(const WebConfig& config)
{
    for (const auto& [user, hash] : config.users) {
        Require(!user.empty() && user.find(':') == std::string::npos, "a user can be sent");
        Require(hash.size() == 60 && hash.starts_with("$2") && hash.substr(4, 2) <= "14",
                "a hash is one of bcrypt, and does not take long");
    }
}

void RequireGoodTls(const WebConfig& config)
{
    if (!config.tls) {
        return;
    }
    const Exporter::TlsConfig& tls = *config.tls;
    Require(!tls.certFile.empty() && !tls.keyFile.empty(), "TLS has a certificate and its key");
    Require(!tls.clientCaFile.empty() ||
                (tls.clientAuthType != ClientAuthType::kRequireAndVerifyClientCert &&
                 tls.clientAuthType != ClientAuthType::kVerifyClientCertIfGiven),
            "whoever is verified is so by an authority");
}

void RequireSafeHeaders(const WebConfig& config)
{
    for (const auto& [name, value] : config.headers) {
        Require(!value.empty() && std::all_of(value.begin(), value.end(), Text::IsPrintableAscii),
                "a header field is one line");
    }
}

void RequireGoodComplaint(std::string_view complaint, std::string_view text)
{
    Require(complaint.starts_with(kFile), "a complaint begins with the file");
    Require(complaint.size() < 500 &&
                std::all_of(complaint.begin(), complaint.end(), Text::IsPrintableAscii),
            "a complaint is one line and drives no terminal");
    complaint.remove_prefix(kFile.size() + 1);
    long line = 1;
    std::from_chars(complaint.data(), complaint.data() + complaint.size(), line);
    // YAML's lines end at carriage returns too.
    const auto lines = 1 + std::count_if(text.begin(), text.end(), [](char character) {
                           return character == '\n' || character == '\r';
                       });
    Require(line >= 1 && line <= lines, "a complaint names a line that there is");
}

}  // namespace

void RunWebConfig(Input input)
{
    const std::string text(input.begin(), input.end());
    try {
        const WebConfig config = Exporter::ParseWebConfig(text, std::string(kFile));
        RequireGoodHashes(config);
        RequireGoodTls(config);
        RequireSafeHeaders(config);
    } catch (const Exporter::BadWebConfig& mistake) {
        RequireGoodComplaint(mistake.what(), text);
    }
}

// The input is the file.
std::vector<Bytes> WebConfigSeeds()
{
    return {
        AsBytes("# Prometheus\n"
                "tls_server_config:\n"
                "  cert_file: server.crt\n"
                "  key_file: \"/etc/keys/server.key\"\n"
                "  client_auth_type: RequireAndVerifyClientCert\n"
                "  client_ca_file: &ca 'ca.crt'\n"
                "  min_version: TLS13\n"),
        AsBytes("basic_auth_users:\n"
                "  prometheus: $2y$10$aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n"
                "http_server_config: {http2: true, headers: {X-Frame-Options: deny}}\n"),
        AsBytes("? [a, *b]\n: !!str |\n  text\n--- >-\n  more\n...\n"),
    };
}

}  // namespace Tulvo::Fuzz
