// SPDX-License-Identifier: Apache-2.0
// The HTTPS side of the program vkt-simulator, from outside: curl, and bare sockets for what curl
// would not do.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "apps/vkt_simulator/owned_descriptor.h"
#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/curl.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

using nlohmann::json;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const std::string kMachineType = IpmiCall(50, 176, "0500");
const char* const kMachineTypeAnswer =
    R"({"NetFn":51,"Command":176,"CompletionCode":0,"ResponseData":"05003758325a00"})";

// One run of a scenario, with its endpoints read.
class Https
{
public:
    explicit Https(const std::string& scenario, std::vector<std::string> arguments = {})
        : simulator_(With(scenario, std::move(arguments))),
          endpoint_(simulator_.Endpoints().at("https"))
    {
    }

    std::string Ask(const std::string& words) const { return Curl(endpoint_, words); }
    const json& Endpoint() const { return endpoint_; }
    SimulatorProcess& Process() { return simulator_; }

    json StatisticsAtTheEnd()
    {
        simulator_.Signal(SIGTERM);
        return json::parse(simulator_.Line()).at("https");
    }

private:
    static std::vector<std::string> With(const std::string& scenario,
                                         std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), {"--scenario", scenario});
        return arguments;
    }

    SimulatorProcess simulator_;
    json endpoint_;
};

TEST(SimulatorHttps, SaysWhereItAnswers)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_EQ(https.Endpoint().at("address"), "127.0.0.1");
    EXPECT_EQ(https.Endpoint().at("user"), "admin");
    EXPECT_EQ(https.Endpoint().at("password"), "enclosure");
    EXPECT_THAT(https.Endpoint().at("pin").get<std::string>(),
                MatchesRegex("sha256//[A-Za-z0-9+/]{43}="));
    EXPECT_EQ(https.Ask(kMachineType), kMachineTypeAnswer);
}

TEST(SimulatorHttps, HasACertificateForEveryNameOfThisMachine)
{
    const Https https("healthy-vkt2-fe-2");
    const std::string words =
        "--user admin:enclosure --json "
        R"('{"NetFn":50,"Lun":0,"Command":176,"RequestData":"0500"}' )";
    for (const char* host : {"127.0.0.1", "localhost"}) {
        EXPECT_EQ(https.Ask(words + Url(https.Endpoint(), kActionPlace, host)), kMachineTypeAnswer);
    }
    EXPECT_THAT(https.Ask("--resolve other.example:" +
                          std::to_string(https.Endpoint().at("port").get<int>()) + ":127.0.0.1 " +
                          Url(https.Endpoint(), "/", "other.example")),
                EndsWith("exit 60"));
}

TEST(SimulatorHttps, ListensOnIpv6Loopback)
{
    const Https https("healthy-vkt2-fe-2", {"--listen", "::1"});
    EXPECT_EQ(https.Ask("--user admin:enclosure --json "
                        R"('{"NetFn":50,"Lun":0,"Command":176,"RequestData":"0500"}' )" +
                        Url(https.Endpoint(), kActionPlace, "'[::1]'")),
              kMachineTypeAnswer);
}

TEST(SimulatorHttps, HasTheKeyOfItsPinAndNoOther)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_EQ(https.Ask("--pinnedpubkey $pin " + kMachineType), kMachineTypeAnswer);
    const std::string other = "sha256//" + std::string(43, 'A') + '=';
    EXPECT_THAT(https.Ask("--pinnedpubkey " + other + ' ' + kMachineType), EndsWith("exit 90"));
    const Https another("healthy-vkt2-fe-2");
    EXPECT_NE(another.Endpoint().at("pin"), https.Endpoint().at("pin"));
}

TEST(SimulatorHttps, IsNotTrustedWithoutItsCertificate)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_THAT(https.Ask("--cacert /etc/ssl/certs/ca-certificates.crt " + kMachineType),
                AnyOf(EndsWith("exit 60"), EndsWith("exit 77")));
}

TEST(SimulatorHttps, SpeaksNothingOlderThanTls12)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_THAT(https.Ask("--tlsv1.0 --tls-max 1.1 --ciphers DEFAULT@SECLEVEL=0 " + kMachineType),
                EndsWith("exit 35"));
    EXPECT_EQ(https.Ask("--tls-max 1.2 " + kMachineType), kMachineTypeAnswer);
    EXPECT_EQ(https.Ask("--tlsv1.3 " + kMachineType), kMachineTypeAnswer);
    EXPECT_THAT(https.Ask("$(echo $base | sed s/https/http/)/"), Not(HasSubstr("redfish")));
}

