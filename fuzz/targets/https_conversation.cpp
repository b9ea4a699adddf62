// SPDX-License-Identifier: Apache-2.0
#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "common/failure/log_in_gate.h"
#include "common/log/log.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/played_clock.h"
#include "fuzz/played_curl.h"
#include "fuzz/played_service.h"
#include "fuzz/require.h"
#include "fuzz/targets/read_promises.h"
#include "fuzz/targets/targets.h"
#include "module/vkt/vkt_https/https_transport.h"

namespace Tulvo::Fuzz {

namespace {

using namespace std::chrono_literals;

/// Bits of the input's byte for what is asked.
enum How : std::uint8_t
{
    kBasic = 1,
    kThroughGate = 2,
    kFirstAnswerInTime = 4,
};

class PlayedGate final : public LogInGate
{
public:
    explicit PlayedGate(Script& script) : script_(script) {}

    std::optional<Failure> Closed() override
    {
        return script_.Next() == 1 ? Told(Cause::kRefused) : std::nullopt;
    }

    std::optional<Failure> Enter(PlayedClock::Time until, const std::stop_token& stop) override
    {
        Require(!isInside, "a log-in enters once");
        const std::uint8_t byte = script_.Next();
        if (byte == 1) {
            return Told(Cause::kRefused);
        }
        if (byte == 2 && !stop.stop_requested()) {
            PlayedClock::MoveTo(until);
            return Told(Cause::kTimedOut);
        }
        isInside = true;
        return std::nullopt;
    }

    void Leave(End /*end*/) override { Require(std::exchange(isInside, false), "it leaves once"); }

    bool isInside = false;

private:
    static std::optional<Failure> Told(Cause cause)
    {
        return Failure{cause, "the gate says so", "", {}};
    }

    Script& script_;
};

/// Has every record checked, at the highest level.
class CheckedLog
{
public:
    explicit CheckedLog(const PlayedService& service) : level_(GetLogLevel())
    {
        SetLogLevel(4);
        SetLogSink([&service](const LogRecord& record) { service.RequireNoSecret(record.text); });
    }
    ~CheckedLog()
    {
        SetLogSink([](const LogRecord&) {});
        SetLogLevel(level_);
    }
    CheckedLog(const CheckedLog&) = delete;
    CheckedLog& operator=(const CheckedLog&) = delete;

private:
    int level_;
};

/// A certificate as a module shows it.
Bytes Certificate()
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), X509_VERSION_3);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 1);
    X509_set_pubkey(certificate.get(), key.get());
    const auto* const name = reinterpret_cast<const unsigned char*>("module");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC, name,
                               -1, -1, 0);
    X509_EXTENSION* const names =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name,
                            "DNS:enc017,DNS:enc017.example,IP:192.0.2.9,IP:2001:db8::9");
    X509_add_ext(certificate.get(), names, -1);
    X509_EXTENSION_free(names);
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    unsigned char* der = nullptr;
    const int size = i2d_X509(certificate.get(), &der);
    Bytes bytes(der, der + size);
    OPENSSL_free(der);
    return bytes;
}

}  // namespace

void RunHttpsConversation(Input input)
{
    constexpr auto kDeadline = 30s;
    constexpr auto kForLogOut = 1s;
    constexpr auto kRounding = 2ms;  // libcurl waits for whole milliseconds
    Script script(input);
    const Task task(script);
    const std::uint8_t how = script.Byte();
    const auto answerTime = 20ms * script.Byte();
    const bool isGated = (how & kThroughGate) != 0;

    const PlayedClock clock;
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    PlayedGate gate(script);
    PlayedService service(script, task.scenario,
                          {.isSelection = task.IsSelection(),
                           .asksUntil = deadline - kForLogOut,
                           .deletesUntil = deadline,
                           .hasLeave = [&] { return !isGated || gate.isInside; }},
                          answerTime);
    const PlayedCurl curl(service);
    const CheckedLog log(service);
    HttpsSettings settings = PlayedService::Settings();
    settings.basicAuthentication = (how & kBasic) != 0;
    const auto transport = MakeHttpsTransport(settings);
    const Enclosures::Limits limits{.deadline = kDeadline,
                                    .stop = script.Stop(),
                                    .firstAnswer = (how & kFirstAnswerInTime) != 0 ? 2s : 0s,
                                    .gate = isGated ? &gate : nullptr};
    for (const Failure& failure : Converse(task, *transport, limits, service.Answers())) {
        service.RequireNoSecret(failure.message);
        service.RequireNoSecret(failure.advice);
    }
    Require(service.IsLeftAlone(), "the session is given back");
    Require(!gate.isInside, "the log-in has left the gate");
    Require(std::chrono::steady_clock::now() <= deadline + kRounding,
            "a conversation ends in time");
}

