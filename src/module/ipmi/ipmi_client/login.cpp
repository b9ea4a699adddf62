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

/// How long the answer to the first request is waited for after a stop request.
constexpr std::chrono::seconds kLateAnswerAtStop{1};
/// The same after the module had all of its time.
constexpr std::chrono::milliseconds kLateAnswerAtEnd{200};

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
Failure ProofRejected(const LoginPoint& point)
{
    Failure failure{CONNECTION_TRY_AGAIN,
                    "the log-in was changed on its way, though the password is right", "try again"};
    failure.cause = Cause::kRefused;
    failure.point = point;
    return failure;
}

std::optional<Failure> At(LoginStep step, std::optional<Failure> failure)
{
    if (failure) {
        failure->point.step = step;
    }
    return failure;
}

LoginStep StepOf(std::uint8_t payloadType)
{
    switch (payloadType) {
        case IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST:
            return LoginStep::kOpenSession;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1:
            return LoginStep::kRandomNumbers;
        default:
            return LoginStep::kProof;
    }
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

/// A request for a session with one suite.
struct SuiteRequest
{
    std::uint8_t tag;
    std::uint8_t suite;
    Algorithms algorithms;
};

bool FindAlgorithms(std::uint8_t suite, Algorithms& algorithms)
{
    return ipmi_cipher_suite_id_to_algorithms(suite, &algorithms.authentication,
                                              &algorithms.integrity,
                                              &algorithms.confidentiality) == 0;
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
    Login(const Credentials& credentials, LoginSettings& settings)
        : credentials_(credentials), settings_(settings), keys_(credentials, settings.privilege)
    {
    }
    Login(const Login&) = delete;
    Login& operator=(const Login&) = delete;
    ~Login();

    std::optional<Failure> Run();
    /// What Run() opened.
    std::unique_ptr<Connection> TakeConnection();

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
    std::optional<Failure> AskForSession(const Waits& waits);
    void TakeOtherSuite();
    Verdict JudgeForRefused(const Packet& packet);
    bool OtherSuiteMayDo(std::uint8_t type, const FiidObject& reply) const;
    std::optional<Failure> WaitForLeave() const;
    std::optional<Failure> ExchangeRandomNumbers();
    std::optional<Failure> Prove();

    std::optional<Failure> Ask(std::uint8_t type, const FiidObject& request,
                               const FiidObject& reply, const Waits& given);
    void ProbeSession();
    bool IsOfProbe(const Packet& packet);
    std::uint8_t NextTag();
    Waits LaterWaits() const;
    void GiveUp();

    bool IsStopped() const { return Interruption::Raised() || settings_.waits.IsStopped(); }
    SessionState& State() { return connection_->state; }

    const Credentials& credentials_;
    LoginSettings& settings_;
    Algorithms algorithms_;  ///< Of the suite in the settings.
    KeyExchange keys_;
    std::unique_ptr<Connection> connection_;
    Stage stage_ = Stage::kNothing;
    std::uint8_t tag_ = 0;
    std::optional<SuiteRequest> refused_;  ///< For the first suite, while the other is asked for.
    std::chrono::milliseconds slowest_{};  ///< Of the replies so far, copies included.
    bool randomNumbersCopied_ = false;
    bool probed_ = false;  ///< Something was asked in the session before the last reply.
    bool proved_ = false;  ///< It was answered.
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
    std::optional<Failure> failure = Prepare();
    failure = failure ? failure : Connect();
    failure = failure ? failure : WaitForLeave();
    failure = failure ? failure : ExchangeRandomNumbers();
    return failure ? failure : Prove();
}

std::unique_ptr<Connection> Login::TakeConnection()
{
    stage_ = Stage::kNothing;
    return std::move(connection_);
}

std::optional<Failure> Login::Prepare()
{
    if (IsStopped()) {
        return Interrupted();
    }
    if (std::optional<Failure> failure = StartCryptography()) {
        return failure;
    }
    // Random, so that an off-path attacker cannot know it.
    if (!Randomize(tag_)) {
        return NoRandomNumber();
    }
    return FindAlgorithms(settings_.cipherSuite, algorithms_)
               ? std::nullopt
               : std::optional(LocalFault("preparing the cipher suite's algorithms"));
}

// A name may stand for addresses of which the module listens on one; the wait is shared among them.
std::optional<Failure> Login::Connect()
{
    std::vector<Endpoint> endpoints;
    const Waits waits = settings_.waits.Within(settings_.firstAnswer);
    std::optional<Failure> failure =
        LookUpHost(credentials_.address, settings_.port, waits, endpoints);
    if (failure) {
        return failure;
    }
    connection_ = std::make_unique<Connection>();
    connection_->link.Attach(waits.stop, settings_.cost);
    const Waits share = waits.WithLimit(waits.limit / static_cast<int>(endpoints.size()));
    for (const Endpoint& endpoint : endpoints) {
        failure = connection_->link.Open(endpoint);
        if (!failure) {
            failure = Negotiate(share);
        }
        if (!failure || failure->code == CONNECTION_REFUSED || IsStopped()) {
            return failure;
        }
    }
    return failure;
}

std::optional<Failure> Login::Negotiate(const Waits& waits)
{
    if (!RandomizeNumber(State().consoleId)) {
        return NoRandomNumber();
    }
    std::optional<Failure> failure = AskForSession(waits);
    const bool refused = failure && RefusesSuite(failure->point.status);
    const bool over = IsStopped() || Clock::now() >= settings_.waits.until;
    if (refused && settings_.otherSuite && over) {
        // The module may offer the other one: it was not asked.
        return At(LoginStep::kOpenSession, IsStopped() ? Interrupted() : NoTimeLeft());
    }
    if (refused && settings_.otherSuite) {
        TakeOtherSuite();
        failure = AskForSession(waits);
        refused_.reset();
    }
    State().algorithms = algorithms_;
    return failure;
}

// Some modules name no session when they refuse, so that the refusal could be anybody's. What the
// module really says to the first request comes before its answer to this one, which names the
// session: until then a good answer to the first is taken, too.
void Login::TakeOtherSuite()
{
    refused_ = {tag_, settings_.cipherSuite, algorithms_};
    settings_.cipherSuite = *settings_.otherSuite;
    settings_.otherSuite.reset();
    FindAlgorithms(settings_.cipherSuite, algorithms_);
    if (stage_ == Stage::kHalfOpen) {
        Abort(connection_->link, State().moduleId);
        stage_ = Stage::kNothing;
    }
}

/// What a packet is to the request for the first suite, whose refusal may have been a forgery: goes
/// back to that suite when it is the module's own good answer.
Verdict Login::JudgeForRefused(const Packet& packet)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST;
    if (!refused_) {
        return Verdict::kOther;
    }
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    const Verdict verdict = JudgeReply(packet, kType, refused_->tag, State().consoleId, reply);
    if (verdict != Verdict::kOther && StatusOf(reply) != RMCPPLUS_STATUS_NO_ERRORS) {
        return Verdict::kEarlier;
    }
    if (verdict == Verdict::kOther || !Agrees(reply, refused_->algorithms)) {
        return Verdict::kOther;
    }
    settings_.otherSuite = std::exchange(settings_.cipherSuite, refused_->suite);
    algorithms_ = refused_->algorithms;
    return Verdict::kAnswer;
}

