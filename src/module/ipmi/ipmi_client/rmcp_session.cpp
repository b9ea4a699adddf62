// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/rmcp_session.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "module/ipmi/ipmi_client/rmcp_status.h"

namespace Tulvo {
namespace {

// The module looks the user up by name alone, not by name and privilege, as every common client
// asks it to: a user's name is unique.
constexpr std::uint8_t kLookUp = IPMI_NAME_ONLY_LOOKUP;

constexpr std::uint8_t kApplication = 0x06;
constexpr std::uint8_t kSetSessionPrivilegeLevel = 0x3B;
constexpr std::uint8_t kCloseSession = 0x3C;

constexpr std::chrono::milliseconds kPatience{200};

constexpr std::uint8_t kRequestNumbers = 64;

// No other message has this tag, so that an answer to it is taken for nothing else.
constexpr std::uint8_t kAbortTag = 0;

/// The type of a log-in message's reply is the next one.
constexpr std::uint8_t ReplyType(std::uint8_t type)
{
    return static_cast<std::uint8_t>(type + 1);
}

const fiid_field_t* LayoutOf(std::uint8_t type)
{
    switch (type) {
        case IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST:
            return tmpl_rmcpplus_open_session_request;
        case IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_RESPONSE:
            return tmpl_rmcpplus_open_session_response;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1:
            return tmpl_rmcpplus_rakp_message_1;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_2:
            return tmpl_rmcpplus_rakp_message_2;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_3:
            return tmpl_rmcpplus_rakp_message_3;
        default:
            return tmpl_rmcpplus_rakp_message_4;
    }
}

Outcome NoAnswer(std::chrono::milliseconds limit)
{
    return {CONNECTION_TRY_AGAIN, "no answer within " + std::to_string(limit.count()) +
                                      " ms; check that the address is the module's and that it is "
                                      "up, or raise IPMI_SESSION_TIMEOUT_MS"};
}

Outcome Interrupted()
{
    return {CONNECTION_FAILED, "interrupted; the program is ending"};
}

bool HasSpareDescriptor()
{
    const int spare = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (spare < 0) {
        return false;
    }
    close(spare);
    return true;
}

Outcome NoDescriptor()
{
    return {CONNECTION_FAILED, std::string("no file can be opened on this host (") +
                                   std::strerror(errno) + "); raise its limit of open files"};
}

/// A step of the libraries below, which open files themselves and do not say why they fail.
Outcome LocalFault(const char* step)
{
    if (!HasSpareDescriptor()) {
        return NoDescriptor();
    }
    return {CONNECTION_FAILED, std::string(step) + " failed on this host; report this"};
}

/// Once for the process; a failure is tried again by the next log-in.
Outcome StartLibrary()
{
    static std::mutex mutex;
    static bool ready = false;
    const std::lock_guard lock(mutex);
    // The cryptographic library ends the process when it cannot open a file as it starts up.
    if (!ready && !HasSpareDescriptor()) {
        return NoDescriptor();
    }
    ready = ready || ipmi_rmcpplus_init() == 0;
    return ready ? Outcome{} : LocalFault("starting the cryptographic library");
}

/// From the kernel itself: libfreeipmi opens a device for it, which a host without a descriptor to
/// spare cannot.
template <class Value>
bool Randomize(Value& value)
{
    return getentropy(&value, sizeof value) == 0;
}

/// The module knows its session by this id; 0 is none.
bool RandomizeId(std::uint32_t& id)
{
    do {
        if (!Randomize(id)) {
            return false;
        }
    } while (id == 0);
    return true;
}

Outcome NoRandomNumber()
{
    return LocalFault("drawing a random number");
}

/// The module has proved that it knows the password before it says that. So the password is right,
/// and something was changed on the way, or the module has mixed up two log-ins.
Outcome ProofRejected()
{
    return {CONNECTION_TRY_AGAIN,
            "the log-in was changed on its way, though the password is right; try again"};
}

/// Completion codes of a module that cannot answer now: node busy, timeout, out of space, being
/// updated, being initialised.
bool IsBusy(std::uint8_t completionCode)
{
    constexpr std::array<std::uint8_t, 5> kBusy{0xC0, 0xC3, 0xC4, 0xD1, 0xD2};
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

/// 0 when no reply came.
std::uint8_t StatusOf(const FiidObject& reply)
{
    return static_cast<std::uint8_t>(reply.Number("rmcpplus_status_code"));
}

/// Whether a log-in message is for this session. Its id is random, so who is not on the way can
/// forge no reply; some modules leave it out when they refuse.
bool IsFor(std::uint32_t consoleId, const FiidObject& reply)
{
    const std::uint64_t id = reply.Number("remote_console_session_id");
    return id == consoleId || (id == 0 && reply.Number("rmcpplus_status_code") != 0);
}

template <std::size_t Size>
void CopyField(const FiidObject& message, const char* field, std::array<std::uint8_t, Size>& to)
{
    const std::vector<std::uint8_t> bytes = message.Bytes(field);
    std::copy_n(bytes.begin(), std::min(bytes.size(), Size), to.begin());
}

}  // namespace

RmcpSession::RmcpSession(const Credentials& credentials, const LoginSettings& settings)
    : credentials_(credentials), settings_(settings)
{
}

RmcpSession::~RmcpSession()
{
    try {
        Close();
    } catch (const std::bad_alloc&) {
        // Nothing is left to tell the module with; it forgets the session when that times out.
    }
}

// The library takes an empty name for an error, and none for the empty name.
const char* RmcpSession::UserName() const
{
    return credentials_.userName.empty() ? nullptr : credentials_.userName.c_str();
}

unsigned RmcpSession::UserNameSize() const
{
    return static_cast<unsigned>(credentials_.userName.size());
}

// For a module that has just answered: a longer wait would only delay the caller.
std::chrono::milliseconds RmcpSession::BriefWait() const
{
    return std::min(settings_.sessionTimeout, 2 * settings_.retransmissionTimeout);
}

Outcome RmcpSession::Open()
{
    Outcome outcome = Prepare();
    std::vector<Endpoint> endpoints;
    if (outcome.Good()) {
        outcome =
            LookUpHost(credentials_.address, settings_.port, settings_.sessionTimeout, endpoints);
    }
    if (outcome.Good()) {
        outcome = OpenAnyOf(endpoints);
    }
    for (const auto step :
         {&RmcpSession::ExchangeRandomNumbers, &RmcpSession::Prove, &RmcpSession::RaisePrivilege}) {
        if (outcome.Good()) {
            outcome = (this->*step)();
        }
    }
    return outcome;
}

Outcome RmcpSession::Prepare()
{
    if (Interruption::Raised()) {
        return Interrupted();
    }
    Algorithms& algorithms = state_.algorithms;
    if (Outcome start = StartLibrary(); !start.Good()) {
        return start;
    }
    const bool known =
        ipmi_cipher_suite_id_to_algorithms(settings_.cipherSuite, &algorithms.authentication,
                                           &algorithms.integrity, &algorithms.confidentiality) == 0;
    return known ? Outcome{} : LocalFault("preparing the cipher suite's algorithms");
}

// A name may stand for addresses of which the module listens on one; the wait is shared among them.
Outcome RmcpSession::OpenAnyOf(const std::vector<Endpoint>& endpoints)
{
    counted_.emplace();
    const auto limit = settings_.sessionTimeout / static_cast<int>(endpoints.size());
    Outcome outcome;
    for (const Endpoint& endpoint : endpoints) {
        outcome = link_.Open(endpoint);
        if (outcome.Good()) {
            outcome = Negotiate(limit);
        }
        if (outcome.Good() || outcome.state == CONNECTION_REFUSED || Interruption::Raised()) {
            return outcome;
        }
    }
    return outcome;
}

Outcome RmcpSession::Negotiate(std::chrono::milliseconds limit)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST;
    if (!RandomizeId(state_.consoleId)) {
        return NoRandomNumber();
    }
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    fill_rmcpplus_open_session(++tag_, settings_.privilege, state_.consoleId,
                               state_.algorithms.authentication, state_.algorithms.integrity,
                               state_.algorithms.confidentiality, request.Get());
    Outcome outcome = ExchangeLogin(kType, request, reply, limit);
    if (Interruption::Raised()) {
        ForgetLate();
    }
    if (!outcome.Good()) {
        return outcome;
    }
    state_.moduleId = static_cast<std::uint32_t>(reply.Number("managed_system_session_id"));
    stage_ = Stage::kHalfOpen;
    return OutcomeOfStatus(Agrees(reply, state_.algorithms) ? 0 : kNoCipherSuiteMatch, settings_);
}

Outcome RmcpSession::ExchangeRandomNumbers()
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1;
    if (!Randomize(consoleRandom_)) {
        return NoRandomNumber();
    }
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    fill_rmcpplus_rakp_message_1(++tag_, state_.moduleId, consoleRandom_.data(), kRandomSize,
                                 settings_.privilege, kLookUp, UserName(), UserNameSize(),
                                 request.Get());
    Outcome outcome = ExchangeLogin(kType, request, reply, settings_.sessionTimeout);
    if (!outcome.Good()) {
        return outcome;
    }
    TakeRepliesToCopies(kType, reply);
    return CheckModule(reply);
}