TEST(SimulatorHttps, HasAnExpiredCertificateWhereTheScenarioSaysSo)
{
    const Https https("https-expired-certificate");
    EXPECT_THAT(https.Ask(kMachineType),
                AllOf(HasSubstr("certificate has expired"), EndsWith("exit 60")));
    EXPECT_EQ(https.Ask("--insecure --pinnedpubkey $pin " + kMachineType), kMachineTypeAnswer);
}

TEST(SimulatorHttps, ServesAllRequestsOfAConnectionWithOneHandshake)
{
    Https https("healthy-vkt2-fe-2", {"--statistics"});
    std::string urls;
    std::string answers;
    for (int i = 0; i < 40; ++i) {
        urls += " $base" + kActionPlace;
        answers += kMachineTypeAnswer;
    }
    EXPECT_EQ(https.Ask(kMachineType + urls), answers + kMachineTypeAnswer);
    EXPECT_EQ(https.StatisticsAtTheEnd(),
              (json{{"handshakes", 1}, {"requests", 41}, {"openSessions", 0}}));
}

TEST(SimulatorHttps, CountsHandshakesAndSessionsThatStayOpen)
{
    Https https("healthy-vkt2-fe-2", {"--statistics"});
    const std::string logIn =
        Post(R"({"UserName":"admin","Password":"enclosure"})", kSessionsPlace);
    https.Ask(logIn);
    https.Ask(logIn);
    https.Ask("--cacert /dev/null " + logIn);
    EXPECT_EQ(https.StatisticsAtTheEnd(),
              (json{{"handshakes", 2}, {"requests", 2}, {"openSessions", 2}}));
}

TEST(SimulatorHttps, SendsWhatRedfishDemandsWithAReply)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_THAT(
        https.Ask("--include " + kMachineType),
        AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("Content-Type: application/json\r\n"),
              HasSubstr("OData-Version: 4.0\r\n")));
    EXPECT_THAT(https.Ask("--include " + Post("{}")),
                AllOf(StartsWith("HTTP/1.1 401 Unauthorized\r\n"),
                      HasSubstr("WWW-Authenticate: Basic realm=\"enclosure\"\r\n"),
                      HasSubstr("Content-Type: application/json\r\n")));
}

struct ScenarioCase
{
    const char* scenario;
    const char* ending;  // of the body, the status and curl's exit code if it fails
};

class SimulatorHttpsScenario : public testing::TestWithParam<ScenarioCase>
{
};

TEST_P(SimulatorHttpsScenario, HasAFaultyReply)
{
    const Https https(GetParam().scenario);
    EXPECT_THAT(https.Ask("--write-out ' %{http_code}' " + IpmiCall(50, 176, "050b")),
                EndsWith(GetParam().ending));
}

INSTANTIATE_TEST_SUITE_P(
    Scenarios, SimulatorHttpsScenario,
    testing::Values(ScenarioCase{"https-closed", "exit 52"},
                    ScenarioCase{"https-error", "}]}} 500"},
                    ScenarioCase{"https-garbage", "</html> 200"},
                    ScenarioCase{"https-slow",
                                 "\"050b4368617373697320410"
                                 "0\"} 200"},
                    ScenarioCase{"https-unauthorized", "}]}} 401"},
                    ScenarioCase{"https-unavailable", "}]}} 503"}, ScenarioCase{"busy", "}]}} 503"},
                    ScenarioCase{"dropped", "}]}} 504"},
                    ScenarioCase{"truncated", "\"ResponseData\":\"050b43\"} 200"}),
    [](const auto& tested) {
        std::string name = tested.param.scenario;
        std::erase(name, '-');
        return name;
    });

TEST(SimulatorHttps, ClosesAConnectionWithoutAReplyWhereTheScenarioSaysSo)
{
    Https https("https-closed", {"--statistics"});
    EXPECT_EQ(https.Ask(kMachineType), "curl: (52) Empty reply from server\nexit 52");
    EXPECT_EQ(https.StatisticsAtTheEnd().at("requests"), 1);
}

struct BodyCase
{
    const char* name;
    std::size_t length;
    const char* options;
    const char* status;
};

class SimulatorHttpsBody : public testing::TestWithParam<BodyCase>
{
};

