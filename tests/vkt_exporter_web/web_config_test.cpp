// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/web_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace Tulvo::Exporter {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

// Made up; no password has them.
const std::string kDigits(53, 'a');
const std::string kHash = "$2y$10$" + kDigits;

TEST(WebConfig, TakesTheWholeFile)
{
    const WebConfig config = ParseWebConfig(
        "# Prometheus in room 4\n"
        "tls_server_config:\n"
        "  cert_file: server.crt\n"
        "  key_file: /etc/keys/server.key\n"
        "  client_auth_type: RequireAndVerifyClientCert\n"
        "  client_ca_file: ../ca.crt\n"
        "  min_version: TLS13\n"
        "http_server_config:\n"
        "  http2: false\n"
        "  headers:\n"
        "    X-Frame-Options: deny\n"
        "    X-XSS-Protection: ''\n"
        "    Content-Security-Policy:\n"
        "    Strict-Transport-Security: max-age=31536000\n"
        "basic_auth_users:\n"
        "  prometheus: " +
            kHash +
            "\n"
            "  'second one': $2b$04$" +
            kDigits + "\n",
        "/etc/exporter/web.yml");
    ASSERT_TRUE(config.tls.has_value());
    EXPECT_EQ(config.tls->certFile, "/etc/exporter/server.crt");
    EXPECT_EQ(config.tls->keyFile, "/etc/keys/server.key");
    EXPECT_EQ(config.tls->clientCaFile, "/etc/exporter/../ca.crt");
    EXPECT_EQ(config.tls->clientAuthType, ClientAuthType::kRequireAndVerifyClientCert);
    EXPECT_TRUE(config.tls->onlyVersion13);
    EXPECT_THAT(config.headers, ElementsAre(Pair("X-Frame-Options", "deny"),
                                            Pair("Strict-Transport-Security", "max-age=31536000")));
    EXPECT_THAT(config.users,
                ElementsAre(Pair("prometheus", kHash), Pair("second one", "$2b$04$" + kDigits)));
    EXPECT_THAT(config.hints, ElementsAre());
}

TEST(WebConfig, SaysThatHttp2HasNoEffect)
{
    const WebConfig config = ParseWebConfig("http_server_config:\n  http2: true\n", "web.yml");
    EXPECT_THAT(config.hints, ElementsAre(HasSubstr("serves HTTP/1.1 only")));
    EXPECT_FALSE(config.tls.has_value());
}

struct Mistake
{
    std::string text;
    std::string complaint;
};

void PrintTo(const Mistake& mistake, std::ostream* stream)
{
    *stream << mistake.complaint;
}

/// A tls_server_config with one line more, which is line 4.
std::string Tls(const std::string& line)
{
    return "tls_server_config:\n  cert_file: c\n  key_file: k\n  " + line + "\n";
}

std::string User(const std::string& line)
{
    return "basic_auth_users:\n  " + line + "\n";
}