// A module that answers slowly was sent copies of the request. It may draw a new random number for
// each of them, and then expects the last one: a proof over the first would look like one with a
// wrong password. The replies come as far apart as the copies went, or as the module needs for
// each.
void RmcpSession::TakeRepliesToCopies(std::uint8_t type, const FiidObject& reply)
{
    const FiidObject later(LayoutOf(ReplyType(type)));
    const Clock::time_point deadline = Clock::now() + settings_.sessionTimeout;
    Packet packet;
    for (unsigned copies = sent_; copies > 1; --copies) {
        const auto wait = std::min(deadline, Clock::now() + BriefWait());
        if (link_.Receive(wait, packet) != Reception::kPacket) {
            return;
        }
        if (IsReply(packet, type, later) && later.Number("rmcpplus_status_code") == 0) {
            UnpackLogin(packet, ReplyType(type), reply);
        }
        ForgetDuplicate(packet);
    }
}

// The module proves first that it knows the password, so a wrong one shows here. An empty password
// and one that is padded with zeros make the same key, so the whole buffer is given.
Outcome RmcpSession::CheckModule(const FiidObject& reply)
{
    CopyField(reply, "managed_system_random_number", moduleRandom_);
    CopyField(reply, "managed_system_guid", moduleGuid_);
    const int proven = ipmi_rmcpplus_check_rakp_2_key_exchange_authentication_code(
        state_.algorithms.authentication, credentials_.password.Data(), Password::kCapacity,
        state_.consoleId, state_.moduleId, consoleRandom_.data(), kRandomSize, moduleRandom_.data(),
        kRandomSize, moduleGuid_.data(), kRandomSize, kLookUp, settings_.privilege, UserName(),
        UserNameSize(), reply.Get());
    return OutcomeOfStatus(proven == 1 ? 0 : kInvalidIntegrityCheckValue, settings_);
}

