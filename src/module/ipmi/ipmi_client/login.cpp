// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/login.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>
#include <vector>

#include "common/interruption/interruption.h"
#include "module/ipmi/ipmi_client/connection.h"
#include "module/ipmi/ipmi_client/exchange.h"
#include "module/ipmi/ipmi_client/host_lookup.h"
#include "module/ipmi/ipmi_client/key_exchange.h"
#include "module/ipmi/ipmi_client/local_host.h"
#include "module/ipmi/ipmi_client/login_message.h"
#include "module/ipmi/ipmi_client/rmcp_status.h"

namespace Tulvo::Rmcp {
namespace {

/// Draws a number that is not 0, which stands for none.
template <class Number>
bool RandomizeNumber(Number& number)
{
    do {
        if (!Randomize(number)) {
            return false;
        }
    } while (number == 0);
    return true;
}

Failure NoRandomNumber()
{
    return LocalFault("drawing a random number");
}

Failure NoKeys()
{
    return LocalFault("computing the session's keys");
}

/// The module has proved that it knows the password before it says that. So the password is right,
/// and something was changed in transit, or the module has mixed up two log-ins.
Failure ProofRejected()
{
    return {CONNECTION_TRY_AGAIN, "the log-in was changed on its way, though the password is right",
            "try again"};
}

/// Completion codes of a module that cannot answer now.
bool IsBusy(std::uint8_t completionCode)
{
    constexpr std::array<std::uint8_t, 5> kBusy{
        IPMI_COMP_CODE_NODE_BUSY, IPMI_COMP_CODE_COMMAND_TIMEOUT, IPMI_COMP_CODE_OUT_OF_SPACE,
        IPMI_COMP_CODE_DEVICE_IN_FIRMWARE_UPDATE_MODE,
        IPMI_COMP_CODE_BMC_INITIALIZATION_IN_PROGRESS};
    return std::find(kBusy.begin(), kBusy.end(), completionCode) != kBusy.end();
}

/// Whether the module repeats what it was asked for.
bool Agrees(const FiidObject& reply, const Algorithms& algorithms)
{
    return reply.Number("authentication_payload.authentication_algorithm") ==
               algorithms.authentication &&
           reply.Number("integrity_payload.integrity_algorithm") == algorithms.integrity &&
           reply.Number("confidentiality_payload.confidentiality_algorithm") ==
               algorithms.confidentiality;
}

/// Of the replies to one message, the one that counts: what names the session stands above what is
/// doubtful, and a later good one above an earlier one.
struct BestReply
{
    void Offer(const Packet& other, Verdict otherVerdict, std::uint8_t otherStatus)
    {
        if (verdict != Verdict::kAnswer || otherStatus == RMCPPLUS_STATUS_NO_ERRORS) {
            packet = other;
            verdict = otherVerdict;
            status = otherStatus;
        }
    }
    bool IsGood() const { return status == RMCPPLUS_STATUS_NO_ERRORS; }

    Packet packet{};
    Verdict verdict = Verdict::kOther;
    std::uint8_t status = RMCPPLUS_STATUS_NO_ERRORS;
};

/// The steps up to the session's keys, each of which needs the one before.
class Login
{
public:
    Login(const Credentials& credentials, const LoginSettings& settings)
        : credentials_(credentials), settings_(settings), keys_(credentials, settings.privilege)
    {
    }
    Login(const Login&) = delete;
    Login& operator=(const Login&) = delete;
    ~Login();

    std::optional<Failure> Run();
    /// What Run() opened.
    std::unique_ptr<Session> TakeSession();

private:
    /// How far the module has come: what it must be told to forget.
    enum class Stage
    {
        kNothing,
        kHalfOpen,  ///< It has a session without keys.
        kProving,   ///< It has one, with keys if this side's proof arrived.
    };

    std::optional<Failure> Prepare();
    std::optional<Failure> Connect();
    std::optional<Failure> Negotiate(const Waits& waits);
    std::optional<Failure> ExchangeRandomNumbers();
    std::optional<Failure> Prove();

    std::optional<Failure> Ask(std::uint8_t type, const FiidObject& request,
                               const FiidObject& reply, const Waits& waits);
    std::uint8_t NextTag();
    void GiveUp();

    SessionState& State() { return connection_->state; }