// The input is its task, bits of How, and a byte for how many times 20 ms connections and replies
// take. Then, in the order of events, a byte for every connection, request and question to the
// gate, as ConnectionEvent, RequestEvent and PlayedGate have them, and what belongs to it.
std::vector<Bytes> HttpsConversationSeeds()
{
    std::vector<Bytes> seeds;
    const auto add = [&seeds](const Bytes& begin, const Bytes& then) {
        seeds.push_back(begin + then);
    };
    for (std::size_t at = 0; at < Scenarios().size(); ++at) {
        const auto scenario = static_cast<std::uint8_t>(at);
        add({scenario, 0, 0xFF, 0, 0}, {});
        add({scenario, 0x81, 0, kBasic, 0}, {});
    }
    const Bytes all{0, 0, 0xFF, 0, 1};
    const Bytes basic{0, 0, 0xFF, kBasic, 1};
    const Bytes goodLogIn{kConnects, kAnswersWell};
    for (std::uint8_t kind = kAnswersCode; kind < kRequestEvents; ++kind) {
        const Bytes event = Bytes{kind, 0xC0, 3} + AsBytes("12\n\n");
        add(all, Bytes{kConnects} + event);
        add(all, goodLogIn + event + event);
        add(all, goodLogIn + Bytes{kAnswersWell, kAnswersWell} + event);
        add(basic, Bytes{kConnects, kAnswersWell} + event);
        add({0, 0x81, 0, 0, 1}, goodLogIn + Bytes{kAnswersWell} + event);
    }
    for (std::uint8_t kind = kRefusesConnection; kind <= kBreaksConnection; ++kind) {
        add(all, {kind, 0xFF});
        add({0, 0, 0xFF, kThroughGate | kFirstAnswerInTime, 1}, {0, kind, 0});
        add(all, goodLogIn + Bytes{kHangsUp, kind, 0});
    }
    const Bytes certificate = Certificate();
    for (const std::uint8_t verdict : Bytes{X509_V_OK, X509_V_ERR_CERT_HAS_EXPIRED}) {
        add(all,
            Bytes{kShowsCertificate, verdict, static_cast<std::uint8_t>(certificate.size() / 256),
                  static_cast<std::uint8_t>(certificate.size())} +
                certificate);
    }
    for (std::uint8_t byte = 0; byte < 3; ++byte) {
        add({0, 0, 0xFF, kThroughGate, 1}, {0, kConnects, byte, kAnswersStatus, 6});
        add({0, 0, 0xFF, kThroughGate | kBasic, 1}, {0, kConnects, byte, kAnswersStatus, 6});
    }
    add(all, goodLogIn + Bytes{kForgets, kAnswersWell, kForgets, kStopNow, kAnswersWell});
    add(all, Bytes{kConnects, kIsLate, 0xFF});
    add(all, goodLogIn + Bytes{kSendsAnything, 0} +
                 AsBytes("Content-Type: application/json;charset=utf-8\n\n\x17{\"NetFn\": 51, "
                         "\"Command\": 168, \"CompletionCode\": 0, \"ResponseData\": \"fc00\"}"));
    add(all, Bytes{kConnects, kSendsAnything, 1} +
                 AsBytes("x-auth-token: abc\nlocation: https://192.0.2.7/redfish/v1/SessionService/"
                         "Sessions/9\n\n\x01{}"));
    return seeds;
}

}  // namespace Tulvo::Fuzz