Outcome RmcpSession::Prove()
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_3;
    std::array<std::uint8_t, Key::kCapacity> proof{};
    const int length = ipmi_calculate_rakp_3_key_exchange_authentication_code(
        state_.algorithms.authentication, credentials_.password.Data(), Password::kCapacity,
        moduleRandom_.data(), kRandomSize, state_.consoleId, kLookUp, settings_.privilege,
        UserName(), UserNameSize(), proof.data(), proof.size());
    if (length <= 0 || !DeriveKeys().Good()) {
        return LocalFault("computing the session's keys");
    }
    const FiidObject request(LayoutOf(kType));
    const FiidObject reply(LayoutOf(ReplyType(kType)));
    fill_rmcpplus_rakp_message_3(++tag_, 0, state_.moduleId, proof.data(),
                                 static_cast<unsigned>(length), request.Get());
    stage_ = Stage::kProving;
    Outcome outcome = ExchangeLogin(kType, request, reply, settings_.sessionTimeout);
    if (!outcome.Good()) {
        return StatusOf(reply) == kInvalidIntegrityCheckValue ? ProofRejected() : outcome;
    }
    const int proven = ipmi_rmcpplus_check_rakp_4_integrity_check_value(
        state_.algorithms.authentication, state_.sessionKey.Data(), state_.sessionKey.Size(),
        consoleRandom_.data(), kRandomSize, state_.moduleId, moduleGuid_.data(), kRandomSize,
        reply.Get());
    if (proven != 1) {
        return ProofRejected();
    }
    stage_ = Stage::kOpen;
    return {};
}