    const Credentials& credentials_;
    const LoginSettings& settings_;
    Algorithms algorithms_;
    KeyExchange keys_;
    std::unique_ptr<Connection> connection_;
    Stage stage_ = Stage::kNothing;
    std::uint8_t tag_ = 0;
};

Login::~Login()
{
    try {
        GiveUp();
    } catch (const std::bad_alloc&) {
        // Nothing is left to tell the module with; it forgets the session when that times out.
    }
}

std::optional<Failure> Login::Run()
{
    for (const auto step :
         {&Login::Prepare, &Login::Connect, &Login::ExchangeRandomNumbers, &Login::Prove}) {
        if (std::optional<Failure> failure = (this->*step)()) {
            return failure;
        }
    }
    return {};
}

std::unique_ptr<Session> Login::TakeSession()
{
    stage_ = Stage::kNothing;
    return std::make_unique<Session>(std::move(connection_), settings_.waits);
}

std::optional<Failure> Login::Prepare()
{
    if (Interruption::Raised()) {
        return Interrupted();
    }
    if (std::optional<Failure> failure = StartCryptography()) {
        return failure;
    }
    // Random, so that an off-path attacker cannot know it.
    if (!Randomize(tag_)) {
        return NoRandomNumber();
    }
    const bool known = ipmi_cipher_suite_id_to_algorithms(
                           settings_.cipherSuite, &algorithms_.authentication,
                           &algorithms_.integrity, &algorithms_.confidentiality) == 0;
    return known ? std::nullopt
                 : std::optional(LocalFault("preparing the cipher suite's algorithms"));
}

// A name may stand for addresses of which the module listens on one; the wait is shared among them.
std::optional<Failure> Login::Connect()
{
    std::vector<Endpoint> endpoints;
    std::optional<Failure> failure =
        LookUpHost(credentials_.address, settings_.port, settings_.waits.limit, endpoints);
    if (failure) {
        return failure;
    }
    connection_ = std::make_unique<Connection>();
    State().algorithms = algorithms_;
    const Waits& waits = settings_.waits;
    const Waits share = waits.WithLimit(waits.limit / static_cast<int>(endpoints.size()));
    for (const Endpoint& endpoint : endpoints) {
        failure = connection_->link.Open(endpoint);
        if (!failure) {
            failure = Negotiate(share);
        }
        if (!failure || failure->code == CONNECTION_REFUSED || Interruption::Raised()) {
            return failure;
        }
    }
    return failure;
}

std::optional<Failure> Login::Negotiate(const Waits& waits)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST;
    if (!RandomizeNumber(State().consoleId)) {
        return NoRandomNumber();
    }
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    fill_rmcpplus_open_session(NextTag(), settings_.privilege, State().consoleId,
                               algorithms_.authentication, algorithms_.integrity,
                               algorithms_.confidentiality, request.Get());
    std::optional<Failure> failure = Ask(kType, request, reply, waits);
    if (Interruption::Raised()) {
        // The answer may be on its way: to wait for it spares the module a half-open session.
        TakeLateAnswer(connection_->link, [this](const Packet& packet) {
            AbortDuplicate(connection_->link, State(), packet);
            return Verdict::kOther;
        });
    }
    if (failure) {
        return failure;
    }
    State().moduleId = static_cast<std::uint32_t>(reply.Number("managed_system_session_id"));
    stage_ = Stage::kHalfOpen;
    constexpr std::uint8_t kOtherSuite =
        RMCPPLUS_STATUS_NO_CIPHER_SUITE_MATCH_WITH_PROPOSED_SECURITY_ALGORITHMS;
    return FailureOfStatus(Agrees(reply, algorithms_) ? RMCPPLUS_STATUS_NO_ERRORS : kOtherSuite,
                           settings_);
}

std::optional<Failure> Login::ExchangeRandomNumbers()
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1;
    if (!keys_.DrawRandom()) {
        return NoRandomNumber();
    }
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    keys_.FillMessage1(NextTag(), State().moduleId, request);
    if (std::optional<Failure> failure = Ask(kType, request, reply, settings_.waits)) {
        return failure;
    }
    if (keys_.CheckModule(reply, State())) {
        return {};
    }
    return FailureOfStatus(RMCPPLUS_STATUS_INVALID_INTEGRITY_CHECK_VALUE, settings_);
}

