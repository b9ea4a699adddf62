// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/ipmi_client.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "common/interruption/interruption.h"
#include "common/log/log.h"
#include "common/text/host.h"
#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/login.h"
#include "module/ipmi/ipmi_client/login_settings.h"
#include "module/ipmi/ipmi_client/refused_logins.h"
#include "module/ipmi/ipmi_client/session.h"

namespace Tulvo {
namespace {

using Rmcp::IpmiAnswer;

// What every module takes in one request: its message buffer is a byte long, less headers,
// checksums and signature.
constexpr std::size_t kMostData = 200;

constexpr std::uint8_t kLastRequestNetFn = 0x3E;
constexpr std::uint8_t kNoCompletionCode = 0xFF;

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
        : credentials{address, userName, Rmcp::Password(password), port, cipherSuite}
    {
    }

    Rmcp::Credentials credentials;
    Rmcp::LoginSettings settings;
    std::unique_ptr<Rmcp::Session> session;
    std::size_t mostData = kMostData;
    std::string lastError;

    std::string Target() const;
    void Report(const std::string& tried, const std::optional<Rmcp::Failure>& failure);
    std::optional<Rmcp::Failure> Open();
    std::optional<Rmcp::Failure> Check(const IPMICOMMAND& request) const;
    std::optional<Rmcp::Failure> Ask(const IPMICOMMAND& request, IpmiAnswer& answer);
};

std::string IpmiClient::Session::Target() const
{
    const std::string port = settings.port == 0 ? credentials.port : std::to_string(settings.port);
    return Text::WithBrackets(credentials.address) + ":" + port;
}

void IpmiClient::Session::Report(const std::string& tried,
                                 const std::optional<Rmcp::Failure>& failure)
{
    lastError.clear();
    if (failure) {
        lastError = tried + Target() + ": " + Describe(*failure);
        Log(Level(failure->code), __FILE__, __LINE__).Stream() << lastError;
    }
}

std::optional<Rmcp::Failure> IpmiClient::Session::Open()
{
    session.reset();
    if (std::optional<Rmcp::Failure> failure = Rmcp::ReadLoginSettings(credentials, settings)) {
        return failure;
    }
    if (std::optional<Rmcp::Failure> failure = Rmcp::EarlierRefusal(credentials, settings)) {
        return failure;
    }
    std::optional<Rmcp::Failure> failure = Rmcp::LogIn(credentials, settings, session);
    if (failure) {
        Rmcp::KeepRefusal(credentials, settings, *failure);
    }
    return failure;
}

std::optional<Rmcp::Failure> IpmiClient::Session::Check(const IPMICOMMAND& request) const
{
    if (session == nullptr) {
        return Rmcp::Failure{CONNECTION_FAILED, "no session is open", "connect first"};
    }
    if (request.netFn > kLastRequestNetFn || request.netFn % 2 != 0) {
        return Rmcp::Failure{CONNECTION_FAILED,
                             "network function " + std::to_string(request.netFn) + " is no request",
                             "use an even number up to 62"};
    }
    if (request.data.size() > mostData) {
        return Rmcp::Failure{CONNECTION_FAILED, std::to_string(request.data.size()) +
                                                    " bytes of data are more than the limit of " +
                                                    std::to_string(mostData)};
    }
    return {};
}

std::optional<Rmcp::Failure> IpmiClient::Session::Ask(const IPMICOMMAND& request,
                                                      IpmiAnswer& answer)
{
    std::optional<Rmcp::Failure> failure = Check(request);
    if (!failure) {
        failure = session->Ask(request, answer);
    }
    if (Interruption::Raised()) {
        session.reset();
    }
    return failure;
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
    const std::optional<Rmcp::Failure> failure = session_->Open();
    session_->Report("log-in at ", failure);
    return failure ? failure->code : CONNECTION_CONNECTED;
}

void IpmiClient::disconnect()
{
    session_->session.reset();
}

std::int32_t IpmiClient::send(const IPMICOMMAND& request, std::vector<std::uint8_t>& response,
                              std::uint8_t& completionCode)
{
    IpmiAnswer answer;
    const std::optional<Rmcp::Failure> failure = session_->Ask(request, answer);
    session_->Report("request to ", failure);
    response = std::move(answer.data);
    completionCode = failure ? kNoCompletionCode : answer.completionCode;
    return failure ? -1 : 0;
}

void IpmiClient::setBlockLength(std::uint16_t length)
{
    session_->mostData = length == 0 ? kMostData : std::min<std::size_t>(length, kMostData);
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
