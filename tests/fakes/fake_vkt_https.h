// SPDX-License-Identifier: Apache-2.0
/// @file
/// An HTTPS service of a module that plays a script.
#ifndef TESTS_FAKES_FAKE_VKT_HTTPS_H
#define TESTS_FAKES_FAKE_VKT_HTTPS_H

#include <cstdint>
#include <vector>

#include "module/vkt/vkt_https/vkt_https.h"
#include "tests/fakes/current.h"
#include "tests/fakes/script.h"

namespace Tulvo::Fakes {

/// The service's script. The journal tells of every transport:
///
///     https 1 made for ADDRESS USER PASSWORD and the seven numbers of the record, in its order
///     https 1 send 32 B0 05 00
///     https 1 destroyed
class FakeVKTHttps : public Current<FakeVKTHttps>
{
public:
    using Bytes = std::vector<std::uint8_t>;

    struct Step
    {
        VKTHttpsErrorCode result = VKT_HTTPS_SUCCESS;
        std::uint8_t completionCode = 0;
        Bytes response;
    };

    /// Answers a request with completion code 0.
    void Answers(const Bytes& response, int times = 1) { Refuses(0, response, times); }
    /// Answers with another completion code.
    void Refuses(std::uint8_t completionCode, const Bytes& response = {}, int times = 1)
    {
        script_.Add({VKT_HTTPS_SUCCESS, completionCode, response}, times);
    }
    /// The exchange fails; response and completion code are left alone.
    void Fails(std::int32_t result, int times = 1)
    {
        script_.Add({static_cast<VKTHttpsErrorCode>(result), 0, {}}, times);
    }

    VKTHttpsErrorCode PlaySend(Bytes& response, std::uint8_t& completionCode);

private:
    Script<Step> script_{"HTTPS service"};
};

}  // namespace Tulvo::Fakes

#endif
