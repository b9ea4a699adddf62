// SPDX-License-Identifier: Apache-2.0
// What the client makes of a network that loses, repeats and delays packets, and of attackers who
// change or forge them.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>

#include "tests/fakes/fake_log.h"
#include "tests/ipmi_client/fault_injecting_relay.h"
#include "tests/ipmi_client/loopback.h"
#include "tests/ipmi_client/server_test.h"

namespace Tulvo {
namespace {

using ::testing::HasSubstr;

constexpr PayloadType kReplies[] = {kOpenSessionResponse, kRakp2, kRakp4, kSealedIpmi};

/// Changes the packets that carry `type`; passes the others on.
FaultInjectingRelay::Filter Change(PayloadType type, const std::function<void(Datagram&)>& change)
{
    return [=](Datagram datagram) -> std::vector<Datagram> {
        if (Carries(datagram, type)) {
            change(datagram);
        }
        return {datagram};
    };
}

class HostileNetworkTest : public ServerTest
{
protected:
    // For log-ins that must not succeed: the wait that ends them may be as short as one likes.
    void WaitShortly()
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 60}, {"IPMI_RETRANSMISSION_TIMEOUT_MS", 30}};
    }

    // For log-ins of which the first steps must succeed on a busy host, too.
    void WaitTwoSeconds()
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 2000},
                         {"IPMI_RETRANSMISSION_TIMEOUT_MS", 1000}};
    }
};

struct StatusCase
{
    PayloadType reply;
    std::uint8_t status;
    CONNECTIONSTATE state;
    std::string said;
};

TEST_F(HostileNetworkTest, EachStatusHasItsMeaning)
{
    const std::vector<StatusCase> cases{
        {kOpenSessionResponse, 0x01, CONNECTION_TRY_AGAIN, "no session free"},
        {kOpenSessionResponse, 0x04, CONNECTION_REFUSED, "cipher suite 3"},
        {kOpenSessionResponse, 0x05, CONNECTION_REFUSED, "cipher suite 3"},
        {kOpenSessionResponse, 0x06, CONNECTION_REFUSED, "cipher suite 3"},
        {kOpenSessionResponse, 0x07, CONNECTION_REFUSED, "cipher suite 3"},
        {kOpenSessionResponse, 0x09, CONNECTION_REFUSED, "privilege administrator"},
        {kOpenSessionResponse, 0x0B, CONNECTION_TRY_AGAIN, "no session free"},
        {kOpenSessionResponse, 0x10, CONNECTION_REFUSED, "cipher suite 3"},
        {kOpenSessionResponse, 0x11, CONNECTION_REFUSED, "cipher suite 3"},
        {kOpenSessionResponse, 0x12, CONNECTION_FAILED, "status 18"},
        {kOpenSessionResponse, 0xFF, CONNECTION_FAILED, "status 255"},
        {kRakp2, 0x01, CONNECTION_TRY_AGAIN, "no session free"},
        {kRakp2, 0x02, CONNECTION_TRY_AGAIN, "forgot the log-in"},
        {kRakp2, 0x08, CONNECTION_TRY_AGAIN, "forgot the log-in"},
        {kRakp2, 0x09, CONNECTION_REFUSED, "privilege administrator"},
        {kRakp2, 0x0A, CONNECTION_REFUSED, "privilege administrator"},
        {kRakp2, 0x0C, CONNECTION_REFUSED, "user name"},
        {kRakp2, 0x0D, CONNECTION_REFUSED, "user name"},
        {kRakp2, 0x0F, CONNECTION_REFUSED, "password is wrong"},
        {kRakp4, 0x0F, CONNECTION_TRY_AGAIN, "changed on its way"},
    };
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.reply) + ": " + std::to_string(c.status));
        const FaultInjectingRelay relay(
            server.Port(), FaultInjectingRelay::PassOn,
            Change(c.reply, [&](Datagram& d) { d[kStatus] = c.status; }));
        const auto client = ClientAt(relay.Port());
        EXPECT_EQ(client->connect(), c.state);
        EXPECT_THAT(client->lastError(), HasSubstr(c.said));
    }
}