Outcome RmcpSession::DeriveKeys()
{
    struct Part
    {
        Key& key;
        void* data = key.Data();
        unsigned size = Key::kCapacity;
    };
    Part session{state_.sessionKey};
    Part integrity{state_.integrityKey};
    Part confidentiality{state_.confidentialityKey};
    const int result = ipmi_calculate_rmcpplus_session_keys(
        state_.algorithms.authentication, state_.algorithms.integrity,
        state_.algorithms.confidentiality, credentials_.password.Data(), Password::kCapacity,
        nullptr, 0, consoleRandom_.data(), kRandomSize, moduleRandom_.data(), kRandomSize, kLookUp,
        settings_.privilege, UserName(), UserNameSize(), &session.data, &session.size,
        &integrity.data, &integrity.size, &confidentiality.data, &confidentiality.size);
    for (const Part* part : {&session, &integrity, &confidentiality}) {
        part->key.Resize(std::min<std::size_t>(part->size, Key::kCapacity));
    }
    return result == 0 ? Outcome{} : LocalFault("computing the session's keys");
}

// A session starts with little privilege whatever was asked for in the log-in. The module answers
// with the level that it granted.
Outcome RmcpSession::RaisePrivilege()
{
    IpmiAnswer answer;
    Outcome outcome = Ask({kSetSessionPrivilegeLevel, {settings_.privilege}, kApplication}, answer);
    if (!outcome.Good()) {
        return outcome;
    }
    if (IsBusy(answer.completionCode)) {
        return {CONNECTION_TRY_AGAIN, "the module is busy; try again"};
    }
    const bool granted = answer.completionCode == 0 && !answer.data.empty() &&
                         (answer.data[0] & 0x0FU) == settings_.privilege;
    return granted ? Outcome{} : PrivilegeRefused(settings_);
}

Outcome RmcpSession::Ask(const IPMICOMMAND& request, IpmiAnswer& answer)
{
    return AskWithin(settings_.sessionTimeout, request, answer);
}

Outcome RmcpSession::AskWithin(std::chrono::milliseconds limit, const IPMICOMMAND& request,
                               IpmiAnswer& answer)
{
    requestNumber_ = static_cast<std::uint8_t>((requestNumber_ + 1) % kRequestNumbers);
    // A request that is sent again keeps its number, so that a slow module's answer to the first
    // is taken; the sequence number of the packet is a new one.
    Outcome outcome = Exchange(
        limit, [&] { return PackRequest(state_, request, requestNumber_); },
        [&](const Packet& packet) {
            std::optional<IpmiAnswer> came = UnpackAnswer(state_, packet, request, requestNumber_);
            if (came) {
                answer = std::move(*came);
            }
            return came.has_value();
        });
    answers_ = outcome.Good();
    return outcome;
}

