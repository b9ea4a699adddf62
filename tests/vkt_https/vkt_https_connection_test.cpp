// SPDX-License-Identifier: Apache-2.0
// Opening, keeping, losing and replacing connections.
#include <csignal>
#include <cstdlib>
#include <future>

#include "tests/support/few_descriptors.h"
#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;
using Connection = HttpsTest;

/// Gives the first connection to `first` and all others to `rest`.
TlsServer::Play FirstThen(TlsServer::Play first, TlsServer::Play rest)
{
    return [first = std::move(first), rest = std::move(rest),
            count = std::make_shared<std::atomic<int>>(0)](Peer& peer) {
        ((*count)++ == 0 ? first : rest)(peer);
    };
}

/// Answers the first request; `then` happens to the idle connection.
TlsServer::Play AnswerThen(std::function<void(Peer&)> then)
{
    return [then = std::move(then)](Peer& peer) {
        if (peer.Handshake() && peer.Read() && peer.Send(GoodReply())) {
            then(peer);
        }
    };
}

TEST_F(Connection, NoServerIsNoConnection)
{
    Serve(Always(GoodReply()));
    const auto record = Record();
    server.reset();
    Connect(record);
    ExpectFailure(VKT_HTTPS_CONNECT_FAILED, "Connection refused");
}

TEST_F(Connection, NoDescriptorLeftIsNoConnectionAndTheReasonIsTold)
{
    Serve(Always(GoodReply()));
    {
        const FewDescriptors few(0);
        ExpectFailure(VKT_HTTPS_CONNECT_FAILED, "Too many open files");
    }
    ExpectAnswer();
}

TEST_F(Connection, UnknownNameIsNoConnection)
{
    auto record = Record();
    // No name has so long a part, so no name service is asked for it.
    record.address = std::string(64, 'a') + ".invalid";
    Connect(record);
    ExpectFailure(VKT_HTTPS_CONNECT_FAILED, "the name was not found");
}

TEST_F(Connection, ServerThatComesLaterIsFound)
{
    Serve(Always(GoodReply()));
    const auto record = Record();
    server.reset();
    Connect(record);
    ExpectFailure(VKT_HTTPS_CONNECT_FAILED, "Connection refused");
    Serve(Always(GoodReply()), Module(), {.port = record.port});
    ExpectAnswer();
}

TEST_F(Connection, Ipv6AddressNeedsNoBrackets)
{
    if (!CanListenOn("::1")) {
        GTEST_SKIP() << "this machine has no IPv6 loopback";
    }
    Serve(Always(GoodReply()), Module(), {.listenOn = "::1"});
    for (const char* address : {"::1", "[::1]"}) {
        auto record = Record();
        record.address = address;
        record.addressFamily = 6;
        Connect(record);
        ExpectAnswer();
    }
}

TEST_F(Connection, AddressFamilyLimitsWhatANameMeans)
{
    Serve(Always(GoodReply()));
    auto record = Record();
    record.addressFamily = 6;
    Connect(record);
    ExpectFailure(VKT_HTTPS_CONNECT_FAILED, "no connection to the server");
}

TEST_F(Connection, ProxyOfTheEnvironmentIsNotUsed)
{
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        setenv(name, "http://127.0.0.1:1", 1);
    }
    Serve(Always(GoodReply()));
    ExpectAnswer();
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        unsetenv(name);
    }
}

TEST_F(Connection, ClosedMeanwhileIsReopenedUnnoticed)
{
    Serve(Once(GoodReply()));
    for (int i = 1; i <= 5; ++i) {
        ExpectAnswer();
        server->AwaitEnds(i);
        EXPECT_EQ(server->Handshakes(), i);
    }
    EXPECT_THAT(server->Requests(), SizeIs(5));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(Connection, BrokenMeanwhileIsReopenedUnnoticed)
{
    Serve(AnswerThen([](Peer& peer) { peer.Break(); }));
    ExpectAnswer();
    server->AwaitEnds(1);
    ExpectAnswer();
    EXPECT_THAT(server->Requests(), SizeIs(2));
}

TEST_F(Connection, AnswerThatNobodyAskedForIsNotTaken)
{
    const std::string foreign =
        Reply("200 OK", R"({"NetFn":51,"Command":176,"CompletionCode":0,"ResponseData":"00"})");
    std::atomic<bool> sent = false;
    Serve(FirstThen(AnswerThen([&](Peer& peer) {
                        peer.Send(foreign);
                        peer.AwaitDelivery();
                        sent = true;
                        peer.Read();
                    }),
                    Always(GoodReply())));
    ExpectAnswer();
    while (!sent) {
    }
    ExpectAnswer();
}

TEST_F(Connection, ConnectionOfAWrongAnswerIsLeft)
{
    Serve(FirstThen(Always(Reply("200 OK", "{}")), Always(GoodReply())));
    ExpectFailure(VKT_HTTPS_MALFORMED_REPLY, "NetFn is missing");
    ExpectAnswer();
    EXPECT_EQ(server->Handshakes(), 2);
}

TEST_F(Connection, RefusalKeepsTheConnection)
{
    Serve([](Peer& peer) {
        peer.Handshake();
        peer.Read();
        peer.Send(Reply("503 Service Unavailable", "{}"));
        peer.Read();
        peer.Send(GoodReply());
    });
    ExpectFailure(VKT_HTTPS_HTTP_ERROR, "busy");
    ExpectAnswer();
    EXPECT_EQ(server->Handshakes(), 1);
}

// libcurl by itself would send the second request again, on a new connection.
struct End
{
    const char* name;
    void (Peer::*verb)();
};

void PrintTo(const End& end, std::ostream* out)
{
    *out << end.name;
}

class SwallowedRequest : public HttpsTest, public ::testing::WithParamInterface<End>
{
};

TEST_P(SwallowedRequest, IsNotSentAgain)
{
    Serve(FirstThen(AnswerThen([end = GetParam()](Peer& peer) {
                        peer.Read();
                        (peer.*end.verb)();
                    }),
                    Always(GoodReply())));
    ExpectAnswer();
    ExpectFailure(VKT_HTTPS_CONNECT_FAILED, "was not repeated");
    EXPECT_THAT(server->Requests(), SizeIs(2));
    EXPECT_EQ(server->Heads(), 2);
    ExpectAnswer();  // The caller's own next try is another matter.
    EXPECT_THAT(server->Requests(), SizeIs(3));
}

INSTANTIATE_TEST_SUITE_P(Ends, SwallowedRequest,
                         ::testing::Values(End{"Close", &Peer::Close}, End{"Break", &Peer::Break},
                                           End{"Reset", &Peer::Reset}),
                         ::testing::PrintToStringParamName());

TEST_F(Connection, DeadConnectionDoesNotEndTheHostProgram)
{
    ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "a host program that never heard of it";
    std::promise<void> answered;
    Serve(AnswerThen([&answered](Peer& peer) {
        answered.get_future().wait();
        peer.Reset();
    }));
    ExpectAnswer();
    answered.set_value();
    server->AwaitEnds(1);
    client.reset();  // Writes a close_notify to a connection that is gone.
}

}  // namespace
}  // namespace Tulvo::Tests
