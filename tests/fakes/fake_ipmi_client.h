// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module that every IpmiClient of a test reaches, and that plays a script.
#ifndef TESTS_FAKES_FAKE_IPMI_CLIENT_H
#define TESTS_FAKES_FAKE_IPMI_CLIENT_H

#include <cstdint>
#include <optional>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "tests/fakes/current.h"
#include "tests/fakes/script.h"

namespace Tulvo::Fakes {

/// The module's script; a session is granted when an answer or a dropped request comes next.
///
/// The journal tells of every client, numbered in the order of construction:
///
///     client 1 made for ADDRESS USER PASSWORD PORT SUITE
///     client 1 connect
///     client 1 send 32 B0 05 00
///     client 1 disconnect
///     client 1 destroyed
class FakeIpmiClient : public Current<FakeIpmiClient>
{
public:
    using Bytes = std::vector<std::uint8_t>;

    /// What one request, or one attempt to open a session, meets.
    struct Step
    {
        std::optional<CONNECTIONSTATE> session;  ///< An attempt to open a session ends so.
        std::int32_t sendResult = 0;
        std::uint8_t completionCode = 0;
        Bytes response;
    };

    /// Answers a request with completion code 0.
    void Answers(const Bytes& response, int times = 1) { Refuses(0, response, times); }
    /// Answers with the first `count` bytes of `response`.
    void Truncates(const Bytes& response, std::size_t count, int times = 1);
    /// Answers with another completion code.
    void Refuses(std::uint8_t completionCode, const Bytes& response = {}, int times = 1)
    {
        script_.Add({{}, 0, completionCode, response}, times);
    }
    /// Takes a request and never answers it, as the client reports that.
    void Drops(int times = 1) { script_.Add({{}, -1, 0xFF, {}}, times); }
    /// Answers, but the client reports a failure all the same.
    void AnswersInVain(const Bytes& response) { script_.Add({{}, -1, 0, response}); }
    /// Grants no session; the attempt ends in `state`.
    void RefusesSession(CONNECTIONSTATE state, int times = 1)
    {
        script_.Add({state, 0, 0, {}}, times);
    }

    CONNECTIONSTATE PlayConnect();
    Step PlaySend();

private:
    Script<Step> script_{"IPMI module"};
};

}  // namespace Tulvo::Fakes

#endif
