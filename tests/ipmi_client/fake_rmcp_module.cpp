// SPDX-License-Identifier: Apache-2.0
#include "tests/ipmi_client/fake_rmcp_module.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <utility>

#include "tests/ipmi_client/loopback.h"

namespace Tulvo {
namespace {

constexpr std::size_t kSessionHeader = 4;  // after the RMCP header
constexpr std::size_t kPayload = 16;
constexpr std::size_t kAesBlock = 16;
constexpr std::uint8_t kSealed = 0xC0;

constexpr std::uint8_t kFirstRandom = 0x5A;
const Bytes kGuid(16, 0xA5);

Bytes Join(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes Slice(const Bytes& bytes, std::size_t from, std::size_t count)
{
    const std::size_t begin = std::min(from, bytes.size());
    const std::size_t end = std::min(begin + count, bytes.size());
    return {bytes.data() + begin, bytes.data() + end};
}

Bytes LittleEndian(std::uint32_t value)
{
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

std::uint8_t Checksum(const Bytes& bytes)
{
    const int sum = std::accumulate(bytes.begin(), bytes.end(), 0);
    return static_cast<std::uint8_t>(-sum);
}

Bytes Aes(bool encrypt, const Bytes& key, const Bytes& vector, const Bytes& text)
{
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    EVP_CipherInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key.data(), vector.data(),
                      encrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    Bytes out(text.size() + kAesBlock);
    int length = 0;
    EVP_CipherUpdate(context.get(), out.data(), &length, text.data(),
                     static_cast<int>(text.size()));
    out.resize(static_cast<std::size_t>(length));
    return out;
}

Bytes Digest(int suite, const Bytes& key, const Bytes& text)
{
    Bytes digest(EVP_MAX_MD_SIZE);
    unsigned length = 0;
    HMAC(suite == 17 ? EVP_sha256() : EVP_sha1(), key.data(), static_cast<int>(key.size()),
         text.data(), text.size(), digest.data(), &length);
    digest.resize(length);
    return digest;
}

std::size_t SignatureLength(int suite)
{
    return suite == 17 ? 16 : 12;
}

/// The three algorithms of a suite, as the open-session messages have them.
Bytes Algorithms(int suite)
{
    struct Known
    {
        std::uint8_t authentication = 0;
        std::uint8_t integrity = 0;
        std::uint8_t confidentiality = 0;
    };
    static const std::map<int, Known> kSuites{{1, {1, 0, 0}}, {3, {1, 1, 1}}, {17, {3, 4, 1}}};
    const Known& known = kSuites.at(suite);
    return {0, 0, 0, 8, known.authentication,  0, 0, 0,  //
            1, 0, 0, 8, known.integrity,       0, 0, 0,  //
            2, 0, 0, 8, known.confidentiality, 0, 0, 0};
}

}  // namespace

Bytes GrantPrivilege(std::uint8_t netFn, std::uint8_t command, const Bytes& data)
{
    const bool asked = netFn == 0x06 && command == 0x3B && data.size() == 1;
    return asked ? Bytes{0x00, data[0]} : Bytes{0xC1};
}

FakeRmcpModule::FakeRmcpModule(FakeRmcpModuleOptions options)
    : options_(std::move(options)),
      socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      port_(BindToFreePort(socket_)),
      thread_(&FakeRmcpModule::Run, this)
{
}

FakeRmcpModule::~FakeRmcpModule()
{
    eventfd_write(stop_, 1);
    thread_.join();
    close(socket_);
    close(stop_);
}

std::size_t FakeRmcpModule::OpenSessions()
{
    // The thread holds the lock from the moment a packet is seen until it is handled.
    for (;;) {
        const std::lock_guard lock(mutex_);
        pollfd waiting{socket_, POLLIN, 0};
        if (poll(&waiting, 1, 0) == 0) {
            return sessions_.size();
        }
    }
}

std::size_t FakeRmcpModule::Proofs()
{
    OpenSessions();
    const std::lock_guard lock(mutex_);
    return proofs_;
}

std::size_t FakeRmcpModule::RightProofs()
{
    OpenSessions();
    const std::lock_guard lock(mutex_);
    return rightProofs_;
}

std::vector<std::uint8_t> FakeRmcpModule::RequestNumbers()
{
    OpenSessions();
    const std::lock_guard lock(mutex_);
    return requestNumbers_;
}

void FakeRmcpModule::Run()
{
    std::array<pollfd, 2> events{pollfd{stop_, POLLIN, 0}, pollfd{socket_, POLLIN, 0}};
    while (poll(events.data(), events.size(), -1) > 0 && events[0].revents == 0) {
        const std::lock_guard lock(mutex_);
        Bytes packet(4096);
        sockaddr_in from{};
        socklen_t fromLength = sizeof from;
        const ssize_t length = recvfrom(socket_, packet.data(), packet.size(), MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&from), &fromLength);
        if (length > static_cast<ssize_t>(kPayload)) {
            packet.resize(static_cast<std::size_t>(length));
            answerTo_ = from.sin_port;
            Take(packet);
        }
    }
}

void FakeRmcpModule::Take(const Bytes& packet)
{
    const std::uint8_t type = packet[kSessionHeader + 1];
    const Bytes message = Slice(packet, kPayload, packet.size());
    if (type == 0x10) {
        SendLogin(0x11, OpenSession(message));
    } else if (type == 0x12) {
        SendLogin(0x13, Rakp2(message));
    } else if (type == 0x14) {
        SendLogin(0x15, Rakp4(message));
    } else if (type == kSealed) {
        TakeSealed(packet);
    }
}

Bytes FakeRmcpModule::OpenSession(const Bytes& message)
{
    const Bytes consoleId = Slice(message, 4, 4);
    const Bytes algorithms = Slice(message, 8, 24);
    const int suite = algorithms == Algorithms(17) ? 17 : algorithms == Algorithms(3) ? 3 : 0;
    const std::uint8_t refusal = Offers(suite) ? 0 : options_.suiteRefusal;
    const std::uint8_t status =
        options_.openSessionRefusal == 0 ? refusal : options_.openSessionRefusal;
    if (status != 0) {
        return Join({{message[0], status, 0, 0}, consoleId});
    }
    const Bytes id = LittleEndian(++lastId_);
    sessions_[id].consoleId = consoleId;
    sessions_[id].suite = Offers(suite) ? suite : options_.cipherSuite;
    return Join({{message[0], 0, message[1], 0}, consoleId, id, Algorithms(sessions_[id].suite)});
}

Bytes FakeRmcpModule::Rakp2(const Bytes& message)
{
    const Bytes id = Slice(message, 4, 4);
    const auto found = sessions_.find(id);
    if (found == sessions_.end()) {
        return {message[0], 0x02, 0, 0, 0, 0, 0, 0};
    }
    Session& session = found->second;
    session.consoleRandom = Slice(message, 8, 16);
    const bool repeats = !options_.drawsAnew && !session.random.empty();
    const int last = session.random.empty() ? kFirstRandom : session.random[0];
    session.random = Bytes(16, static_cast<std::uint8_t>(last + (repeats ? 0 : 1)));
    session.role = message[24];
    const Bytes name = Slice(message, 28, message[27]);
    const bool known = name == Bytes(options_.userName.begin(), options_.userName.end());
    if (!known || (session.role & 0x0FU) > options_.privilege) {
        const Bytes consoleId = session.consoleId;
        sessions_.erase(id);
        const std::uint8_t status = known ? options_.privilegeRefusal : 0x0D;
        return Join({{message[0], status, 0, 0}, consoleId});
    }
    const Bytes proof = Digest(session.suite, PasswordKey(),
                               Join({session.consoleId, id, session.consoleRandom, session.random,
                                     kGuid, UserAndRole(session)}));
    return Join({{message[0], 0, 0, 0}, session.consoleId, session.random, kGuid, proof});
}

Bytes FakeRmcpModule::Rakp4(const Bytes& message)
{
    const Bytes id = Slice(message, 4, 4);
    proofs_ += message[1] == 0 ? 1 : 0;
    const auto found = sessions_.find(id);
    if (found == sessions_.end()) {
        return {message[0], 0x02, 0, 0, 0, 0, 0, 0};
    }
    Session& session = found->second;
    const Bytes consoleId = session.consoleId;
    const Bytes proof = Digest(session.suite, PasswordKey(),
                               Join({session.random, consoleId, UserAndRole(session)}));
    if (message[1] != 0 || Slice(message, 8, message.size()) != proof) {
        sessions_.erase(id);
        return Join({{message[0], 0x0F, 0, 0}, consoleId});
    }
    session.sessionKey =
        Digest(session.suite, options_.kg.empty() ? PasswordKey() : KgKey(),
               Join({session.consoleRandom, session.random, UserAndRole(session)}));
    ++rightProofs_;
    const Bytes check =
        Digest(session.suite, session.sessionKey, Join({session.consoleRandom, id, kGuid}));
    return Join(
        {{message[0], 0, 0, 0}, consoleId, Slice(check, 0, SignatureLength(session.suite))});
}

void FakeRmcpModule::TakeSealed(const Bytes& packet)
{
    const Bytes id = Slice(packet, kSessionHeader + 2, 4);
    const auto found = sessions_.find(id);
    if (found == sessions_.end()) {
        return;
    }
    const int suite = found->second.suite;
    const std::size_t length = packet[14] + packet[15] * 256U;
    const std::size_t signatureLength = SignatureLength(suite);
    const std::size_t signedLength = packet.size() - kSessionHeader - signatureLength;
    const Bytes integrityKey = Digest(suite, found->second.sessionKey, Bytes(20, 1));
    const Bytes signature =
        Digest(suite, integrityKey, Slice(packet, kSessionHeader, signedLength));
    if (Slice(signature, 0, signatureLength) !=
        Slice(packet, packet.size() - signatureLength, signatureLength)) {
        return;
    }
    const Bytes cipherKey =
        Slice(Digest(suite, found->second.sessionKey, Bytes(20, 2)), 0, kAesBlock);
    Bytes request = Aes(false, cipherKey, Slice(packet, kPayload, kAesBlock),
                        Slice(packet, kPayload + kAesBlock, length - kAesBlock));
    request.resize(request.size() - request.back() - 1);
    requestNumbers_.push_back(static_cast<std::uint8_t>(request[4] >> 2));
    const Bytes response = Respond(id, request);
    if (forgets_.exchange(false)) {
        sessions_.clear();
        return;
    }
    if (!response.empty()) {
        Seal(found->second, response);
    }
    if (request[1] >> 2 == 0x06 && request[5] == 0x3C) {
        sessions_.erase(id);
    }
}

Bytes FakeRmcpModule::Respond(const Bytes& id, const Bytes& request)
{
    const auto netFn = static_cast<std::uint8_t>(request[1] >> 2);
    const std::uint8_t command = request[5];
    const Bytes data = Slice(request, 6, request.size() - 7);
    const bool closes = netFn == 0x06 && command == 0x3C && data == id;
    const Bytes answer = closes ? Bytes{0} : options_.answer(netFn, command, data);
    if (answer.empty()) {
        return {};
    }
    Bytes head{0x81, static_cast<std::uint8_t>((netFn + 1) << 2)};
    head.push_back(Checksum(head));
    Bytes body = Join({{0x20, request[4], command}, answer});
    body.push_back(Checksum(body));
    return Join({head, body});
}

void FakeRmcpModule::Seal(Session& session, Bytes message)
{
    std::uint8_t pad = 0;
    while ((message.size() + 1) % kAesBlock != 0) {
        message.push_back(++pad);
    }
    message.push_back(pad);
    const Bytes vector(kAesBlock, 0x77);
    const Bytes cipherKey =
        Slice(Digest(session.suite, session.sessionKey, Bytes(20, 2)), 0, kAesBlock);
    const Bytes payload = Join({vector, Aes(true, cipherKey, vector, message)});
    const auto size = static_cast<std::uint32_t>(payload.size());
    Bytes packet = Join({{0x06, kSealed},
                         session.consoleId,
                         LittleEndian(++session.sent),
                         Slice(LittleEndian(size), 0, 2),
                         payload});
    std::uint8_t integrityPad = 0;
    while ((packet.size() + 2) % 4 != 0) {
        packet.push_back(0xFF);
        ++integrityPad;
    }
    packet.insert(packet.end(), {integrityPad, 0x07});
    const std::size_t signatureLength = SignatureLength(session.suite);
    const Bytes integrityKey = Digest(session.suite, session.sessionKey, Bytes(20, 1));
    const Bytes signature = Digest(session.suite, integrityKey, packet);
    Send(Join({{0x06, 0x00, 0xFF, 0x07}, packet, Slice(signature, 0, signatureLength)}));
}

Bytes FakeRmcpModule::PasswordKey() const
{
    Bytes key(options_.password.begin(), options_.password.end());
    key.resize(20);
    return key;
}

Bytes FakeRmcpModule::KgKey() const
{
    Bytes key(options_.kg.begin(), options_.kg.end());
    key.resize(20);
    return key;
}

bool FakeRmcpModule::Offers(int suite) const
{
    return suite != 0 && (suite == options_.cipherSuite || suite == options_.otherSuite);
}

Bytes FakeRmcpModule::UserAndRole(const Session& session) const
{
    const auto length = static_cast<std::uint8_t>(options_.userName.size());
    return Join(
        {{session.role, length}, Bytes(options_.userName.begin(), options_.userName.end())});
}

void FakeRmcpModule::Send(const Bytes& packet) const
{
    const sockaddr_in to = Loopback(ntohs(answerTo_));
    sendto(socket_, packet.data(), packet.size(), 0, Generic(to), sizeof to);
}

void FakeRmcpModule::SendLogin(std::uint8_t type, const Bytes& message) const
{
    const auto size = static_cast<std::uint32_t>(message.size());
    Send(Join({{0x06, 0x00, 0xFF, 0x07, 0x06, type},
               Bytes(8, 0),
               Slice(LittleEndian(size), 0, 2),
               message}));
}

}  // namespace Tulvo
