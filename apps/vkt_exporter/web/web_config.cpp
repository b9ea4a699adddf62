// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/web_config.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
#include <string_view>

#include "common/text/printable.h"

namespace Tulvo::Exporter {

namespace {

/// Of a bcrypt hash's cost the time doubles with each step: 14 takes about a second.
constexpr int kLowestCost = 4;
constexpr int kHighestCost = 14;

class Parser
{
public:
    explicit Parser(const std::string& path) : path_(path) {}

    WebConfig Parse(const std::string& text);

private:
    using Take = void (Parser::*)(const YAML::Node& value);
    /// What a map may hold. What cannot be taken is known to other exporters.
    struct Key
    {
        std::string_view name;
        Take take;
    };

    static const std::span<const Key> kFileKeys;
    static const std::span<const Key> kTlsKeys;
    static const std::span<const Key> kHttpKeys;

    [[noreturn]] void Fail(const YAML::Mark& mark, const std::string& why) const;
    void ForEach(const YAML::Node& map, const std::string& what,
                 const std::function<void(const std::string& name, const YAML::Node& name_,
                                          const YAML::Node& value)>& take) const;
    void TakeKeys(const YAML::Node& map, const std::string& what, std::span<const Key> keys);
    std::string TextOf(const YAML::Node& value, const std::string& what) const;
    std::string PathOf(const YAML::Node& value, const std::string& what) const;

    void TakeTls(const YAML::Node& map);
    void TakeHttp(const YAML::Node& map);
    void TakeUsers(const YAML::Node& map);
    void TakeCertFile(const YAML::Node& value) { Tls().certFile = PathOf(value, "cert_file"); }
    void TakeKeyFile(const YAML::Node& value) { Tls().keyFile = PathOf(value, "key_file"); }
    void TakeClientCaFile(const YAML::Node& value);
    void TakeClientAuthType(const YAML::Node& value);
    void TakeMinVersion(const YAML::Node& value);
    void TakeHttp2(const YAML::Node& value);
    void TakeHeaders(const YAML::Node& map);
    void TakeUser(const std::string& user, const YAML::Node& at, const YAML::Node& value);
    void CheckTls(const YAML::Mark& mark) const;
    TlsConfig& Tls() { return *config_.tls; }