Outcome RmcpSession::ExchangeLogin(std::uint8_t type, const FiidObject& request,
                                   const FiidObject& reply, std::chrono::milliseconds limit)
{
    const Packet packet = PackLogin(type, request);
    Outcome outcome = Exchange(
        limit, [&]() -> const Packet& { return packet; },
        [&](const Packet& came) { return IsReply(came, type, reply); });
    if (!outcome.Good()) {
        return outcome;
    }
    return OutcomeOfStatus(StatusOf(reply), settings_);
}

/// Fills `reply` when the packet is the reply to the last log-in message, which had this type.
bool RmcpSession::IsReply(const Packet& packet, std::uint8_t type, const FiidObject& reply) const
{
    return UnpackLogin(packet, ReplyType(type), reply) &&
           ipmi_rmcpplus_check_message_tag(reply.Get(), tag_) == 1 &&
           IsFor(state_.consoleId, reply);
}

template <class Pack, class Take>
Outcome RmcpSession::Exchange(std::chrono::milliseconds limit, Pack pack, Take take)
{
    const Clock::time_point deadline = Clock::now() + limit;
    sent_ = 0;
    do {
        const Packet& request = pack();
        if (request.empty()) {
            return LocalFault("packing a request");
        }
        link_.Send(request);
        ++sent_;
        const auto resend = std::min(deadline, Clock::now() + settings_.retransmissionTimeout);
        Packet packet;
        Reception reception = link_.Receive(resend, packet);
        while (reception == Reception::kPacket) {
            if (take(packet)) {
                return {};
            }
            ForgetDuplicate(packet);
            reception = link_.Receive(resend, packet);
        }
        if (reception == Reception::kInterrupted) {
            return Interrupted();
        }
        if (reception == Reception::kFailed) {
            return link_.Failure();
        }
    } while (Clock::now() < deadline);
    return NoAnswer(limit);
}

// A module that answers slowly may have opened a session for each copy of the request.
void RmcpSession::ForgetDuplicate(const Packet& packet)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_RESPONSE;
    const FiidObject reply(LayoutOf(kType));
    if (UnpackLogin(packet, kType, reply) && reply.Number("rmcpplus_status_code") == 0 &&
        reply.Number("remote_console_session_id") == state_.consoleId &&
        reply.Number("managed_system_session_id") != state_.moduleId) {
        Abort(static_cast<std::uint32_t>(reply.Number("managed_system_session_id")));
    }
}

// The request for a session is on its way and its answer may be, too: a moment's patience spares
// the module a half-open session.
void RmcpSession::ForgetLate()
{
    Packet packet;
    if (link_.Receive(Clock::now() + kPatience, packet, UdpLink::OnInterruption::kGoOn) ==
        Reception::kPacket) {
        ForgetDuplicate(packet);
    }
}

// The third message of the log-in with a failure in it makes the module drop a half-open session.
// It need not answer, and nothing depends on its answer.
void RmcpSession::Abort(std::uint32_t moduleId)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_3;
    const FiidObject message(LayoutOf(kType));
    fill_rmcpplus_rakp_message_3(kAbortTag, kInvalidIntegrityCheckValue, moduleId, nullptr, 0,
                                 message.Get());
    link_.Send(PackLogin(kType, message));
}

// What fork() copies is not the child's to end: the parent goes on with the session.
void RmcpSession::Close()
{
    if (process_ != getpid()) {
        return;
    }
    if (stage_ == Stage::kHalfOpen || stage_ == Stage::kProving) {
        Abort(state_.moduleId);
    }
    // While proving, the module may have come further than this side has heard.
    if (stage_ == Stage::kProving || stage_ == Stage::kOpen) {
        CloseKeyed();
    }
    stage_ = Stage::kNothing;
}

// A module that left the last request unanswered is told, but not waited for.
void RmcpSession::CloseKeyed()
{
    IPMICOMMAND request{kCloseSession, {}, kApplication};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        request.data.push_back(static_cast<std::uint8_t>(state_.moduleId >> shift));
    }
    const auto limit = answers_ ? BriefWait() : std::chrono::milliseconds::zero();
    IpmiAnswer answer;
    AskWithin(limit, request, answer);
}

}  // namespace Tulvo
