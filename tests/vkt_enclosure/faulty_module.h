// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure on paper behind a real server of either transport, with one thing wrong at one of
/// its requests.
#ifndef TESTS_VKT_ENCLOSURE_FAULTY_MODULE_H
#define TESTS_VKT_ENCLOSURE_FAULTY_MODULE_H

#include <functional>
#include <memory>
#include <optional>

#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "tests/vkt_enclosure/paper_enclosure.h"

namespace Tulvo::Enclosures {

/// What becomes of an answer.
enum class Delivery : std::uint8_t
{
    kPlain,
    kDoubled,
    kLate,         ///< RMCP+: with the answer to a copy. HTTPS: a moment later.
    kForeign,      ///< RMCP+: behind that to an earlier request. HTTPS: another request's instead.
    kLost,         ///< RMCP+: not delivered. HTTPS: the connection closes in its place.
    kSessionLost,  ///< The module knows the session no more.
    kUnavailable,  ///< HTTPS: 503 instead.
    kUnavailableForASecond,  ///< HTTPS: 503 instead, and when to come back.
};

struct PlannedFault
{
    IPMICOMMAND request;
    Delivery delivery = Delivery::kPlain;
    std::optional<Bytes> answer = {};  ///< With the completion code; unset for the right one.
    int times = 1;
    std::function<void()> onArrival = [] {};
};

class FaultyModule
{
public:
    virtual ~FaultyModule() = default;
    virtual std::unique_ptr<IpmiTransport> Transport() const = 0;
    /// Whether no session is open, once what was sent has arrived.
    virtual bool HasNoSession() = 0;
    std::uint16_t Port() const { return Transport()->Info().port; }
};

/// @param quick whether a request without an answer is copied soon, else it never is.
std::unique_ptr<FaultyModule> RmcpModule(const PaperEnclosure& paper, const PlannedFault& fault,
                                         bool quick);
std::unique_ptr<FaultyModule> HttpsModule(const PaperEnclosure& paper, const PlannedFault& fault);

}  // namespace Tulvo::Enclosures

#endif
