// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_https/session_fixture.h"

namespace Tulvo::Tests {

Session::Session()
{
    Serve([this](Peer& peer) {
        for (bool open = peer.Handshake(); open;) {
            const auto arrived = peer.Read();
            open = arrived && peer.Send(Answer(*arrived));
        }
    });
    ConnectAs(kPassword);
}

Session::~Session()
{
    client.reset();
    server.reset();
}

std::string Session::Answer(const Request& arrived)
{
    if (arrived.line.starts_with("DELETE ")) {
        return Reply(deletionStatus, deletionBody);
    }
    if (arrived.line.starts_with(std::string(kLogin) + " ")) {
        const std::string number = std::to_string(++logins);
        return Reply(loginStatus, loginBody,
                     tokenField + number + "\r\n" + locationField + number + "\r\n");
    }
    const bool known = arrived.Field("X-Auth-Token") == "token-" + std::to_string(validLogin);
    return known ? GoodReply() : Reply(refusalStatus, refusal);
}

void Session::ConnectAs(const std::string& password, std::int32_t authentication)
{
    auto record = Record();
    record.password = password;
    record.authentication = authentication;
    Connect(record);
}

std::vector<std::string> Session::Arrived() const
{
    std::vector<std::string> lines;
    for (const Request& arrived : server->Requests()) {
        lines.push_back(arrived.line.substr(0, arrived.line.rfind(' ')));
    }
    return lines;
}

}  // namespace Tulvo::Tests
