// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_enclosure/faulty_module.h"

#include <chrono>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>
#include <utility>

#include "common/text/hexadecimal.h"
#include "module/ipmi/ipmi_client/rmcp_timing.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "tests/ipmi_client/fake_rmcp_module.h"
#include "tests/ipmi_client/fault_injecting_relay.h"
#include "tests/vkt_https/tls_server.h"

namespace Tulvo::Enclosures {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;

struct Reply
{
    Bytes answer;  ///< With the completion code.
    Delivery delivery = Delivery::kPlain;
};

/// What the module answers, whatever the transport. Used by one thread at a time.
class Script
{
public:
    Script(const PaperEnclosure& paper, PlannedFault fault) : fault_(std::move(fault))
    {
        answers_[Fakes::RequestName({0x01, {}, 0x06})] = Bytes(11, 0x20);
        for (const PaperRequest& request : paper.Requests()) {
            answers_[Fakes::RequestName(request.request)] = request.answer;
        }
    }

    Reply To(const IPMICOMMAND& request)
    {
        const std::string name = Fakes::RequestName(request);
        Reply reply{{0xC1}};
        if (const auto known = answers_.find(name); known != answers_.end()) {
            reply.answer = {0x00};
            reply.answer.insert(reply.answer.end(), known->second.begin(), known->second.end());
        }
        if (name == Fakes::RequestName(fault_.request) && fault_.times > 0) {
            --fault_.times;
            fault_.onArrival();
            reply.delivery = fault_.delivery;
            reply.answer = fault_.answer.value_or(reply.answer);
        }
        return reply;
    }

private:
    std::map<std::string, Bytes> answers_;
    PlannedFault fault_;
};

class OverRmcp final : public FaultyModule
{
public:
    OverRmcp(const PaperEnclosure& paper, const PlannedFault& fault, bool quick)
        : script_(paper, fault), quick_(quick), module_(Options(paper))
    {
    }

    std::unique_ptr<IpmiTransport> Transport() const override
    {
        // Long enough for a busy machine, and no longer than two turns of silence should take.
        constexpr Rmcp::RmcpTiming kQuick{200ms, 100ms, 800ms, 10min, 10min};
        constexpr Rmcp::RmcpTiming kPatient{10min, 10min, 10min, 10min, 10min};
        RmcpSettings settings;
        settings.host = "127.0.0.1";
        settings.port = relay_.Port();
        settings.user = "admin";
        settings.password = "secret";
        return Rmcp::MakeRmcpTransport(settings, quick_ ? kQuick : kPatient);
    }

    bool HasNoSession() override { return module_.OpenSessions() == 0; }

private:
    /// Both suites occur.
    FakeRmcpModuleOptions Options(const PaperEnclosure& paper)
    {
        FakeRmcpModuleOptions options;
        options.cipherSuite = paper.isVkt2 ? 17 : 3;
        options.answer = [this](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
            const Reply reply = script_.To({command, data, netFn});
            Plan(reply.delivery);
            if (reply.delivery == Delivery::kSessionLost) {
                module_.ForgetSessions();
            }
            return reply.answer;
        };
        return options;
    }

    /// On a busy host the module answers a request and its copy before the relay has either answer.
    void Plan(Delivery delivery)
    {
        const std::lock_guard lock(mutex_);
        deliveries_.push_back(delivery);
    }

    /// Answers to what belongs to the session itself are not planned.
    Delivery NextDelivery()
    {
        const std::lock_guard lock(mutex_);
        if (deliveries_.empty()) {
            return Delivery::kPlain;
        }
        const Delivery next = deliveries_.front();
        deliveries_.pop_front();
        return next;
    }

    /// On the relay's thread.
    std::vector<Datagram> ToClient(const Datagram& datagram)
    {
        if (!Carries(datagram, kSealedIpmi)) {
            return {datagram};
        }
        std::vector<Datagram> arriving;
        switch (NextDelivery()) {
            case Delivery::kLost:
                return {};
            case Delivery::kLate:
                held_ = datagram;
                return {};
            case Delivery::kDoubled:
                arriving = {datagram, datagram};
                break;
            case Delivery::kForeign:
                arriving = {earlier_, datagram};
                break;
            default:
                arriving = {datagram};
        }
        if (!held_.empty()) {
            arriving.insert(arriving.begin(), std::exchange(held_, {}));
        }
        earlier_ = datagram;
        return arriving;
    }