TEST_F(HostileNetworkTest, AUserWithTooLittlePrivilegeIsRefusedAndLeavesNoSession)
{
    // The server looks at a user's privilege only when it is asked to look the user up by it.
    constexpr std::size_t kLookUpAndRole = 40;
    constexpr std::uint8_t kByNameAlone = 0x10;
    const FaultInjectingRelay relay(
        server.Port(), Change(kRakp1, [](Datagram& d) { d[kLookUpAndRole] ^= kByNameAlone; }));
    for (std::size_t i = 0; i < 2 * kServerSessions; ++i) {
        const auto client = ClientAt(relay.Port(), kOperator, kPassword);
        ASSERT_EQ(client->connect(), CONNECTION_REFUSED) << client->lastError();
        ASSERT_THAT(client->lastError(), HasSubstr("privilege"));
    }
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(HostileNetworkTest, EveryShorterReplyIsDroppedWithoutHarm)
{
    const auto longWaits = config.values;
    for (const PayloadType reply : kReplies) {
        config.values = longWaits;
        std::size_t longest = 0;
        {
            const FaultInjectingRelay measure(
                server.Port(), FaultInjectingRelay::PassOn,
                Change(reply, [&](Datagram& d) { longest = std::max(longest, d.size()); }));
            const auto client = ClientAt(measure.Port());
            ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
            client->disconnect();
        }
        ASSERT_GT(longest, kStatus);
        WaitShortly();
        // The last three bytes of the first reply are reserved, and no loss.
        const std::size_t end = reply == kOpenSessionResponse ? longest - 3 : longest;
        for (std::size_t length = 0; length < end; length += 3) {
            const FaultInjectingRelay relay(
                server.Port(), FaultInjectingRelay::PassOn,
                Change(reply, [=](Datagram& d) { d.resize(std::min(d.size(), length)); }));
            const auto client = ClientAt(relay.Port());
            EXPECT_NE(client->connect(), CONNECTION_CONNECTED) << int{reply} << " " << length;
        }
    }
}

TEST_F(HostileNetworkTest, ALogInWithAnyChangedReplyFails)
{
    WaitTwoSeconds();
    // The last byte of each of these belongs to a code that the password or a key vouches for.
    for (const PayloadType reply : {kRakp2, kRakp4, kSealedIpmi}) {
        const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                        Change(reply, [](Datagram& d) { d.back() ^= 1; }));
        EXPECT_NE(ClientAt(relay.Port())->connect(), CONNECTION_CONNECTED) << int{reply};
    }
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(HostileNetworkTest, NoChangeAfterTheModulesProofIsTakenForAWrongPassword)
{
    WaitTwoSeconds();
    const auto changeLastByte = [](Datagram& d) { d.back() ^= 1; };
    const FaultInjectingRelay inReply(server.Port(), FaultInjectingRelay::PassOn,
                                      Change(kRakp4, changeLastByte));
    const FaultInjectingRelay inRequest(server.Port(), Change(kRakp3, changeLastByte));
    for (const FaultInjectingRelay* relay : {&inReply, &inRequest}) {
        const auto client = ClientAt(relay->Port());
        EXPECT_EQ(client->connect(), CONNECTION_TRY_AGAIN);
        EXPECT_THAT(client->lastError(), HasSubstr("changed on its way"));
    }
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(HostileNetworkTest, WhatAnotherAddressSendsIsNotHeard)
{
    // An attacker sees every reply, and has it arrive first, but not from the module's address.
    const int elsewhere = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const FaultInjectingRelay* itself = nullptr;
    const FaultInjectingRelay relay(
        server.Port(), FaultInjectingRelay::PassOn,
        [&](const Datagram& d) -> std::vector<Datagram> {
            const sockaddr_in client = Loopback(itself->ClientPort());
            Datagram refusal = d;
            refusal[std::min(kStatus, d.size() - 1)] = 0x0D;
            for (const Datagram& forged : {refusal, d}) {
                sendto(elsewhere, forged.data(), forged.size(), 0, Generic(client), sizeof client);
            }
            return Carries(d, kSealedIpmi) ? std::vector<Datagram>{} : std::vector<Datagram>{d};
        });
    itself = &relay;
    WaitTwoSeconds();
    const auto client = ClientAt(relay.Port());
    EXPECT_EQ(client->connect(), CONNECTION_TRY_AGAIN);
    EXPECT_THAT(client->lastError(), HasSubstr("no answer within"));
    close(elsewhere);
}

TEST_F(HostileNetworkTest, AnAnswerInPlainTextIsNotTaken)
{
    WaitShortly();
    const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                    Change(kSealedIpmi, [](Datagram& d) { d[kPayloadType] = 0; }));
    EXPECT_EQ(ClientAt(relay.Port())->connect(), CONNECTION_TRY_AGAIN);
}

TEST_F(HostileNetworkTest, JunkBeforeEveryReplyIsSkipped)
{
    const FaultInjectingRelay relay(
        server.Port(), FaultInjectingRelay::PassOn, [](const Datagram& d) -> std::vector<Datagram> {
            return {Datagram{},           Datagram(1, 0x06),    Datagram(16, 0xFF),
                    Datagram(60000, 'x'), Datagram(1400, 0x06), d};
        });
    const auto client = ClientAt(relay.Port());
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    EXPECT_TRUE(Serves(*client));
}

TEST_F(HostileNetworkTest, ARefusalForAnotherSessionIsSkipped)
{
    for (const PayloadType reply : {kOpenSessionResponse, kRakp2, kRakp4}) {
        SCOPED_TRACE(int{reply});
        const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                        [=](const Datagram& d) -> std::vector<Datagram> {
                                            if (!Carries(d, reply)) {
                                                return {d};
                                            }
                                            Datagram forged = d;
                                            forged[kConsoleSessionId] ^= 1;
                                            forged[kStatus] = 0x0D;
                                            return {forged, d};
                                        });
        const auto client = ClientAt(relay.Port());
        EXPECT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    }
}