const Mistake kMistakes[] = {
    {"", "web.yml: the file is empty"},
    {"# nothing yet\n", "web.yml: the file is empty"},
    {"~\n", "web.yml: the file is empty"},
    {"- a\n", "web.yml:1: the file has to hold \"name: value\" lines"},
    {"{}", "web.yml:1: the file has to hold \"name: value\" lines"},
    {"a: [b\n", "web.yml:2: this is no YAML: end of sequence flow not found"},
    {"tls_server_config: *a\n", "web.yml:1: this is no YAML"},
    {"? [a]\n: b\n", "web.yml:1: a name in the file is no text"},
    {"tls_config:\n  cert_file: c\n", "web.yml:1: unknown key \"tls_config\" in the file"},
    {"rate_limit:\n  burst: 1\n", "web.yml:1: rate_limit is not offered by this exporter"},
    {User("a: " + kHash) + User("b: " + kHash), "web.yml:3: \"basic_auth_users\" is there twice"},
    {"tls_server_config:\n", "web.yml:1: tls_server_config has no value"},
    {"tls_server_config:\n  cert_file: c\n", "tls_server_config needs cert_file and key_file"},
    {"tls_server_config:\n  key_file: k\n", "tls_server_config needs cert_file and key_file"},
    {"tls_server_config:\n  cert_file: ''\n", "web.yml:2: cert_file has to be a path"},
    {"tls_server_config:\n  cert_file: [c]\n", "web.yml:2: cert_file has to be a text"},
    {"tls_server_config:\n  cert_file: \"a\\0b\"\n", "web.yml:2: cert_file has to be a text"},
    {Tls("cert_fil: c"), "web.yml:4: unknown key \"cert_fil\" in tls_server_config"},
    {Tls("cert: c"), "web.yml:4: cert is not offered"},
    {Tls("key: k"), "web.yml:4: key is not offered"},
    {Tls("client_ca: k"), "web.yml:4: client_ca is not offered"},
    {Tls("client_allowed_sans: [a]"), "web.yml:4: client_allowed_sans is not offered"},
    {Tls("max_version: TLS13"), "web.yml:4: max_version is not offered"},
    {Tls("cipher_suites: [a]"), "web.yml:4: cipher_suites is not offered"},
    {Tls("curve_preferences: [a]"), "web.yml:4: curve_preferences is not offered"},
    {Tls("prefer_server_cipher_suites: true"),
     "web.yml:4: prefer_server_cipher_suites is not offered"},
    {Tls("min_version: TLS10"), "web.yml:4: TLS10 is broken and not offered"},
    {Tls("min_version: TLS11"), "web.yml:4: TLS11 is broken and not offered"},
    {Tls("min_version: SSL3"), "web.yml:4: unknown min_version \"SSL3\""},
    {Tls("client_auth_type: verify"),
     "web.yml:4: unknown client_auth_type \"verify\"; there are "
     "NoClientCert, RequestClientCert, RequireAnyClientCert, "
     "VerifyClientCertIfGiven, RequireAndVerifyClientCert"},
    {Tls("client_auth_type: RequireAndVerifyClientCert"), "for which it needs client_ca_file"},
    {Tls("client_auth_type: VerifyClientCertIfGiven"), "for which it needs client_ca_file"},
    {Tls("client_ca_file: ca"), "client_ca_file has no use without client_auth_type"},
    {"http_server_config:\n  http3: true\n", "web.yml:2: unknown key \"http3\""},
    {"http_server_config:\n  http2: perhaps\n", "web.yml:2: http2 has to be true or false"},
    {"http_server_config:\n  headers:\n    Server: x\n", "web.yml:3: unknown header \"Server\""},
    {"http_server_config:\n  headers:\n    X-Frame-Options: \"a\\r\\nb: c\"\n",
     "web.yml:3: X-Frame-Options has to be one line of plain ASCII"},
    {"tls_server_config:\n  cert_file:\n", "web.yml:2: cert_file has no value"},
    {"basic_auth_users: {}\n", "web.yml:1: basic_auth_users has to hold \"name: value\" lines"},
    {"basic_auth_users:\n", "web.yml:1: basic_auth_users has no value"},
    {User("a: secret"), "web.yml:2: what \"a\" has is no bcrypt hash; make one with htpasswd"},
    {User("a: $1$salt$" + kDigits), "web.yml:2: what \"a\" has is no bcrypt hash"},
    {User("a: $2x$10$" + kDigits), "web.yml:2: what \"a\" has is no bcrypt hash"},
    {User("a: " + kHash + "a"), "web.yml:2: what \"a\" has is no bcrypt hash"},
    {User("a: '$2y$10$" + std::string(52, 'a') + ":'"), "is no bcrypt hash"},
    {User("a: [" + kHash + "]"), "web.yml:2: the hash of \"a\" has to be a text"},
    {User("a: $2y$03$" + kDigits), "web.yml:2: the hash of \"a\" has cost 3"},
    {User("a: $2y$15$" + kDigits), "web.yml:2: the hash of \"a\" has cost 15"},
    {User("'': " + kHash), "web.yml:2: a user's name cannot be empty"},
    {User("'a:b': " + kHash), "web.yml:2: a user's name cannot be empty or hold colons"},
    {User("\"a\\0b\": " + kHash), "web.yml:2: a user's name cannot be empty or hold colons"},
};

class WebConfigComplains : public testing::TestWithParam<Mistake>
{
};

TEST_P(WebConfigComplains, OfAMistake)
{
    try {
        ParseWebConfig(GetParam().text, "web.yml");
        ADD_FAILURE() << "no complaint";
    } catch (const BadWebConfig& mistake) {
        EXPECT_THAT(mistake.what(), AllOf(StartsWith("web.yml:"), HasSubstr(GetParam().complaint),
                                          Not(HasSubstr(kDigits)), Not(HasSubstr("secret"))));
    }
}

INSTANTIATE_TEST_SUITE_P(Each, WebConfigComplains, testing::ValuesIn(kMistakes));

}  // namespace
}  // namespace Tulvo::Exporter
