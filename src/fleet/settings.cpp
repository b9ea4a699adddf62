// SPDX-License-Identifier: Apache-2.0
#include "fleet/settings.h"

#include <utility>

#include "common/text/hexadecimal.h"

namespace Tulvo::Fleet {
namespace {

template <class T>
void Fill(std::optional<T>& setting, const std::optional<T>& other)
{
    if (!setting) {
        setting = other;
    }
}

Enclosures::RmcpPlus RmcpPlusOf(const Settings& settings)
{
    return {settings.cipherSuite, settings.privilege, settings.kg.value_or("")};
}

Enclosures::Https HttpsOf(const Settings& settings)
{
    Enclosures::Https https;
    if (settings.trust) {
        https.trust = std::visit(
            [](const auto& trust) -> std::optional<Enclosures::Trust> {
                if constexpr (std::is_same_v<std::decay_t<decltype(trust)>, NoPin>) {
                    return std::nullopt;
                } else {
                    return trust;
                }
            },
            *settings.trust);
    }
    https.authentication =
        settings.authentication.value_or(Enclosures::HttpAuthentication::kSession);
    return https;
}

}  // namespace

Settings Over(const Settings& first, const Settings& second)
{
    Settings over = first;
    Fill(over.https, second.https);
    Fill(over.port, second.port);
    Fill(over.user, second.user);
    Fill(over.password, second.password);
    Fill(over.cipherSuite, second.cipherSuite);
    Fill(over.privilege, second.privilege);
    Fill(over.kg, second.kg);
    over.pinsFrom = over.trust ? over.pinsFrom : second.pinsFrom;
    Fill(over.trust, second.trust);
    Fill(over.authentication, second.authentication);
    Fill(over.timeout, second.timeout);
    Fill(over.connectTimeout, second.connectTimeout);
    Fill(over.expectPsus, second.expectPsus);
    Fill(over.expectNodes, second.expectNodes);
    return over;
}

std::variant<Enclosures::Target, Mistake> TargetOf(const std::string& host,
                                                   const Settings& settings, std::string password)
{
    const std::optional<HostPort> divided = SplitPort(host);
    if (!divided) {
        return Mistake{"\"" + host + "\" is no host"};
    }
    Enclosures::Target target;
    target.host = divided->host;
    target.port = divided->port != 0 ? divided->port : settings.port.value_or(0);
    target.user = settings.user.value_or("");
    target.password = std::move(password);
    if (!settings.https.value_or(false)) {
        target.transport = RmcpPlusOf(settings);
        return target;
    }
    if (settings.trust && std::holds_alternative<NoPin>(*settings.trust)) {
        return Mistake{std::get<NoPin>(*settings.trust).where + " has no line for " + host +
                       "; add one, or say otherwise whom to trust"};
    }
    target.transport = HttpsOf(settings);
    return target;
}

Enclosures::Expectations ExpectationsOf(const Settings& settings)
{
    return {settings.expectPsus, settings.expectNodes};
}

std::optional<std::string> KgFrom(std::string_view typed)
{
    constexpr std::string_view kHexadecimal = "0x";
    constexpr std::size_t kLongestKey = 20;
    std::string key(typed);
    if (typed.starts_with(kHexadecimal)) {
        const std::string_view pairs = typed.substr(kHexadecimal.size());
        if (pairs.empty() || !Text::AreHexPairs(pairs)) {
            return std::nullopt;
        }
        const auto bytes = Text::FromHexPairs(pairs);
        key.assign(bytes.begin(), bytes.end());
    }
    return key.size() <= kLongestKey ? std::optional(key) : std::nullopt;
}

}  // namespace Tulvo::Fleet