/// A refusal as anybody can send it who guesses tag and port: it names no session.
Datagram ForgedRefusal(Datagram reply, std::uint8_t status)
{
    reply[kStatus] = status;
    std::fill_n(&reply[kConsoleSessionId], 4, std::uint8_t{0});
    return reply;
}

struct ForgeryCase
{
    PayloadType reply;
    std::uint8_t status;
    CONNECTIONSTATE state;
    std::string said;
};

const std::vector<ForgeryCase>& Forgeries()
{
    static const std::vector<ForgeryCase> cases{
        {kOpenSessionResponse, 0x01, CONNECTION_TRY_AGAIN, "no session free"},
        {kOpenSessionResponse, 0x11, CONNECTION_REFUSED, "cipher suite 3"},
        {kRakp2, 0x09, CONNECTION_REFUSED, "privilege administrator"},
        {kRakp2, 0x0D, CONNECTION_REFUSED, "user name"},
        {kRakp2, 0x0F, CONNECTION_REFUSED, "password is wrong"},
        {kRakp4, 0x0D, CONNECTION_REFUSED, "user name"},
        {kRakp4, 0x0F, CONNECTION_TRY_AGAIN, "changed on its way"},
    };
    return cases;
}

TEST_F(HostileNetworkTest, AForgedRefusalBeforeTheRealReplyEndsNoLogIn)
{
    for (const ForgeryCase& c : Forgeries()) {
        SCOPED_TRACE(std::to_string(c.reply) + ": " + std::to_string(c.status));
        const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                        [&](const Datagram& d) -> std::vector<Datagram> {
                                            if (!Carries(d, c.reply)) {
                                                return {d};
                                            }
                                            const Datagram forged = ForgedRefusal(d, c.status);
                                            return {forged, forged, d};
                                        });
        const auto client = ClientAt(relay.Port());
        ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
        EXPECT_TRUE(Serves(*client));
    }
}

// Some modules name no session when they refuse.
TEST_F(HostileNetworkTest, ARefusalThatNamesNoSessionCountsWhenNothingElseComes)
{
    config.values["IPMI_RETRANSMISSION_TIMEOUT_MS"] = 50;
    for (const ForgeryCase& c : Forgeries()) {
        SCOPED_TRACE(std::to_string(c.reply) + ": " + std::to_string(c.status));
        const FaultInjectingRelay relay(
            server.Port(), FaultInjectingRelay::PassOn,
            [&](const Datagram& d) -> std::vector<Datagram> {
                return {Carries(d, c.reply) ? ForgedRefusal(d, c.status) : d};
            });
        const auto client = ClientAt(relay.Port());
        EXPECT_EQ(client->connect(), c.state);
        EXPECT_THAT(client->lastError(), HasSubstr(c.said));
    }
}

TEST_F(HostileNetworkTest, ARefusalThatNamesTheSessionStandsAboveAForgedOne)
{
    const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                    [](const Datagram& d) -> std::vector<Datagram> {
                                        if (!Carries(d, kRakp2)) {
                                            return {d};
                                        }
                                        Datagram refusal = d;
                                        refusal[kStatus] = 0x0D;
                                        return {ForgedRefusal(d, 0x0F), refusal};
                                    });
    const auto client = ClientAt(relay.Port());
    EXPECT_EQ(client->connect(), CONNECTION_REFUSED);
    EXPECT_THAT(client->lastError(), HasSubstr("user name"));
}

TEST_F(HostileNetworkTest, TheTagsOfALogInCannotBeForetold)
{
    std::set<std::uint8_t> firstTags;
    const FaultInjectingRelay relay(server.Port(), [&](const Datagram& d) -> std::vector<Datagram> {
        if (Carries(d, kOpenSessionRequest)) {
            firstTags.insert(d[kTag]);
        }
        return {d};
    });
    // That so many fall on one tag of 255 has a chance of one in 10^36.
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(ClientAt(relay.Port())->connect(), CONNECTION_CONNECTED);
    }
    EXPECT_GT(firstTags.size(), 1U);
    EXPECT_EQ(firstTags.count(0), 0U) << "the tag of the message that aborts";
}