std::optional<Failure> Login::Prove()
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_3;
    const std::vector<std::uint8_t> proof = keys_.Proof(State());
    if (proof.empty() || !keys_.DeriveKeys(State())) {
        return NoKeys();
    }
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    fill_rmcpplus_rakp_message_3(NextTag(), RMCPPLUS_STATUS_NO_ERRORS, State().moduleId,
                                 proof.data(), static_cast<unsigned>(proof.size()), request.Get());
    stage_ = Stage::kProving;
    if (std::optional<Failure> failure = Ask(kType, request, reply, settings_.waits)) {
        return StatusOf(reply) == RMCPPLUS_STATUS_INVALID_INTEGRITY_CHECK_VALUE ? ProofRejected()
                                                                                : failure;
    }
    return keys_.CheckKeys(reply, State()) ? std::nullopt : std::optional(ProofRejected());
}

std::optional<Failure> Login::Ask(std::uint8_t type, const FiidObject& request,
                                  const FiidObject& reply, const Waits& waits)
{
    BestReply best;
    Message message;
    message.pack = [&] { return PackLogin(type, request); };
    message.judge = [&](const Packet& received) {
        const FiidObject candidate(LayoutOf(ReplyType(type)));
        const Verdict verdict = JudgeReply(received, type, tag_, State().consoleId, candidate);
        if (verdict == Verdict::kOther) {
            AbortDuplicate(connection_->link, State(), received);
        } else {
            best.Offer(received, verdict, StatusOf(candidate));
        }
        return verdict;
    };
    if (std::optional<Failure> failure = Exchange(connection_->link, waits, message)) {
        return failure;
    }
    // A module that answers slowly was sent copies of the request. It may draw a new random number
    // for each of them, and then expects the last one: a proof over the first would look like one
    // with a wrong password.
    if (type == IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1 && best.IsGood()) {
        TakeFurtherAnswers(connection_->link, waits, message);
    }
    UnpackLogin(best.packet, ReplyType(type), reply);
    std::optional<Failure> failure = FailureOfStatus(StatusOf(reply), settings_);
    if (failure && best.verdict == Verdict::kDoubtful) {
        failure->accountRefused = false;
    }
    return failure;
}

std::uint8_t Login::NextTag()
{
    do {
        ++tag_;
    } while (tag_ == kAbortTag);
    return tag_;
}

void Login::GiveUp()
{
    if (connection_ == nullptr || !connection_->BelongsToThisProcess()) {
        return;
    }
    if (stage_ != Stage::kNothing) {
        Abort(connection_->link, State().moduleId);
    }
    // While proving, the module may have come further than this side has heard.
    if (stage_ == Stage::kProving) {
        TakeSession().reset();
    }
}

// A session starts with little privilege whatever was asked for in the log-in. The module answers
// with the level that it granted.
std::optional<Failure> RaisePrivilege(Session& session, const LoginSettings& settings)
{
    constexpr unsigned kLevelBits = 0x0F;
    IpmiAnswer answer;
    if (std::optional<Failure> failure = session.Ask(
            {IPMI_CMD_SET_SESSION_PRIVILEGE_LEVEL, {settings.privilege}, IPMI_NET_FN_APP_RQ},
            answer)) {
        return failure;
    }
    if (IsBusy(answer.completionCode)) {
        return Failure{CONNECTION_TRY_AGAIN, "the module is busy", "try again"};
    }
    const bool granted = answer.completionCode == IPMI_COMP_CODE_COMMAND_SUCCESS &&
                         !answer.data.empty() &&
                         (answer.data[0] & kLevelBits) == settings.privilege;
    return granted ? std::nullopt : std::optional(PrivilegeRefused(settings));
}

}  // namespace

std::optional<Failure> LogIn(const Credentials& credentials, const LoginSettings& settings,
                             std::unique_ptr<Session>& session)
{
    Login login(credentials, settings);
    if (std::optional<Failure> failure = login.Run()) {
        return failure;
    }
    std::unique_ptr<Session> opened = login.TakeSession();
    if (std::optional<Failure> failure = RaisePrivilege(*opened, settings)) {
        return failure;
    }
    session = std::move(opened);
    return {};
}

}  // namespace Tulvo::Rmcp