    const std::string& path_;
    WebConfig config_;
};

constexpr std::string_view kHeaders[] = {
    "Content-Security-Policy", "Strict-Transport-Security", "X-Content-Type-Options",
    "X-Frame-Options",         "X-XSS-Protection",
};

struct ClientAuthTypeName
{
    std::string_view name;
    ClientAuthType type;
};
constexpr ClientAuthTypeName kClientAuthTypes[] = {
    {"NoClientCert", ClientAuthType::kNoClientCert},
    {"RequestClientCert", ClientAuthType::kRequestClientCert},
    {"RequireAnyClientCert", ClientAuthType::kRequireAnyClientCert},
    {"VerifyClientCertIfGiven", ClientAuthType::kVerifyClientCertIfGiven},
    {"RequireAndVerifyClientCert", ClientAuthType::kRequireAndVerifyClientCert},
};

template <class Range, class Name>
std::string Names(const Range& range, const Name& nameOf)
{
    std::string names;
    for (const auto& each : range) {
        names.append(names.empty() ? "" : ", ").append(nameOf(each));
    }
    return names;
}

/// "$2y$10$" and 53 digits; what crypt(3) is given.
bool IsBcryptHash(std::string_view hash)
{
    constexpr std::string_view kKinds = "aby";
    constexpr std::size_t kPrefix = 7;
    constexpr std::size_t kLength = 60;
    const auto isDecimal = [](char digit) { return digit >= '0' && digit <= '9'; };
    const auto isDigit = [isDecimal](char digit) {
        return isDecimal(digit) || (digit >= 'a' && digit <= 'z') ||
               (digit >= 'A' && digit <= 'Z') || digit == '.' || digit == '/';
    };
    return hash.size() == kLength && hash.starts_with("$2") &&
           kKinds.find(hash[2]) != std::string_view::npos && hash[3] == '$' && isDecimal(hash[4]) &&
           isDecimal(hash[5]) && hash[6] == '$' &&
           std::all_of(hash.begin() + kPrefix, hash.end(), isDigit);
}

int CostOf(std::string_view bcryptHash)
{
    return 10 * (bcryptHash[4] - '0') + (bcryptHash[5] - '0');
}

const std::span<const Parser::Key> Parser::kFileKeys = [] {
    static constexpr Key kKeys[] = {
        {"tls_server_config", &Parser::TakeTls},
        {"http_server_config", &Parser::TakeHttp},
        {"basic_auth_users", &Parser::TakeUsers},
        {"rate_limit", nullptr},
    };
    return std::span<const Key>(kKeys);
}();

const std::span<const Parser::Key> Parser::kTlsKeys = [] {
    static constexpr Key kKeys[] = {
        {"cert_file", &Parser::TakeCertFile},
        {"key_file", &Parser::TakeKeyFile},
        {"client_auth_type", &Parser::TakeClientAuthType},
        {"client_ca_file", &Parser::TakeClientCaFile},
        {"min_version", &Parser::TakeMinVersion},
        {"cert", nullptr},
        {"key", nullptr},
        {"client_ca", nullptr},
        {"client_allowed_sans", nullptr},
        {"max_version", nullptr},
        {"cipher_suites", nullptr},
        {"curve_preferences", nullptr},
        {"prefer_server_cipher_suites", nullptr},
    };
    return std::span<const Key>(kKeys);
}();

const std::span<const Parser::Key> Parser::kHttpKeys = [] {
    static constexpr Key kKeys[] = {
        {"http2", &Parser::TakeHttp2},
        {"headers", &Parser::TakeHeaders},
    };
    return std::span<const Key>(kKeys);
}();

void Parser::Fail(const YAML::Mark& mark, const std::string& why) const
{
    std::string message = Text::PrintableAscii(path_);
    if (!mark.is_null()) {
        message.append(":").append(std::to_string(mark.line + 1));
    }
    throw BadWebConfig(message.append(": ").append(why));
}

/// The members of a map, each name once. Names are the file's own words, not secret.
void Parser::ForEach(
    const YAML::Node& map, const std::string& what,
    const std::function<void(const std::string&, const YAML::Node&, const YAML::Node&)>& take) const
{
    if (!map.IsMap() || map.size() == 0) {
        Fail(map.Mark(),
             what + " has to hold \"name: value\" lines; leave it away if it is not meant");
    }
    std::vector<std::string> seen;
    for (const auto& member : map) {
        if (!member.first.IsScalar()) {
            Fail(member.first.Mark(), "a name in " + what + " is no text");
        }
        const std::string& name = member.first.Scalar();
        if (std::find(seen.begin(), seen.end(), name) != seen.end()) {
            Fail(member.first.Mark(), Text::Quoted(name) + " is there twice");
        }
        seen.push_back(name);
        take(name, member.first, member.second);
    }
}

void Parser::TakeKeys(const YAML::Node& map, const std::string& what, std::span<const Key> keys)
{
    ForEach(map, what, [&](const std::string& name, const YAML::Node& at, const YAML::Node& value) {
        const auto key = std::find_if(keys.begin(), keys.end(),
                                      [&name](const Key& each) { return each.name == name; });
        if (key == keys.end()) {
            Fail(at.Mark(), "unknown key " + Text::Quoted(name) + " in " + what);
        }
        if (key->take == nullptr) {
            Fail(at.Mark(), name + " is not offered by this exporter; remove it");
        }
        if (value.IsNull()) {
            Fail(at.Mark(), name + " has no value; leave it away if it is not meant");
        }
        (this->*key->take)(value);
    });
}

std::string Parser::TextOf(const YAML::Node& value, const std::string& what) const
{
    if (!value.IsScalar() || value.Scalar().find('\0') != std::string::npos) {
        Fail(value.Mark(), what + " has to be a text");
    }
    return value.Scalar();
}

std::string Parser::PathOf(const YAML::Node& value, const std::string& what) const
{
    const std::string path = TextOf(value, what);
    if (path.empty()) {
        Fail(value.Mark(), what + " has to be a path");
    }
    return std::filesystem::path(path_).parent_path() / path;
}

void Parser::TakeTls(const YAML::Node& map)
{
    config_.tls.emplace();
    TakeKeys(map, "tls_server_config", kTlsKeys);
    CheckTls(map.Mark());
}

void Parser::CheckTls(const YAML::Mark& mark) const
{
    const TlsConfig& tls = *config_.tls;
    const bool verifies = tls.clientAuthType == ClientAuthType::kVerifyClientCertIfGiven ||
                          tls.clientAuthType == ClientAuthType::kRequireAndVerifyClientCert;
    if (tls.certFile.empty() || tls.keyFile.empty()) {
        Fail(mark, "tls_server_config needs cert_file and key_file");
    }
    if (verifies && tls.clientCaFile.empty()) {
        Fail(mark, "client_auth_type verifies certificates, for which it needs client_ca_file");
    }
    if (!tls.clientCaFile.empty() && tls.clientAuthType == ClientAuthType::kNoClientCert) {
        Fail(mark,
             "client_ca_file has no use without client_auth_type, such as "
             "RequireAndVerifyClientCert");
    }
}

void Parser::TakeClientCaFile(const YAML::Node& value)
{
    Tls().clientCaFile = PathOf(value, "client_ca_file");
}

void Parser::TakeClientAuthType(const YAML::Node& value)
{
    const std::string name = TextOf(value, "client_auth_type");
    const auto* const found =
        std::find_if(std::begin(kClientAuthTypes), std::end(kClientAuthTypes),
                     [&name](const ClientAuthTypeName& each) { return each.name == name; });
    if (found == std::end(kClientAuthTypes)) {
        Fail(value.Mark(),
             "unknown client_auth_type " + Text::Quoted(name) + "; there are " +
                 Names(kClientAuthTypes, [](const ClientAuthTypeName& each) { return each.name; }));
    }
    Tls().clientAuthType = found->type;
}

void Parser::TakeMinVersion(const YAML::Node& value)
{
    const std::string name = TextOf(value, "min_version");
    if (name == "TLS10" || name == "TLS11") {
        Fail(value.Mark(), name + " is broken and not offered; min_version is TLS12 or TLS13");
    }
    if (name != "TLS12" && name != "TLS13") {
        Fail(value.Mark(),
             "unknown min_version " + Text::Quoted(name) + "; there are TLS12 and TLS13");
    }
    Tls().onlyVersion13 = name == "TLS13";
}

void Parser::TakeHttp(const YAML::Node& map)
{
    TakeKeys(map, "http_server_config", kHttpKeys);
}

// Clients choose HTTP/1.1 of themselves, so that a file made for other exporters serves too.
void Parser::TakeHttp2(const YAML::Node& value)
{
    const std::string name = TextOf(value, "http2");
    if (name != "true" && name != "false") {
        Fail(value.Mark(), "http2 has to be true or false");
    }
    if (name == "true") {
        config_.hints.push_back(Text::PrintableAscii(path_) +
                                ": http2 has no effect: this exporter serves HTTP/1.1 only");
    }
}

void Parser::TakeHeaders(const YAML::Node& map)
{
    ForEach(
        map, "headers",
        [this](const std::string& name, const YAML::Node& at, const YAML::Node& value) {
            if (std::find(std::begin(kHeaders), std::end(kHeaders), name) == std::end(kHeaders)) {
                Fail(at.Mark(), "unknown header " + Text::Quoted(name) + "; there are " +
                                    Names(kHeaders, [](std::string_view each) { return each; }));
            }
            const std::string text = value.IsNull() ? "" : TextOf(value, name);
            if (!std::all_of(text.begin(), text.end(), Text::IsPrintableAscii)) {
                Fail(value.Mark(), name + " has to be one line of plain ASCII");
            }
            if (!text.empty()) {
                config_.headers.emplace_back(name, text);
            }
        });
}

void Parser::TakeUsers(const YAML::Node& map)
{
    ForEach(map, "basic_auth_users",
            [this](const std::string& user, const YAML::Node& at, const YAML::Node& value) {
                TakeUser(user, at, value);
            });
}

void Parser::TakeUser(const std::string& user, const YAML::Node& at, const YAML::Node& value)
{
    if (user.empty() || user.find(':') != std::string::npos ||
        !std::all_of(user.begin(), user.end(),
                     [](char letter) { return letter < 0 || Text::IsPrintableAscii(letter); })) {
        Fail(at.Mark(), "a user's name cannot be empty or hold colons or control characters");
    }
    const std::string hash = TextOf(value, "the hash of " + Text::Quoted(user));
    if (!IsBcryptHash(hash)) {
        Fail(value.Mark(), "what " + Text::Quoted(user) +
                               " has is no bcrypt hash; make one with htpasswd -nBC 10 NAME");
    }
    if (CostOf(hash) < kLowestCost || CostOf(hash) > kHighestCost) {
        Fail(value.Mark(), "the hash of " + Text::Quoted(user) + " has cost " +
                               std::to_string(CostOf(hash)) + "; the cost has to be " +
                               std::to_string(kLowestCost) + " to " + std::to_string(kHighestCost));
    }
    config_.users.emplace(user, hash);
}

WebConfig Parser::Parse(const std::string& text)
{
    try {
        const YAML::Node file = YAML::Load(text);
        // A file that is being written is empty for a moment, in which it must not open the door.
        if (!file.IsDefined() || file.IsNull()) {
            Fail(YAML::Mark::null_mark(),
                 "the file is empty; start without it if nothing is meant");
        }
        TakeKeys(file, "the file", kFileKeys);
    } catch (const YAML::Exception& fault) {
        Fail(fault.mark, "this is no YAML: " + Text::PrintableAscii(fault.msg, 100));
    }
    return std::move(config_);
}

}  // namespace

WebConfig ParseWebConfig(const std::string& text, const std::string& path)
{
    return Parser(path).Parse(text);
}

}  // namespace Tulvo::Exporter