TEST_F(HostileNetworkTest, AnEndlessFloodOfJunkEndsAtTheTimeLimit)
{
    WaitShortly();
    const FaultInjectingRelay relay(
        server.Port(), FaultInjectingRelay::PassOn,
        [](const Datagram&) { return std::vector<Datagram>(500, Datagram(100, 0x06)); });
    EXPECT_EQ(ClientAt(relay.Port())->connect(), CONNECTION_TRY_AGAIN);
}

TEST_F(HostileNetworkTest, ARepeatedReplyIsTakenOnce)
{
    const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                    [](const Datagram& d) {
                                        return std::vector<Datagram>{d, d, d};
                                    });
    const auto client = ClientAt(relay.Port());
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    for (int i = 0; i < 5; ++i) {
        const Reply deviceId = Send(*client);
        EXPECT_EQ(deviceId.data.size(), 15U);
        const Reply unknown = Send(*client, {0xA8, {}, 0x32});
        EXPECT_EQ(unknown.completionCode, 0xC1);
    }
}

TEST_F(HostileNetworkTest, AnOldReplyIsNotTakenForANewOne)
{
    // Requests are numbered modulo 64: before every reply comes the one to the request that had the
    // same number last.
    std::vector<Datagram> replies;
    const FaultInjectingRelay relay(
        server.Port(), FaultInjectingRelay::PassOn,
        [&](const Datagram& d) -> std::vector<Datagram> {
            if (!Carries(d, kSealedIpmi)) {
                return {d};
            }
            replies.push_back(d);
            const bool wrapped = replies.size() > 64;
            return {wrapped ? replies[replies.size() - 65] : Datagram{}, d};
        });
    const auto client = ClientAt(relay.Port());
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    for (int i = 0; i < 200; ++i) {
        // The module repeats the privilege level, which differs from that of 64 requests ago.
        const auto level = static_cast<std::uint8_t>(2 + i % 3);
        EXPECT_EQ(Send(*client, {0x3B, {level}, 0x06}).data, std::vector<std::uint8_t>{level});
    }
}

TEST_F(HostileNetworkTest, LostPacketsAreSentAgain)
{
    config.values = {{"IPMI_SESSION_TIMEOUT_MS", 5000}, {"IPMI_RETRANSMISSION_TIMEOUT_MS", 20}};
    std::atomic<int> count{0};
    const auto loseTwoOfThree = [&](const Datagram& d) {
        return std::vector<Datagram>(++count % 3 == 0 ? 1 : 0, d);
    };
    {
        const FaultInjectingRelay relay(server.Port(), loseTwoOfThree);
        const auto client = ClientAt(relay.Port());
        ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
        EXPECT_TRUE(Serves(*client));
    }
}

TEST_F(HostileNetworkTest, LostRepliesLeaveNoSecondSession)
{
    config.values = {{"IPMI_SESSION_TIMEOUT_MS", 5000}, {"IPMI_RETRANSMISSION_TIMEOUT_MS", 20}};
    // Holds back the first reply to an open-session request, which makes the client ask again and
    // the server open two sessions; then hands over both.
    Datagram held;
    const auto holdFirst = [&](const Datagram& d) -> std::vector<Datagram> {
        if (!Carries(d, kOpenSessionResponse)) {
            return {d};
        }
        if (held.empty()) {
            held = d;
            return {};
        }
        return {d, held};
    };
    for (std::size_t i = 0; i < kServerSessions; ++i) {
        held.clear();
        const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn, holdFirst);
        const auto client = ClientAt(relay.Port());
        ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    }
    config.values["IPMI_RETRANSMISSION_TIMEOUT_MS"] = 500;
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(HostileNetworkTest, AModuleThatFallsSilentHalfWayKeepsNoSession)
{
    WaitTwoSeconds();
    for (const PayloadType silent : {kRakp2, kRakp4, kSealedIpmi}) {
        const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                        [=](const Datagram& d) -> std::vector<Datagram> {
                                            return std::vector<Datagram>(Carries(d, silent) ? 0 : 1,
                                                                         d);
                                        });
        for (int i = 0; i < 2; ++i) {
            const auto client = ClientAt(relay.Port());
            ASSERT_EQ(client->connect(), CONNECTION_TRY_AGAIN) << client->lastError();
            ASSERT_THAT(client->lastError(), HasSubstr("no answer within 2000 ms"));
        }
    }
    config.values = {};
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

}  // namespace
}  // namespace Tulvo
