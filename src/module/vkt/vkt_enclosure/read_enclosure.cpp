// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/read_enclosure.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "common/config/global_config.h"
#include "common/log/log.h"
#include "common/text/host.h"
#include "module/ipmi/ipmi_client/rmcp_transport.h"
#include "module/vkt/vkt_enclosure/impl/pace.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "module/vkt/vkt_https/https_transport.h"

namespace Tulvo::Enclosures {
namespace {

constexpr std::uint16_t kRmcpPort = 623;
constexpr std::uint16_t kHttpsPort = 443;

/// What is left of a target that says what cannot be: it opens no session, and says why.
class NoTransport final : public IpmiTransport
{
public:
    NoTransport(Failure failure, std::uint16_t port) : failure_(std::move(failure)), port_(port) {}

    IpmiOpening Open(const CallLimit& /*limit*/) override { return {.failure = failure_}; }
    IpmiExchange Ask(const IPMICOMMAND& /*request*/, Resend /*resend*/,
                     const CallLimit& /*limit*/) override
    {
        return {.end = IpmiExchange::End::kFailed, .data = {}, .failure = failure_};
    }
    std::optional<Failure> RaisePrivilege(const CallLimit& /*limit*/) override { return failure_; }
    void Close(const CallLimit& /*limit*/) override {}
    IpmiSessionInfo Info() const override
    {
        return {.port = port_, .cipherSuite = {}, .privilege = {}};
    }
    IpmiCost Cost() const override { return {}; }

private:
    Failure failure_;
    std::uint16_t port_;
};

Failure CannotBe(std::string what, std::string advice)
{
    return {Cause::kLocal, std::move(what), std::move(advice), {}};
}

/// What is configured for a setting that the target leaves open. What cannot be used may have been
/// meant to be stricter than what would stand in for it, and is refused.
template <class Value>
std::optional<Failure> LookUp(const ConfigSetting<Value>& configured, std::optional<Value>& value)
{
    if (configured.state == ConfigState::kUnusable) {
        return CannotBe("a configured setting cannot be used: " + configured.reason,
                        "correct it, or take it away");
    }
    if (configured.state == ConfigState::kSet) {
        value = configured.value;
    }
    return std::nullopt;
}

/// A small number that the target, else the configuration, sets; from `least` to `most`.
std::optional<Failure> Choose(std::optional<int> chosen, const char* key, const char* name,
                              int least, int most, std::optional<std::uint8_t>& setting)
{
    if (!chosen) {
        if (auto failure = LookUp(FindGlobalConfigValue(key), chosen)) {
            return failure;
        }
    }
    if (chosen && (*chosen < least || *chosen > most)) {
        return CannotBe("there is no " + std::string(name) + " " + std::to_string(*chosen),
                        "choose from " + std::to_string(least) + " to " + std::to_string(most));
    }
    if (chosen) {
        setting = static_cast<std::uint8_t>(*chosen);
    }
    return std::nullopt;
}

template <class T>
std::optional<int> AsInt(const std::optional<T>& value)
{
    return value ? std::optional(static_cast<int>(*value)) : std::nullopt;
}

/// What both transports want.
template <class Settings>
Settings Account(const Target& target, std::uint16_t port)
{
    Settings settings;
    settings.host = target.host;
    settings.port = target.port == 0 ? port : target.port;
    settings.user = target.user;
    settings.password = target.password;
    return settings;
}

std::unique_ptr<IpmiTransport> Make(const Target& target, const RmcpPlus& rmcp)
{
    auto settings = Account<RmcpSettings>(target, kRmcpPort);
    settings.kg = rmcp.kg;
    // Whether a suite is sound is the transport's to say.
    auto failure = Choose(AsInt(rmcp.cipherSuite), "IPMI_CIPHER_SUITE", "cipher suite", 0, 255,
                          settings.cipherSuite);
    if (!failure) {
        failure = Choose(AsInt(rmcp.privilege), "IPMI_PRIVILEGE_LEVEL", "privilege level",
                         static_cast<int>(Privilege::kUser),
                         static_cast<int>(Privilege::kAdministrator), settings.privilege);
    }
    if (failure) {
        return std::make_unique<NoTransport>(*failure, settings.port);
    }
    return MakeRmcpTransport(settings);
}

/// Whom to trust when the target leaves it open.
std::optional<Failure> ConfiguredTrust(Trust& trust)
{
    std::optional<std::string> pin;
    std::optional<std::string> file;
    if (auto failure = LookUp(FindGlobalConfigText("HTTPS_PINNED_KEY"), pin)) {
        return failure;
    }
    if (pin) {
        trust = TrustPinnedKey{*pin};
        return std::nullopt;
    }
    if (auto failure = LookUp(FindGlobalConfigText("HTTPS_CA_FILE"), file)) {
        return failure;
    }
    if (file) {
        trust = TrustAuthorityFile{*file};
    }
    return std::nullopt;
}

struct SetTrust
{
    HttpsSettings& settings;

    void operator()(const TrustAuthorities& /*trust*/) const {}
    void operator()(const TrustAuthorityFile& trust) const
    {
        settings.trust = HttpsTrust::kAuthorityFile;
        settings.trusted = trust.path;
    }
    void operator()(const TrustPinnedKey& trust) const
    {
        settings.trust = HttpsTrust::kPinnedKey;
        settings.trusted = trust.pin;
    }
    void operator()(const TrustAnybody& /*trust*/) const { settings.trust = HttpsTrust::kAnybody; }
};

std::unique_ptr<IpmiTransport> Make(const Target& target, const Https& https)
{
    auto settings = Account<HttpsSettings>(target, kHttpsPort);
    settings.basicAuthentication = https.authentication == HttpAuthentication::kBasic;
    Trust trust = https.trust.value_or(TrustAuthorities{});
    if (!https.trust) {
        if (const auto failure = ConfiguredTrust(trust)) {
            return std::make_unique<NoTransport>(*failure, settings.port);
        }
    }
    std::visit(SetTrust{settings}, trust);
    return MakeHttpsTransport(settings);
}

std::unique_ptr<IpmiTransport> TransportTo(const Target& target)
{
    return std::visit([&target](const auto& transport) { return Make(target, transport); },
                      target.transport);
}

void SetTarget(Source& source, const Target& target)
{
    source.host = target.host;
    source.overHttps = std::holds_alternative<Https>(target.transport);
}

/// The host as it was named, with its port where that is not the transport's own: it tells modules
/// apart that share an address.
std::string NameInLog(const Target& target)
{
    const bool overHttps = std::holds_alternative<Https>(target.transport);
    if (target.port == 0 || target.port == (overHttps ? kHttpsPort : kRmcpPort)) {
        return target.host;
    }
    return Text::WithBrackets(target.host).append(":").append(std::to_string(target.port));
}

}  // namespace

Enclosure ReadEnclosure(const Target& target, const Scope& scope, const Limits& limits)
{
    const LogContext context(NameInLog(target));
    RealPace pace;
    Enclosure record = ReadOver(*TransportTo(target), pace, scope, limits);
    SetTarget(record.source, target);
    return record;
}

Selection SelectSupply(const Target& target, std::uint8_t number, const Limits& limits)
{
    const LogContext context(NameInLog(target));
    RealPace pace;
    Selection selection = SelectOver(*TransportTo(target), pace, number, limits);
    SetTarget(selection.source, target);
    return selection;
}

}  // namespace Tulvo::Enclosures
