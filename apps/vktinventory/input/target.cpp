// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/target.h"

#include <string_view>
#include <utility>

#include "common/text/hexadecimal.h"

namespace Tulvo::Cli {
namespace {

std::optional<Enclosures::Trust> TrustOf(const Options& options)
{
    if (options.insecure) {
        return Enclosures::TrustAnybody{};
    }
    if (!options.pin.empty()) {
        return Enclosures::TrustPinnedKey{options.pin};
    }
    if (!options.caFile.empty()) {
        return Enclosures::TrustAuthorityFile{options.caFile};
    }
    return std::nullopt;
}

Enclosures::RmcpPlus RmcpPlusOf(const Options& options, std::string kg)
{
    Enclosures::RmcpPlus rmcp;
    if (options.cipherSuite) {
        rmcp.cipherSuite = static_cast<std::uint8_t>(*options.cipherSuite);
    }
    if (options.privilege) {
        rmcp.privilege = static_cast<Enclosures::Privilege>(*options.privilege);
    }
    rmcp.kg = std::move(kg);
    return rmcp;
}

constexpr std::string_view kHexadecimal = "0x";
constexpr std::size_t kLongestKey = 20;

}  // namespace

std::optional<std::string> KeyFrom(const std::string& typed)
{
    std::string key = typed;
    if (typed.starts_with(kHexadecimal)) {
        const std::string pairs = typed.substr(kHexadecimal.size());
        if (pairs.empty() || !Text::AreHexPairs(pairs)) {
            return std::nullopt;
        }
        const auto bytes = Text::FromHexPairs(pairs);
        key.assign(bytes.begin(), bytes.end());
    }
    return key.size() <= kLongestKey ? std::optional(key) : std::nullopt;
}

Enclosures::Target TargetOf(const Options& options, std::string password, std::string kg)
{
    Enclosures::Target target{.host = options.host,
                              .port = options.port,
                              .user = options.user,
                              .password = std::move(password),
                              .transport = {}};
    if (options.interface == TulvoConnection::kConnectOverHttps) {
        target.transport = Enclosures::Https{TrustOf(options), options.authentication};
    } else {
        target.transport = RmcpPlusOf(options, std::move(kg));
    }
    return target;
}

}  // namespace Tulvo::Cli
