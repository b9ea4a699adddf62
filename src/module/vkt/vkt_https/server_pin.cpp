// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/server_pin.h"

#include <optional>

#include "common/connection/connection_values.h"
#include "module/vkt/vkt_https/https_client.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "module/vkt/vkt_https/transport_failure.h"

namespace Tulvo::Https {
namespace {

/// Nobody logs in with it.
TulvoConnection::ConnectionInfo RecordWithoutAccount(const std::string& host, std::uint16_t port)
{
    TulvoConnection::ConnectionInfo info;
    info.address = host;
    info.port = port == 0 ? HttpsSettings().port : port;
    info.tlsVerification = TulvoConnection::kTlsVerifyNothing;
    info.authentication = TulvoConnection::kAuthenticateBySession;
    return info;
}

std::optional<Failure> TrustAnybody(std::string_view /*origin*/, ServerTrust& trust)
{
    trust.kind = HttpsTrust::kAnybody;
    return std::nullopt;
}

Tulvo::Failure WhyNoPin(const Failure& failure, const HttpsClient& client, const std::string& host,
                        const CallLimit& limit)
{
    if (limit.stop.stop_requested()) {
        return {Cause::kCancelled, "the request was cancelled", "", {}};
    }
    Tulvo::Failure told = Tell(failure, client.Origin(), host, client.Proof(), {});
    if (limit.firstAnswer && told.cause == Cause::kTimedOut) {
        told.cause = Cause::kUnreachable;  // As of any module that gives no first answer.
    }
    return told;
}

}  // namespace
}  // namespace Tulvo::Https

namespace Tulvo {

std::variant<std::string, Failure> ReadServerPin(const std::string& host, std::uint16_t port,
                                                 const CallLimit& limit)
{
    const TulvoConnection::ConnectionInfo info = Https::RecordWithoutAccount(host, port);
    Https::HttpsClient client(info, Https::TrustAnybody);
    if (const auto failure = client.ShakeHands(limit)) {
        return Https::WhyNoPin(*failure, client, host, limit);
    }
    return client.ServerKey();
}

}  // namespace Tulvo