    Script script_;
    const bool quick_;
    std::mutex mutex_;
    std::deque<Delivery> deliveries_;  ///< Of answers that the relay has not had yet.
    Datagram held_;
    Datagram earlier_;
    FakeRmcpModule module_;
    FaultInjectingRelay relay_{module_.Port(), FaultInjectingRelay::PassOn,
                               [this](const Datagram& d) { return ToClient(d); }};
};

class OverHttps final : public FaultyModule
{
public:
    OverHttps(const PaperEnclosure& paper, const PlannedFault& fault) : script_(paper, fault) {}

    std::unique_ptr<IpmiTransport> Transport() const override
    {
        return MakeHttpsTransport({.host = "127.0.0.1",
                                   .port = server_.Port(),
                                   .user = "admin",
                                   .password = "secret",
                                   .trust = HttpsTrust::kPinnedKey,
                                   .trusted = Identity().Pin()});
    }

    bool HasNoSession() override
    {
        const std::lock_guard lock(mutex_);
        return tokens_.empty();
    }

private:
    static const Tests::Identity& Identity()
    {
        static const Tests::Identity identity = Tests::MakeIdentity({});
        return identity;
    }

    void Play(Tests::Peer& peer)
    {
        for (bool open = peer.Handshake(); open;) {
            const auto request = peer.Read();
            open = request && Serve(peer, *request);
        }
    }

    bool Serve(Tests::Peer& peer, const Tests::Request& request)
    {
        const std::unique_lock lock(mutex_);
        const std::string token = request.Field("X-Auth-Token").value_or("");
        if (request.line.starts_with("DELETE ")) {
            tokens_.erase(token);
            return peer.Send(Message("204 No Content", ""));
        }
        if (request.line.find("/SessionService/Sessions ") != std::string::npos) {
            const std::string number = std::to_string(++logins_);
            tokens_.insert(number);
            return peer.Send(Message("201 Created", "{}",
                                     "X-Auth-Token: " + number +
                                         "\r\nLocation: /redfish/v1/SessionService/Sessions/" +
                                         number + "\r\n"));
        }
        return tokens_.contains(token) ? Answer(peer, json::parse(request.body))
                                       : peer.Send(Message("401 Unauthorized", "{}"));
    }

    bool Answer(Tests::Peer& peer, const json& body)
    {
        const int netFn = body.at("NetFn");
        const int command = body.at("Command");
        const Reply reply =
            script_.To({static_cast<std::uint8_t>(command),
                        Text::FromHexPairs(body.at("RequestData").get<std::string>()),
                        static_cast<std::uint8_t>(netFn)});
        const bool isForeign = reply.delivery == Delivery::kForeign;
        const json answer{{"NetFn", netFn + 1},
                          {"Command", isForeign ? command ^ 1 : command},
                          {"CompletionCode", reply.answer.front()},
                          {"ResponseData", Text::ToHexPairs(std::span(reply.answer).subspan(1))}};
        const std::string message = Message("200 OK", answer.dump());
        switch (reply.delivery) {
            case Delivery::kDoubled:
                return peer.Send(message + message);
            case Delivery::kLate:
                std::this_thread::sleep_for(50ms);
                return peer.Send(message);
            case Delivery::kLost:
                peer.Close();
                return false;
            case Delivery::kSessionLost:
                tokens_.clear();
                return peer.Send(Message("401 Unauthorized", "{}"));
            case Delivery::kUnavailable:
                return peer.Send(Message("503 Service Unavailable", "{}"));
            case Delivery::kUnavailableForASecond:
                return peer.Send(Message("503 Service Unavailable", "{}", "Retry-After: 1\r\n"));
            default:
                return peer.Send(message);
        }
    }

    static std::string Message(const std::string& status, const std::string& body,
                               const std::string& fields = "")
    {
        return "HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\n" + fields +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    std::mutex mutex_;
    Script script_;
    std::set<std::string> tokens_;
    int logins_ = 0;
    Tests::TlsServer server_{Identity(), [this](Tests::Peer& peer) { Play(peer); }};
};

}  // namespace

std::unique_ptr<FaultyModule> RmcpModule(const PaperEnclosure& paper, const PlannedFault& fault,
                                         bool quick)
{
    return std::make_unique<OverRmcp>(paper, fault, quick);
}

std::unique_ptr<FaultyModule> HttpsModule(const PaperEnclosure& paper, const PlannedFault& fault)
{
    return std::make_unique<OverHttps>(paper, fault);
}

}  // namespace Tulvo::Enclosures
