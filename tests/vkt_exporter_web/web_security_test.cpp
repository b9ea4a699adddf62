// SPDX-License-Identifier: Apache-2.0
// TLS and log-in, as curl finds them.
#include <crypt.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "apps/vkt_exporter/web/http_server.h"
#include "apps/vkt_exporter/web/web_files.h"
#include "common/text/base64.h"
#include "tests/support/temporary_directory.h"
#include "tests/vkt_exporter_web/client.h"
#include "tests/vkt_https/certificates.h"
#include "tests/vkt_simulator/shell.h"

namespace Tulvo::Exporter {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Tests::Identity;
using Tests::MakeIdentity;

std::string KeyPem(const Identity& identity)
{
    const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_PrivateKey(memory.get(), identity.key.get(), nullptr, nullptr, 0, nullptr,
                             nullptr);
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::string HashOf(const std::string& password, unsigned long cost = 4)
{
    const std::string random(16, 'r');
    std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting = {};
    crypt_gensalt_rn("$2y$", cost, random.data(), static_cast<int>(random.size()), setting.data(),
                     static_cast<int>(setting.size()));
    return crypt(password.c_str(), setting.data());
}

/// A folder with a web configuration and what it names.
class WebFolder
{
public:
    std::string Path(const std::string& name) const { return (folder_ / name).string(); }

    void Write(const std::string& name, const std::string& text) const
    {
        // Whole at once, as what renews certificates does it.
        std::ofstream(Path(name + ".new")) << text;
        chmod(Path(name + ".new").c_str(), 0600);
        std::filesystem::rename(Path(name + ".new"), Path(name));
    }

    void WriteIdentity(const std::string& name, const Identity& identity) const
    {
        Write(name + ".crt", identity.Pem());
        Write(name + ".key", KeyPem(identity));
    }

private:
    TemporaryDirectory folder_;
};

/// What a server said to its operator.
class Said
{
public:
    std::function<void(const std::string&)> Listener()
    {
        return [this](const std::string& text) {
            const std::lock_guard lock(mutex_);
            texts_.push_back(text);
        };
    }

    std::vector<std::string> Texts()
    {
        const std::lock_guard lock(mutex_);
        return texts_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> texts_;
};

class WebSecurity : public testing::Test
{
protected:
    void Start()
    {
        HttpServerOptions options;
        options.listenAddress = "127.0.0.1:0";
        options.webConfigFile = folder_.Path("web.yml");
        options.warn = said_.Listener();
        server_.emplace(options, [this](const HttpRequest& request, const Respond& respond) {
            ++asked_;
            respond({.status = 200,
                     .contentType = "",
                     .body = request.headers.contains("Authorization") ? "password" : "good",
                     .headers = {}});
        });
    }

    /// A server with TLS, a certificate that curl is told to trust, and these further lines.
    void StartTls(const std::string& lines = "", const std::string& rest = "")
    {
        server1_ = MakeIdentity({});
        folder_.WriteIdentity("server", server1_);
        folder_.Write("web.yml", std::string(kTls) + lines + rest);
        Start();
    }

    std::string Curl(const std::string& words, const std::string& scheme = "https") const
    {
        return Simulator::Shell("cd " + folder_.Path("") +
                                " && curl --silent --show-error --max-time 60 --write-out "
                                "' %{http_code}\n' " +
                                words + " " + scheme + "://" + server_->Address() + "/");
    }

    static constexpr const char* kTls =
        "tls_server_config:\n  cert_file: server.crt\n  key_file: server.key\n";
    static constexpr const char* kGood = "good 200\nexit 0";

    WebFolder folder_;
    Said said_;
    Identity server1_;
    std::atomic<int> asked_ = 0;
    std::optional<HttpServer> server_;
};

TEST_F(WebSecurity, ServesTlsFrom12On)
{
    StartTls("", "http_server_config:\n  headers:\n    X-Content-Type-Options: nosniff\n");
    EXPECT_EQ(Curl("--cacert server.crt"), kGood);
    EXPECT_EQ(Curl("--cacert server.crt --tls-max 1.2"), kGood);
    EXPECT_EQ(Curl("--cacert server.crt --tlsv1.3"), kGood);
    EXPECT_THAT(Curl("--cacert server.crt --head"),
                HasSubstr("\r\nX-Content-Type-Options: nosniff\r\n"));
    EXPECT_THAT(Curl("--insecure --tls-max 1.1 --ciphers DEFAULT:@SECLEVEL=0"),
                HasSubstr("exit 35"));
    EXPECT_THAT(Curl("", "http"), AnyOf(HasSubstr("exit 52"), HasSubstr("exit 56")));
    EXPECT_THAT(Curl(""), HasSubstr("exit 60")) << "an unknown certificate";
    EXPECT_THAT(said_.Texts(), IsEmpty());
}

TEST_F(WebSecurity, ServesTls13OnlyWhenTold)
{
    StartTls("  min_version: TLS13\n");
    EXPECT_EQ(Curl("--cacert server.crt"), kGood);
    EXPECT_THAT(Curl("--cacert server.crt --tls-max 1.2"), HasSubstr("exit 35"));
}

TEST_F(WebSecurity, RestsWhileAHandshakeStalls)
{
    StartTls();
    const Client part(server_->Address());
    part.Send("\x16\x03\x01");
    const auto before = ProcessorTime();
    EXPECT_FALSE(part.HasNews(500));
    EXPECT_LT(ProcessorTime() - before, std::chrono::milliseconds(100)) << "it spins";
    EXPECT_EQ(Curl("--cacert server.crt"), kGood);
}

struct ClientCase
{
    const char* type;
    bool none;     ///< Whether a client without a certificate is let in.
    bool foreign;  ///< With one of an unknown authority.
    bool trusted;  ///< With one of client_ca_file.
};

constexpr ClientCase kClientCases[] = {
    {"NoClientCert", true, true, true},
    {"RequestClientCert", true, true, true},
    {"RequireAnyClientCert", false, true, true},
    {"VerifyClientCertIfGiven", true, false, true},
    {"RequireAndVerifyClientCert", false, false, true},
};

TEST_F(WebSecurity, AsksClientsForCertificates)
{
    const Identity authority = MakeIdentity({.isAuthority = true});
    folder_.Write("ca.crt", authority.Pem());
    folder_.WriteIdentity("trusted", MakeIdentity({}, &authority));
    folder_.WriteIdentity("foreign", MakeIdentity({}));
    folder_.WriteIdentity("expired", MakeIdentity({.endsInSeconds = -60}, &authority));
    for (const ClientCase& each : kClientCases) {
        SCOPED_TRACE(each.type);
        const std::string type = each.type;
        StartTls("  client_auth_type: " + type + "\n" +
                 (type == "NoClientCert" ? "" : "  client_ca_file: ca.crt\n"));
        const auto isLetIn = [this](const std::string& name) {
            std::string words;
            if (!name.empty()) {
                words.append(" --cert ").append(name).append(".crt --key ").append(name) += ".key";
            }
            const int before = asked_;
            const bool good = Curl("--cacert server.crt" + words) == kGood;
            EXPECT_EQ(asked_, before + (good ? 1 : 0)) << "nobody else reaches the handler";
            return good;
        };
        EXPECT_EQ(isLetIn(""), each.none);
        EXPECT_EQ(isLetIn("foreign"), each.foreign);
        EXPECT_EQ(isLetIn("expired"), each.foreign);
        EXPECT_EQ(isLetIn("trusted"), each.trusted);
    }
}

TEST_F(WebSecurity, ServesARenewedCertificateToNewConnections)
{
    StartTls();
    EXPECT_EQ(Curl("--cacert server.crt"), kGood);
    const Identity renewed = MakeIdentity({});
    folder_.Write("old.crt", server1_.Pem());
    // Half of the renewal: the key does not belong to the certificate.
    folder_.Write("server.crt", renewed.Pem());
    EXPECT_EQ(Curl("--cacert old.crt"), kGood);
    ASSERT_THAT(said_.Texts(),
                ElementsAre(AllOf(HasSubstr("server.crt with key"), HasSubstr("is another's"),
                                  HasSubstr("; what was read before stays in force"))));
    EXPECT_TRUE(server_->SpeaksTls());
    folder_.Write("server.key", KeyPem(renewed));
    EXPECT_EQ(Curl("--cacert server.crt"), kGood);
    EXPECT_THAT(Curl("--cacert old.crt"), HasSubstr("exit 60"));
    EXPECT_EQ(said_.Texts().size(), 1U);
}

TEST_F(WebSecurity, LetsInWhoHasTheRightPassword)
{
    StartTls("", "basic_auth_users:\n  prometheus: " + HashOf("right") +
                     "\n  second: " + HashOf("other", 5) + "\n");
    const std::string refused = "this takes a user and a password\n 401\nexit 0";
    const std::string ca = "--cacert server.crt ";
    const char* const wrong[] = {
        "",
        "--user prometheus:wrong",
        "--user prometheus:",
        "--user prometheus:right2",
        "--user prometheus:other",
        "--user nobody:right",
        "--user :",
        "--user second:right",
        "--header 'Authorization: Basic'",
        "--header 'Authorization: Basic !!!'",
        "--header 'Authorization: Basic cHJvbWV0aGV1cw=='",  // no colon
        "--header 'Authorization: Bearer right'",
    };
    for (const char* words : wrong) {
        EXPECT_EQ(Curl(ca + words), refused) << words;
        EXPECT_EQ(Curl(ca + words), refused) << words << ", remembered";
    }
    EXPECT_THAT(Curl(ca + "--head"), HasSubstr("WWW-Authenticate: Basic realm="));
    EXPECT_EQ(asked_, 0);
    EXPECT_EQ(Curl(ca + "--user prometheus:right"), kGood);
    EXPECT_EQ(Curl(ca + "--user prometheus:right"), kGood);
    EXPECT_EQ(Curl(ca + "--user second:other"), kGood);
    EXPECT_EQ(Curl(ca + "--user prometheus:wrong"), refused);
}

std::string Authorization(const std::string& userAndPassword)
{
    return "Authorization: Basic " + Text::ToBase64(userAndPassword) + "\r\n";
}

std::string Request(const std::string& userAndPassword)
{
    return "GET / HTTP/1.1\r\nHost: test\r\n" + Authorization(userAndPassword) + "\r\n";
}

const std::string kRightPassword = Authorization("p:right");

TEST_F(WebSecurity, TakesChangedUsersAtTheNextRequest)
{
    folder_.Write("web.yml", "basic_auth_users:\n  p: " + HashOf("right") + "\n");
    Start();
    EXPECT_THAT(said_.Texts(), ElementsAre(HasSubstr("passwords cross the network readable")));
    Client scraper(server_->Address());
    const auto status = [&scraper] {
        scraper.Send(Request("p:right"));
        return StatusLine(scraper.Answer());
    };
    const std::string good = "HTTP/1.1 200 OK";
    const std::string refused = "HTTP/1.1 401 Unauthorized";
    EXPECT_EQ(status(), good);
    folder_.Write("web.yml", "basic_auth_users:\n  p: " + HashOf("changed") + "\n");
    EXPECT_EQ(status(), refused);
    folder_.Write("web.yml", "basic_auth_users:\n  p: " + HashOf("right") + "\n");
    EXPECT_EQ(status(), good);
    folder_.Write("web.yml", "basic_auth_users:\n  q: " + HashOf("right") + "\n");
    EXPECT_EQ(status(), refused);
    folder_.Write("web.yml", "");  // as it is for a moment while an editor writes it
    EXPECT_EQ(status(), refused);
    folder_.Write("web.yml", "basic_auth_user:\n  p: " + HashOf("right") + "\n");
    EXPECT_EQ(status(), refused);
    std::filesystem::remove(folder_.Path("web.yml"));
    EXPECT_EQ(status(), refused);
    EXPECT_EQ(status(), refused);
    folder_.Write("web.yml", "basic_auth_users:\n  p: " + HashOf("right") + "\n");
    EXPECT_EQ(status(), good);
    folder_.WriteIdentity("server", MakeIdentity({}));
    folder_.Write("web.yml", kTls);
    EXPECT_EQ(status(), good);
    EXPECT_THAT(said_.Texts(),
                ElementsAre(testing::_, HasSubstr("the file is empty"),
                            HasSubstr("unknown key \"basic_auth_user\""),
                            HasSubstr("No such file or directory"), HasSubstr("takes a restart")));
    for (const std::string& text : said_.Texts()) {
        EXPECT_THAT(text, Not(HasSubstr("$2y$")));
    }
}

// Those that are wrong take seconds, one after the other.
TEST_F(WebSecurity, HashesBesideTheServer)
{
    folder_.Write("web.yml", "basic_auth_users:\n  p: " + HashOf("right", 12) + "\n");
    Start();
    EXPECT_THAT(Get(server_->Address(), "/", kRightPassword), HasSubstr("good"));
    std::vector<Client> wrong;
    for (int i = 0; i < 32; ++i) {
        wrong.emplace_back(server_->Address());
        wrong.back().Send(Request("p:wrong" + std::to_string(i)));
    }
    EXPECT_EQ(StatusLine(wrong[31].Answer()), "HTTP/1.1 503 Service Unavailable") << "only 16 wait";
    EXPECT_THAT(Get(server_->Address(), "/", kRightPassword), HasSubstr("good"));
    EXPECT_FALSE(wrong[15].HasNews()) << "the right one waited for the wrong ones";
    EXPECT_EQ(StatusLine(wrong[0].Answer()), "HTTP/1.1 401 Unauthorized");
    server_->Stop();
    EXPECT_EQ(StatusLine(wrong[15].UntilClosed()), "HTTP/1.1 503 Service Unavailable");
}

// One hash for all of them: with one each, these would take more than the queue holds.
TEST_F(WebSecurity, HashesOnceForManyRequestsWithOnePassword)
{
    folder_.Write("web.yml", "basic_auth_users:\n  p: " + HashOf("right", 9) + "\n");
    Start();
    std::vector<Client> scrapers;
    for (int i = 0; i < 50; ++i) {
        scrapers.emplace_back(server_->Address());
        scrapers.back().Send(Request("p:right"));
    }
    for (Client& each : scrapers) {
        EXPECT_EQ(StatusLine(each.Answer()), "HTTP/1.1 200 OK");
    }
}

TEST_F(WebSecurity, SaysAtTheStartWhatIsWrongWithItsFiles)
{
    const auto complaint = [this] {
        try {
            ReadWebSettings(folder_.Path("web.yml"));
        } catch (const BadWebConfig& mistake) {
            return std::string(mistake.what());
        }
        return std::string("none");
    };
    EXPECT_EQ(complaint(),
              "cannot read " + folder_.Path("web.yml") + ": No such file or directory");
    folder_.Write("web.yml", kTls);
    EXPECT_EQ(complaint(),
              "cannot read " + folder_.Path("server.crt") + ": No such file or directory");
    const Identity identity = MakeIdentity({});
    folder_.WriteIdentity("server", identity);
    EXPECT_EQ(complaint(), "none");
    folder_.Write("server.crt", "no certificate");
    EXPECT_THAT(complaint(), HasSubstr("certificate " + folder_.Path("server.crt")));
    folder_.Write("server.crt", identity.Pem() + std::string(1'100'000, '\n'));
    EXPECT_THAT(complaint(), HasSubstr("it has more than 1048576 bytes"));
    folder_.Write("server.crt", identity.Pem());
    folder_.Write("web.yml", std::string(kTls) +
                                 "  client_auth_type: RequireAndVerifyClientCert\n"
                                 "  client_ca_file: ca.crt\n");
    folder_.Write("ca.crt", "nothing");
    EXPECT_THAT(complaint(), HasSubstr("client_ca_file " + folder_.Path("ca.crt")));
    mkfifo(folder_.Path("pipe").c_str(), 0600);
    std::filesystem::rename(folder_.Path("pipe"), folder_.Path("ca.crt"));
    EXPECT_THAT(complaint(), HasSubstr("it is no regular file"));
    HttpServerOptions options;
    options.listenAddress = "127.0.0.1:0";
    options.webConfigFile = folder_.Path("web.yml");
    EXPECT_THROW(HttpServer(options, [](const HttpRequest&, const Respond&) {}), BadWebConfig);
}

TEST_F(WebSecurity, HintsAtFilesThatEverybodyReads)
{
    folder_.WriteIdentity("server", MakeIdentity({}));
    folder_.Write("web.yml",
                  std::string(kTls) + "basic_auth_users:\n  p: " + HashOf("right") + "\n");
    EXPECT_THAT(ReadWebSettings(folder_.Path("web.yml")).hints, IsEmpty());
    chmod(folder_.Path("server.key").c_str(), 0644);
    chmod(folder_.Path("web.yml").c_str(), 0644);
    EXPECT_THAT(
        ReadWebSettings(folder_.Path("web.yml")).hints,
        ElementsAre(HasSubstr("can read the hashes of passwords"), HasSubstr("can read the key")));
}

}  // namespace
}  // namespace Tulvo::Exporter
