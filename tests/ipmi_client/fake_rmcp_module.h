// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module for what ipmi_sim cannot play: cipher suite 17, passwords of 20 bytes, privileges that
/// are not granted, and answers of any length. Written from the protocol's side with OpenSSL, with
/// none of the code that the client uses.
#ifndef TESTS_IPMI_CLIENT_FAKE_RMCP_MODULE_H
#define TESTS_IPMI_CLIENT_FAKE_RMCP_MODULE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Tulvo {

using Bytes = std::vector<std::uint8_t>;

/// One account.
struct FakeRmcpModuleOptions
{
    std::string userName = "admin";
    std::string password = "secret";
    std::uint8_t privilege = 4;  ///< Of the account.
    std::string kg{};            ///< The module's own key; empty for none.
    int cipherSuite = 3;
    int otherSuite = 0;  ///< Offered as well; 0 for none.
    /// The status of its answer to a suite that it does not offer. 0: it accepts, but names the
    /// algorithms of its own.
    std::uint8_t suiteRefusal = 0x11;
    std::uint8_t openSessionRefusal = 0;   ///< Status of its answer to every log-in; 0 admits.
    std::uint8_t privilegeRefusal = 0x0A;  ///< Status of RAKP message 2 for a higher privilege.
    /// Draws a new random number for each copy of the request for it, and expects the last one.
    bool drawsAnew = false;
    /// Answers a request of a session; the first byte is the completion code, and no byte is no
    /// answer. Close Session is obeyed before that.
    std::function<Bytes(std::uint8_t netFn, std::uint8_t command, const Bytes& data)> answer;
};

/// Grants the privilege that is asked for; 0xC1 for everything else.
Bytes GrantPrivilege(std::uint8_t netFn, std::uint8_t command, const Bytes& data);

class FakeRmcpModule
{
public:
    explicit FakeRmcpModule(FakeRmcpModuleOptions options);
    FakeRmcpModule(const FakeRmcpModule&) = delete;
    FakeRmcpModule& operator=(const FakeRmcpModule&) = delete;
    ~FakeRmcpModule();

    std::uint16_t Port() const { return port_; }
    /// Sessions that nobody closed, half-open ones included. What arrived before is counted.
    std::size_t OpenSessions();
    /// Proofs of the password that have arrived, and right ones.
    std::size_t Proofs();
    std::size_t RightProofs();
    /// The numbers of all requests that have arrived, in their order, copies included.
    std::vector<std::uint8_t> RequestNumbers();
    /// All of them, once the request that is being answered has been; its answer is not sent.
    void ForgetSessions() { forgets_ = true; }

private:
    struct Session
    {
        Bytes consoleId;
        int suite = 0;
        Bytes consoleRandom;
        Bytes random;
        std::uint8_t role = 0;
        Bytes sessionKey;
        std::uint32_t sent = 0;
    };

    void Run();
    void Take(const Bytes& packet);
    Bytes OpenSession(const Bytes& message);
    Bytes Rakp2(const Bytes& message);
    Bytes Rakp4(const Bytes& message);
    void TakeSealed(const Bytes& packet);
    Bytes Respond(const Bytes& id, const Bytes& request);
    void Seal(Session& session, Bytes message);

    bool Offers(int suite) const;
    Bytes PasswordKey() const;
    Bytes KgKey() const;
    Bytes UserAndRole(const Session& session) const;
    void Send(const Bytes& packet) const;
    void SendLogin(std::uint8_t type, const Bytes& message) const;

    const FakeRmcpModuleOptions options_;
    int socket_;
    int stop_;
    std::uint16_t port_;
    std::uint16_t answerTo_ = 0;
    std::uint32_t lastId_ = 0x1000;
    std::mutex mutex_;
    std::map<Bytes, Session> sessions_;
    std::size_t proofs_ = 0;
    std::size_t rightProofs_ = 0;
    std::vector<std::uint8_t> requestNumbers_;
    std::atomic<bool> forgets_ = false;
    std::thread thread_;
};

}  // namespace Tulvo

#endif
