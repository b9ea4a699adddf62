// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/ipmi_client.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <utility>

#include "common/interruption/interruption.h"
#include "common/log/log.h"
#include "module/ipmi/ipmi_client/login.h"
#include "module/ipmi/ipmi_client/outcome.h"
#include "module/ipmi/ipmi_client/rmcp_session.h"

namespace Tulvo {
namespace {

// What every module takes in one request: its message buffer is a byte long, less headers,
// checksums and signature.
constexpr std::size_t kMostData = 200;

constexpr std::uint8_t kNoCompletionCode = 0xFF;

std::atomic<std::uint64_t> unanswered = 0;
constexpr std::uint8_t kLastRequestNetFn = 0x3E;

std::string Target(const Credentials& credentials)
{
    const bool colons =
        credentials.address.find(':') != std::string::npos && credentials.address.front() != '[';
    const std::string host = colons ? "[" + credentials.address + "]" : credentials.address;
    return host + ":" + credentials.port;
}

// A second try may cure what is worth trying again, so that is a warning; the rest is an error.
int Level(CONNECTIONSTATE state)
{
    return state == CONNECTION_TRY_AGAIN ? 2 : 1;
}

}  // namespace

// Hidden, or it would be exported like the class around it.
struct [[gnu::visibility("hidden")]] IpmiClient::Session
{
    Session(const std::string& address, const std::string& userName, const std::string& password,
            const std::string& port, std::uint64_t cipherSuite)
        : credentials{address, userName, Password(password), port, cipherSuite}
    {
    }

    Credentials credentials;
    std::unique_ptr<RmcpSession> session;
    std::size_t mostData = kMostData;
    std::string lastError;

    void Report(const std::string& tried, const Outcome& outcome);
    Outcome Open();
    Outcome Check(const IPMICOMMAND& request) const;
    Outcome Ask(const IPMICOMMAND& request, IpmiAnswer& answer);
};

void IpmiClient::Session::Report(const std::string& tried, const Outcome& outcome)
{
    lastError.clear();
    if (!outcome.Good()) {
        lastError = tried + Target(credentials) + ": " + outcome.text;
        Log(Level(outcome.state), __FILE__, __LINE__).Stream() << lastError;
    }
}

Outcome IpmiClient::Session::Open()
{
    session.reset();
    LoginSettings settings;
    Outcome outcome = PrepareLogin(credentials, settings);
    if (outcome.Good()) {
        session = std::make_unique<RmcpSession>(credentials, settings);
        outcome = session->Open();
    }
    if (!outcome.Good()) {
        session.reset();
    }
    return outcome;
}

Outcome IpmiClient::Session::Check(const IPMICOMMAND& request) const
{
    if (session == nullptr) {
        return {CONNECTION_FAILED, "no session is open; connect first"};
    }
    if (request.netFn > kLastRequestNetFn || request.netFn % 2 != 0) {
        return {CONNECTION_FAILED, "network function " + std::to_string(request.netFn) +
                                       " is no request; use an even number up to 62"};
    }
    if (request.data.size() > mostData) {
        return {CONNECTION_FAILED, std::to_string(request.data.size()) +
                                       " bytes of data are more than the limit of " +
                                       std::to_string(mostData)};
    }
    return {};
}

Outcome IpmiClient::Session::Ask(const IPMICOMMAND& request, IpmiAnswer& answer)
{
    Outcome outcome = Check(request);
    if (outcome.Good()) {
        outcome = session->Ask(request, answer);
    }
    if (Interruption::Raised()) {
        session.reset();
    }
    return outcome;
}

IpmiClientInterface::~IpmiClientInterface() = default;

IpmiClient::IpmiClient(const std::string& address, const std::string& userName,
                       const std::string& password, const std::string& port,
                       std::uint64_t cipherSuite)
    : session_(std::make_shared<Session>(address, userName, password, port, cipherSuite))
{
}

IpmiClient::~IpmiClient() = default;

CONNECTIONSTATE IpmiClient::connect()
{
    const Outcome outcome = session_->Open();
    session_->Report("log-in at ", outcome);
    return outcome.state;
}

void IpmiClient::disconnect()
{
    session_->session.reset();
}

std::int32_t IpmiClient::send(const IPMICOMMAND& request, std::vector<std::uint8_t>& response,
                              std::uint8_t& completionCode)
{
    IpmiAnswer answer;
    const Outcome outcome = session_->Ask(request, answer);
    session_->Report("request to ", outcome);
    unanswered += outcome.Good() ? 0U : 1U;
    response = std::move(answer.data);
    completionCode = outcome.Good() ? answer.completionCode : kNoCompletionCode;
    return outcome.Good() ? 0 : -1;
}

void IpmiClient::setBlockLength(std::uint16_t length)
{
    session_->mostData = length == 0 ? kMostData : std::min<std::size_t>(length, kMostData);
}

std::uint64_t IpmiClient::unansweredRequests()
{
    return unanswered;
}

void IpmiClient::interruptAll()
{
    Interruption::Raise();
}

bool IpmiClient::waitUntilAllClosed(std::uint32_t milliseconds)
{
    return Interruption::WaitForNone(std::chrono::milliseconds(milliseconds));
}

std::string IpmiClient::lastError() const
{
    return session_->lastError;
}

}  // namespace Tulvo
