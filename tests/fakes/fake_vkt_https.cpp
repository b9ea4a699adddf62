// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_vkt_https.h"

#include <string>

#include "tests/fakes/journal.h"

namespace Tulvo {

using Fakes::FakeVKTHttps;
using Fakes::Journal;

// The class has no destructor of its own to fake: the state that it owns tells of its end.
struct VKTHttps::Transport
{
    explicit Transport(const VKTHttps* transport)
        : owner(transport), name(Journal::Enter(transport, "https"))
    {
    }
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
    ~Transport()
    {
        Journal::Write(name + " destroyed");
        Journal::Leave(owner);
    }

    const VKTHttps* owner;
    std::string name;
};

VKTHttps::VKTHttps(const TulvoConnection::ConnectionInfo& info)
    : transport_(std::make_shared<Transport>(this))
{
    std::string record = info.address + " " + info.userName + " " + info.password;
    for (const std::int32_t number :
         {std::int32_t{info.port}, std::int32_t{info.connectTimeoutSeconds},
          std::int32_t{info.requestTimeoutSeconds}, info.tlsVerification, info.connectionType,
          info.addressFamily, info.authentication}) {
        record += " " + std::to_string(number);
    }
    Journal::Write(transport_->name + " made for " + record);
}

VKTHttpsErrorCode VKTHttps::SendIpmiCmdOverHttps(const IPMICOMMAND& request,
                                                 std::vector<std::uint8_t>& response,
                                                 std::uint8_t& completionCode)
{
    Journal::Write(transport_->name + " send " + Fakes::ToText(request));
    if (FakeVKTHttps::Get() == nullptr) {
        ADD_FAILURE() << "SendIpmiCmdOverHttps() without a fake service";
        return VKT_HTTPS_INTERNAL_ERROR;
    }
    return FakeVKTHttps::Get()->PlaySend(response, completionCode);
}

namespace Fakes {

VKTHttpsErrorCode FakeVKTHttps::PlaySend(Bytes& response, std::uint8_t& completionCode)
{
    const std::optional<Step> step = script_.Play("SendIpmiCmdOverHttps()");
    if (!step) {
        return VKT_HTTPS_INTERNAL_ERROR;
    }
    if (step->result == VKT_HTTPS_SUCCESS) {
        response = step->response;
        completionCode = step->completionCode;
    }
    return step->result;
}

}  // namespace Fakes

}  // namespace Tulvo
