// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_ipmi_client.h"

#include <algorithm>
#include <string>

#include "tests/fakes/journal.h"

namespace Tulvo {

using Fakes::FakeIpmiClient;
using Fakes::Journal;

namespace {

void Note(const IpmiClient* client, const std::string& deed)
{
    Journal::Write(Journal::NameOf(client) + " " + deed);
}

}  // namespace

// The fake keeps nothing of its own in a client, but the type has to be complete.
struct IpmiClient::Session
{
};

IpmiClientInterface::~IpmiClientInterface() = default;

IpmiClient::IpmiClient(const std::string& address, const std::string& userName,
                       const std::string& password, const std::string& port,
                       std::uint64_t cipherSuite)
{
    Journal::Write(Journal::Enter(this, "client") + " made for " + address + " " + userName + " " +
                   password + " " + port + " " + std::to_string(cipherSuite));
}

IpmiClient::~IpmiClient()
{
    Note(this, "destroyed");
    Journal::Leave(this);
}

CONNECTIONSTATE IpmiClient::connect()
{
    Note(this, "connect");
    if (FakeIpmiClient::Get() == nullptr) {
        ADD_FAILURE() << "connect() without a fake module";
        return CONNECTION_FAILED;
    }
    return FakeIpmiClient::Get()->PlayConnect();
}

void IpmiClient::disconnect()
{
    Note(this, "disconnect");
}

std::int32_t IpmiClient::send(const IPMICOMMAND& request, std::vector<std::uint8_t>& response,
                              std::uint8_t& completionCode)
{
    Note(this, "send " + Fakes::ToText(request));
    if (FakeIpmiClient::Get() == nullptr) {
        ADD_FAILURE() << "send() without a fake module";
        return -1;
    }
    const FakeIpmiClient::Step step = FakeIpmiClient::Get()->PlaySend();
    response = step.response;
    completionCode = step.completionCode;
    return step.sendResult;
}

void IpmiClient::setBlockLength(std::uint16_t length)
{
    Note(this, "setBlockLength " + std::to_string(length));
}

namespace Fakes {

void FakeIpmiClient::Truncates(const Bytes& response, std::size_t count, int times)
{
    const auto length = static_cast<std::ptrdiff_t>(std::min(count, response.size()));
    Answers({response.begin(), response.begin() + length}, times);
}

CONNECTIONSTATE FakeIpmiClient::PlayConnect()
{
    if (script_.Next() != nullptr && !script_.Next()->session) {
        return CONNECTION_CONNECTED;
    }
    const std::optional<Step> step = script_.Play("connect()");
    return step ? *step->session : CONNECTION_FAILED;
}

FakeIpmiClient::Step FakeIpmiClient::PlaySend()
{
    const std::optional<Step> step = script_.Play("send()");
    if (!step || step->session) {
        EXPECT_FALSE(step) << "send() where an attempt to connect is scripted";
        return {{}, -1, 0xFF, {}};
    }
    return *step;
}

}  // namespace Fakes

}  // namespace Tulvo