// Each is followed by a good request, which must find its beginning.
TEST_P(SimulatorHttpsBody, IsBounded)
{
    const TemporaryDirectory folder;
    const std::string file = (folder / "body").string();
    std::ofstream(file) << std::string(GetParam().length, ' ');
    const Https https("healthy-vkt2-fe-2");
    const std::string status = " --output /dev/null --write-out '%{http_code} ' ";
    EXPECT_EQ(https.Ask("--user admin:enclosure --header 'Content-Type: application/json' "
                        "--header Expect: --data-binary @" +
                        file + ' ' + GetParam().options + status + "$base" + kActionPlace +
                        " --next --silent --insecure" + status + kMachineType),
              std::string(GetParam().status) + " 200 ");
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, SimulatorHttpsBody,
    testing::Values(
        BodyCase{"Longest", 4096, "", "400"}, BodyCase{"TooLong", 4097, "", "413"},
        BodyCase{"MuchTooLong", 1U << 20U, "", "413"},
        BodyCase{"LongestInChunks", 4096, "--header 'Transfer-Encoding: chunked'", "400"},
        BodyCase{"TooLongInChunks", 4097, "--header 'Transfer-Encoding: chunked'", "413"},
        BodyCase{"TooLongForAStranger", 100000, "--user a:b", "401"}),
    [](const auto& tested) { return std::string(tested.param.name); });

struct HeaderCase
{
    const char* name;
    std::size_t length;
    testing::Matcher<std::string> status;  // 000: curl sees no more than that the connection ends
};

class SimulatorHttpsHeader : public testing::TestWithParam<HeaderCase>
{
};

TEST_P(SimulatorHttpsHeader, IsBounded)
{
    const TemporaryDirectory folder;
    const std::string file = (folder / "header").string();
    {
        const std::string line = "Filler: " + std::string(990, 'x') + '\n';
        std::ofstream lines(file);
        for (std::size_t length = 0; length < GetParam().length; length += 1000) {
            lines << line;
        }
    }
    const Https https("healthy-vkt2-fe-2");
    EXPECT_THAT(
        https
            .Ask("--output /dev/null --no-show-error --write-out '%{http_code}' --header @" + file +
                 ' ' + kMachineType)
            .substr(0, 3),
        GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Lengths, SimulatorHttpsHeader,
                         testing::Values(HeaderCase{"Long", 60000, "200"},
                                         HeaderCase{"TooLong", 90000, AnyOf("431", "000")}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(SimulatorHttps, DoesNotWaitForABodyOfTerabytes)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_THAT(https.Ask("--include --user admin:enclosure --request POST "
                          "--header 'Content-Type: application/json' "
                          "--header 'Content-Length: 10995116277760' $base" +
                          kActionPlace),
                AllOf(StartsWith("HTTP/1.1 413"), HasSubstr("Connection: close")));
}

TEST(SimulatorHttps, TakesNoFormToPieces)
{
    const Https https("healthy-vkt2-fe-2");
    EXPECT_THAT(https.Ask("--include --user admin:enclosure --form a=b $base" + kActionPlace),
                AllOf(StartsWith("HTTP/1.1 400"), HasSubstr("Connection: close")));
}

struct PlaceCase
{
    const char* name;
    std::string words;
    const char* start;
};

class SimulatorHttpsPlace : public testing::TestWithParam<PlaceCase>
{
};

TEST_P(SimulatorHttpsPlace, IsRefusedInRedfishsForm)
{
    const Https https("healthy-vkt2-fe-2");
    const std::string reply =
        https.Ask("--user admin:enclosure --write-out '\n%{http_code}' " + GetParam().words);
    EXPECT_THAT(reply, AllOf(StartsWith(R"({"error":{"code":"Base.1.0.)"),
                             EndsWith(std::string("\n") + GetParam().start)));
}

INSTANTIATE_TEST_SUITE_P(
    Places, SimulatorHttpsPlace,
    testing::Values(PlaceCase{"Root", "$base/redfish/v1/", "404"},
                    PlaceCase{"Put", "--request PUT " + Post("{}"), "404"},
                    PlaceCase{"Patch", "--request PATCH " + Post("{}"), "404"},
                    PlaceCase{"Options", "--request OPTIONS $base" + kActionPlace, "404"},
                    PlaceCase{"UnknownMethod", "--request BREW $base" + kActionPlace, "400"},
                    PlaceCase{"NotEscapedHere", "$base/%0a", "404"},
                    PlaceCase{"VeryLong", "$base/$(printf %08000d 0)", "404"},
                    PlaceCase{"LongPost", "--json {} $base/$(printf %08000d 0)", "404"},
                    PlaceCase{"Parent", "--path-as-is $base/x/.." + kActionPlace, "404"}),
    [](const auto& tested) { return std::string(tested.param.name); });

// A TCP connection on which nothing happens.
class SilentClient
{
public:
    explicit SilentClient(const json& https)
        : socket_(Owned(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(https.at("port").get<std::uint16_t>());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof address) == 0;
    }
    int Number() const { return socket_.Get(); }
    bool Connected() const { return connected_; }
    bool Send(const std::string& bytes) const
    {
        return send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }

private:
    FileDescriptor socket_;
    bool connected_ = false;
};

// A client that does what no HTTP client would.
class TlsClient
{
public:
    explicit TlsClient(const json& https)
        : socket_(https),
          context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free),
          tls_(SSL_new(context_.get()), SSL_free)
    {
        SSL_set_fd(tls_.get(), socket_.Number());
        connected_ = SSL_connect(tls_.get()) == 1;
    }
    bool Connected() const { return connected_; }
    bool Send(const std::string& bytes) const
    {
        return SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
    }

private:
    SilentClient socket_;
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context_;
    std::unique_ptr<SSL, void (*)(SSL*)> tls_;
    bool connected_ = false;
};

// The most memory that a process has had, in KiB.
long PeakOf(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long peak = 0;
            status >> peak;
            return peak;
        }
    }
    throw std::runtime_error("the process is gone");
}