/// Whether to ask for the other suite at once, instead of waiting for a better reply than this.
bool Login::OtherSuiteMayDo(std::uint8_t type, const FiidObject& reply) const
{
    return type == IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST && settings_.otherSuite &&
           RefusesSuite(StatusOf(reply));
}

std::optional<Failure> Login::AskForSession(const Waits& waits)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST;
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    fill_rmcpplus_open_session(NextTag(), settings_.privilege, State().consoleId,
                               algorithms_.authentication, algorithms_.integrity,
                               algorithms_.confidentiality, request.Get());
    std::optional<Failure> failure = Ask(kType, request, reply, waits);
    if (IsStopped() || (failure && Clock::now() >= waits.until)) {
        // The answer may be on its way: to wait for it spares the module a half-open session.
        const bool cutShort = failure && failure->cause == Cause::kCancelled;
        const std::chrono::milliseconds wait = cutShort ? kLateAnswerAtStop : kLateAnswerAtEnd;
        TakeLateAnswer(connection_->link, wait, [this](const Packet& packet) {
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
    return At(LoginStep::kOpenSession,
              FailureOfStatus(Agrees(reply, algorithms_) ? RMCPPLUS_STATUS_NO_ERRORS : kOtherSuite,
                              settings_));
}

std::optional<Failure> Login::WaitForLeave() const
{
    if (settings_.mayLogIn && !settings_.mayLogIn()) {
        return Failure{CONNECTION_FAILED, "the log-in was held back"};
    }
    return {};
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
    if (std::optional<Failure> failure = Ask(kType, request, reply, LaterWaits())) {
        return failure;
    }
    if (keys_.CheckModule(reply, State())) {
        return {};
    }
    // The status is this side's word, not the module's: it goes into no decision about another try.
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
    if (settings_.cost != nullptr) {
        ++settings_.cost->logIns;
    }
    std::optional<Failure> failure = Ask(kType, request, reply, LaterWaits());
    if (proved_) {
        return {};
    }
    if (failure) {
        return StatusOf(reply) == RMCPPLUS_STATUS_INVALID_INTEGRITY_CHECK_VALUE
                   ? std::optional(ProofRejected(failure->point))
                   : failure;
    }
    if (keys_.CheckKeys(reply, State())) {
        return {};
    }
    return ProofRejected({.step = LoginStep::kProof});
}

std::optional<Failure> Login::Ask(std::uint8_t type, const FiidObject& request,
                                  const FiidObject& reply, const Waits& given)
{
    Waits waits = given;
    waits.FollowPace(slowest_);
    BestReply best;
    Message message;
    message.pack = [&] {
        if (message.sent > 0 && StepOf(type) == LoginStep::kProof) {
            ProbeSession();
        }
        return PackLogin(type, request);
    };
    message.judge = [&](const Packet& received) {
        const FiidObject candidate(LayoutOf(ReplyType(type)));
        Verdict verdict = JudgeReply(received, type, tag_, State().consoleId, candidate);
        if (verdict == Verdict::kOther) {
            verdict = JudgeForRefused(received);
        }
        if (verdict == Verdict::kEarlier) {
            return verdict;
        }
        if (verdict == Verdict::kOther && IsOfProbe(received)) {
            return Verdict::kAnswer;
        }
        if (verdict == Verdict::kOther) {
            return AbortDuplicate(connection_->link, State(), received) ? Verdict::kEarlier
                                                                        : Verdict::kOther;
        }
        best.Offer(received, verdict, StatusOf(candidate));
        return OtherSuiteMayDo(type, candidate) ? Verdict::kAnswer : verdict;
    };
    std::optional<Failure> failure = Exchange(connection_->link, waits, message);
    if (settings_.cost != nullptr) {
        settings_.cost->copies += message.Copies();
    }
    slowest_ = std::max(
        slowest_, std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - message.firstSent));
    // A proof over the random number of one copy is wrong at a module that goes by another's.
    const bool copied = message.Copies() > 0 || randomNumbersCopied_;
    randomNumbersCopied_ = copied && type == IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1;
    if (failure) {
        failure->point.copied = copied;
        return At(StepOf(type), std::move(failure));
    }
    // A module that answers slowly was sent copies of the request. It may draw a new random number
    // for each of them, and then expects the last one: a proof over the first would look like one
    // with a wrong password.
    if (type == IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1 && best.IsGood()) {
        TakeFurtherAnswers(connection_->link, waits.WithLimit(std::min(waits.limit, waits.doubt)),
                           message);
    }
    UnpackLogin(best.packet, ReplyType(type), reply);
    failure = At(StepOf(type), FailureOfStatus(StatusOf(reply), settings_));
    if (failure) {
        failure->accountRefused = failure->accountRefused && best.verdict != Verdict::kDoubtful;
        failure->point.copied = copied;
    }
    return failure;
}

constexpr std::uint8_t kProbeNumber = 0;

IPMICOMMAND Probe()
{
    return {IPMI_CMD_GET_DEVICE_ID, {}, IPMI_NET_FN_APP_RQ};
}

/// Asks something in the session, which the module may have opened.
void Login::ProbeSession()
{
    if (!settings_.provedBySession) {
        return;
    }
    probed_ = true;
    connection_->link.Send(PackRequest(State(), Probe(), kProbeNumber));
    if (settings_.cost != nullptr) {
        ++settings_.cost->copies;
    }
}

/// Whether the packet is a signed answer to ProbeSession(): it proves the keys as well as the last
/// reply of a log-in does.
bool Login::IsOfProbe(const Packet& packet)
{
    IpmiAnswer answer;
    proved_ =
        probed_ && UnpackAnswer(State(), packet, Probe(), kProbeNumber, answer) == Verdict::kAnswer;
    return proved_;
}

Waits Login::LaterWaits() const
{
    const auto limit = LaterStepLimit(settings_.laterStepLimit, slowest_);
    return settings_.waits.WithLimit(std::min(settings_.waits.limit, limit));
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
        Session(TakeConnection(), settings_.waits);
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

std::optional<Failure> OpenConnection(const Credentials& credentials, LoginSettings& settings,
                                      std::unique_ptr<Connection>& connection)
{
    Login login(credentials, settings);
    if (std::optional<Failure> failure = login.Run()) {
        return failure;
    }
    connection = login.TakeConnection();
    return {};
}

std::optional<Failure> LogIn(const Credentials& credentials, LoginSettings settings,
                             std::unique_ptr<Session>& session)
{
    std::unique_ptr<Connection> connection;
    if (std::optional<Failure> failure = OpenConnection(credentials, settings, connection)) {
        return failure;
    }
    auto opened = std::make_unique<Session>(std::move(connection), settings.waits);
    if (std::optional<Failure> failure = RaisePrivilege(*opened, settings)) {
        return failure;
    }
    session = std::move(opened);
    return {};
}

}  // namespace Tulvo::Rmcp