struct EndlessCase
{
    const char* name;
    std::string start;
    std::string repeated;
};

class SimulatorHttpsEndless : public testing::TestWithParam<EndlessCase>
{
};

TEST_P(SimulatorHttpsEndless, IsEndedByTheServer)
{
    constexpr std::size_t kMost = 16U << 20U;
    constexpr long kMostMemory = 40L
                                 << 10;  // of the server; each line may take 20 times its length
    std::signal(SIGPIPE, SIG_IGN);
    Https https("healthy-vkt2-fe-2");
    ASSERT_EQ(https.Ask(kMachineType), kMachineTypeAnswer);
    const long before = PeakOf(https.Process().Pid());
    std::string block;
    while (block.size() < 15000) {
        block += GetParam().repeated;
    }
    const TlsClient client(https.Endpoint());
    ASSERT_TRUE(client.Connected());
    ASSERT_TRUE(client.Send(GetParam().start));
    std::size_t sent = 0;
    while (sent < kMost && client.Send(block)) {
        sent += block.size();
    }
    EXPECT_LT(sent, kMost);
    EXPECT_LT(PeakOf(https.Process().Pid()) - before, kMostMemory);
    EXPECT_EQ(https.Ask(kMachineType), kMachineTypeAnswer);
}

const std::string kChunked = "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";

INSTANTIATE_TEST_SUITE_P(Streams, SimulatorHttpsEndless,
                         testing::Values(EndlessCase{"HeaderLines", "GET / HTTP/1.1\r\n",
                                                     "a:b\r\n"},
                                         EndlessCase{"HeaderLine", "GET / HTTP/1.1\r\na:", "b"},
                                         EndlessCase{"RequestLine", "GET /", "a"},
                                         EndlessCase{"LengthOfAChunk", kChunked, "0"},
                                         EndlessCase{"ExtensionOfAChunk", kChunked + "1;", "a"},
                                         EndlessCase{"Chunks", kChunked, "1\r\n \r\n"},
                                         EndlessCase{"Trailer", kChunked + "0\r\n", "a:b\r\n"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(SimulatorHttps, ServesOthersWhileSomeAreSilentOrSpeakNoTls)
{
    Https https("healthy-vkt2-fe-2");
    const SilentClient silent(https.Endpoint());
    const SilentClient plain(https.Endpoint());
    ASSERT_TRUE(silent.Connected());
    ASSERT_TRUE(plain.Send("GET / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(https.Ask(kMachineType), kMachineTypeAnswer);
    https.Process().Signal(SIGTERM);
    EXPECT_EQ(https.Process().ExitCode(), 0);
}

TEST(SimulatorHttps, LeavesNothingBehindAndWritesNothingToADisk)
{
    const TemporaryDirectory folder;
    SimulatorProcess simulator({"--scenario", "healthy-first"},
                               {"TMPDIR=" + folder.Path().string()});
    const json https = simulator.Endpoints().at("https");
    EXPECT_TRUE(std::filesystem::exists(https.at("certificateFile").get<std::string>()));
    EXPECT_NE(Curl(https, kMachineType), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
    simulator.Signal(SIGKILL);
    simulator.ExitCode();
    EXPECT_FALSE(std::filesystem::exists(https.at("certificateFile").get<std::string>()));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(SimulatorHttps, TakesThePortItIsGiven)
{
    Https first("healthy-first");
    const std::string port = std::to_string(first.Endpoint().at("port").get<int>());
    SimulatorProcess second({"--scenario", "healthy-first", "--https-port", port});
    EXPECT_EQ(second.ExitCode(), 1);
    EXPECT_EQ(second.Line(), "");
    EXPECT_EQ(second.ErrorText(), "vkt-simulator: cannot listen on TCP port " + port +
                                      " of 127.0.0.1: Address already in use; choose another "
                                      "with --https-port\n");
    first.Process().Signal(SIGTERM);
    first.Process().ExitCode();
    Https third("healthy-first", {"--https-port", port});
    EXPECT_EQ(std::to_string(third.Endpoint().at("port").get<int>()), port);
}

}  // namespace
}  // namespace Tulvo::Simulator
