// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "apps/vkt_exporter/log_lines.h"
#include "tests/fleet/temporary_folder.h"
#include "tests/vktinventory_command/fake_enclosure.h"

namespace {

using namespace Tulvo;
using namespace Tulvo::Exporter;
using Fleet::TemporaryFolder;
using Test::FakeEnclosure;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// An exporter of a fleet file, with enclosures that a test scripts. They take one password.
class ServiceOfATest : public testing::Test
{
protected:
    ServiceOfATest()
    {
        StartLogging(LogLevel::kError);
        FakeEnclosure::Current() = FakeEnclosure::Healthy();
        FakeEnclosure::Current().onRead = [this] { LogIn(); };
        folder_.Write("password", "secret\n");
        folder_.Write("command", "secret\n");
        WriteFleet("enc1");
    }

    ~ServiceOfATest() override
    {
        service_.reset();
        SetLogSink(nullptr);
    }

    void WriteFleet(const std::string& host, const std::string& labels = R"({ rack = "1" })") const
    {
        folder_.Write("fleet.toml",
                      "[defaults]\n"
                      "user = \"monitor\"\n"
                      "password-file = \"password\"\n"
                      "[[group]]\n"
                      "name = \"row\"\n"
                      "hosts = [\"" +
                          host + "\", \"[::1]:624\"]\nlabels = " + labels +
                          "\n"
                          "[[host]]\n"
                          "name = \"alone\"\n"
                          "password-command = \"cat " +
                          folder_.Path("command") + "\"\n");
    }

    void Start(ServiceOptions options = {})
    {
        const auto load = [path = folder_.Path("fleet.toml")](const std::stop_token& stop) {
            return ConfigurationOf(LoadFleet(path), stop);
        };
        auto first = load({});
        ASSERT_TRUE(std::holds_alternative<SharedConfiguration>(first))
            << std::get<Fleet::Mistakes>(first).front().message;
        service_ = std::make_unique<Service>(options,
                                             std::get<SharedConfiguration>(std::move(first)), load);
    }

    HttpResponse AnswerTo(const HttpRequest& request)
    {
        auto answer = std::make_shared<std::promise<HttpResponse>>();
        service_->Handle(
            request, [answer](HttpResponse response) { answer->set_value(std::move(response)); });
        return answer->get_future().get();
    }

    HttpResponse Ask(const std::string& method, const std::string& path,
                     const std::vector<std::pair<std::string, std::string>>& query = {})
    {
        return AnswerTo({method, path, query, {}});
    }

    /// Of enc1, within so many seconds.
    std::string ProbeIn(const std::string& seconds, const std::string& debug)
    {
        return AnswerTo({"GET",
                         "/probe",
                         {{"target", "enc1"}, {"debug", debug}},
                         {{"X-Prometheus-Scrape-Timeout-Seconds", seconds}}})
            .body;
    }

    std::string Probe(const std::string& target)
    {
        return Ask("GET", "/probe", {{"target", target}}).body;
    }

    Fleet::Mistakes Reload()
    {
        std::promise<Fleet::Mistakes> done;
        service_->Reload([&done](const Fleet::Mistakes& mistakes) { done.set_value(mistakes); });
        return done.get_future().get();
    }

    /// As a module does it that knows one password.
    void LogIn()
    {
        FakeEnclosure& fake = FakeEnclosure::Current();
        LogInGate& gate = *fake.limits.gate;
        fake.record = FakeEnclosure::Healthy().record;
        if (const auto closed = gate.Closed()) {
            return fake.Refuse(*closed);
        }
        ++logIns_;
        gate.Enter(std::chrono::steady_clock::now(), {});
        const bool accepted = fake.asked->password == accepted_;
        gate.Leave(accepted ? LogInGate::End::kAccepted : LogInGate::End::kRefused);
        if (!accepted) {
            fake.Refuse({Cause::kRefused, "wrong password", "", {}});
        }
    }

    const TemporaryFolder folder_;
    std::string accepted_ = "secret";
    int logIns_ = 0;
    std::unique_ptr<Service> service_;
};

struct StatusRow
{
    std::string method;
    std::string path;
    std::vector<std::pair<std::string, std::string>> query;
    int status;
    std::string said;
};

TEST_F(ServiceOfATest, SaysWhatIsWrongWithARequestAndWhatToDo)
{
    Start();
    for (const StatusRow& row : {
             StatusRow{"GET", "/nothing\r\n", {}, 404, R"(no /nothing\x0d\x0a here; / lists)"},
             StatusRow{"POST", "/probe", {}, 405, "/probe is asked for with GET"},
             StatusRow{"GET", "/-/reload", {}, 405, "/-/reload is asked for with POST"},
             StatusRow{"POST", "/-/reload", {}, 403, "--web.enable-lifecycle"},
             StatusRow{"GET", "/probe", {}, 400, "no target"},
             StatusRow{
                 "GET", "/probe", {{"target", "enc2"}}, 400, "\"enc2\" is no host of the fleet"},
             StatusRow{"GET", "/probe", {{"target", "enc1:623"}}, 400, "is no host of the fleet"},
             StatusRow{"GET", "/probe", {{"target", "::1"}}, 400, "is no host of the fleet"},
             StatusRow{"GET", "/probe", {{"target", "http://enc1/"}}, 400, "is no host"},
             StatusRow{"GET", "/probe", {{"target", "enc1\r\nX: y"}}, 400, R"(enc1\x0d\x0aX: y)"},
             StatusRow{"GET", "/probe", {{"target", "\xff"}}, 400, R"("\xff" is no host)"},
             StatusRow{
                 "GET", "/probe", {{"target", "enc1"}, {"collect[]", "x"}}, 400, "no section"},
             StatusRow{"GET", "/-/healthy", {}, 200, "healthy"},
             StatusRow{"HEAD", "/-/ready", {}, 200, "ready"},
         }) {
        SCOPED_TRACE(row.path);
        const HttpResponse response = Ask(row.method, row.path, row.query);
        EXPECT_EQ(response.status, row.status);
        EXPECT_THAT(response.body, HasSubstr(row.said));
        EXPECT_EQ(response.body.find('\n'), response.body.size() - 1);
        EXPECT_EQ(response.contentType, "text/plain; charset=utf-8");
        EXPECT_EQ(response.headers.empty(), row.status != 405);
    }
    EXPECT_EQ(logIns_, 0);
}

TEST_F(ServiceOfATest, GivesTheMetricsOfTheTarget)
{
    Start();
    const HttpResponse response = Ask("GET", "/probe", {{"target", "[::1]:624"}});
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.contentType, "text/plain; version=0.0.4");
    EXPECT_THAT(response.body,
                AllOf(HasSubstr("vkt_up 1\n"), HasSubstr("vkt_power_average 400\n")));
    const FakeEnclosure& fake = FakeEnclosure::Current();
    EXPECT_EQ(fake.asked->host, "::1");
    EXPECT_EQ(fake.asked->port, 624);
    EXPECT_EQ(fake.asked->user, "monitor");
    EXPECT_GT(fake.limits.deadline, std::chrono::seconds(5));
    EXPECT_LE(fake.limits.deadline, std::chrono::milliseconds(9500));
}

TEST_F(ServiceOfATest, ShowsTheLogOfAReadButNoSecret)
{
    accepted_ = "other";
    Start();
    const HttpResponse response = Ask("GET", "/probe", {{"target", "enc1"}, {"debug", "true"}});
    EXPECT_EQ(response.contentType, "text/plain; charset=utf-8");
    EXPECT_THAT(response.body,
                AllOf(HasSubstr("Log of reading enc1:\ntime="), HasSubstr("wrong password"),
                      HasSubstr("\nMetrics of this read:\n# HELP vkt_up"),
                      HasSubstr("\nvkt_up 0\n"), Not(HasSubstr("secret"))));
}

TEST_F(ServiceOfATest, SaysThatTheTimeOfAScrapeWasOverBeforeTheEndOfAnother)
{
    std::promise<void> begun;
    std::promise<void> goOn;
    FakeEnclosure::Current().onRead = [&] {
        begun.set_value();
        goOn.get_future().wait();
    };
    Start();
    auto first = std::async(std::launch::async, [this] { return Probe("enc1"); });
    begun.get_future().wait();
    EXPECT_THAT(ProbeIn("0.1", "false"),
                AllOf(HasSubstr("vkt_up 0\n"), HasSubstr("vkt_not_read{cause=\"timedOut\"} 1\n")));
    EXPECT_THAT(ProbeIn("0.1", "true"),
                HasSubstr("Log of reading enc1:\nthe time for this scrape was over before"));
    goOn.set_value();
    EXPECT_THAT(first.get(), HasSubstr("vkt_up 1\n"));
}

TEST_F(ServiceOfATest, ListsTheFleetForDiscovery)
{
    Start();
    const HttpResponse response = Ask("GET", "/sd");
    EXPECT_EQ(response.contentType, "application/json");
    EXPECT_EQ(nlohmann::json::parse(response.body), nlohmann::json::parse(R"([
        {"targets": ["enc1", "[::1]:624"], "labels": {"__meta_vkt_group": "row", "rack": "1"}},
        {"targets": ["alone"], "labels": {"__meta_vkt_group": ""}}])"));
}

TEST_F(ServiceOfATest, LeavesATargetAloneThatRefusedUntilItsPasswordChanges)
{
    accepted_ = "new";
    Start();
    EXPECT_THAT(Probe("enc1"), AllOf(HasSubstr("vkt_up 0\n"),
                                     ContainsRegex("vkt_not_read.cause=\"refused\". [1-9]")));
    EXPECT_THAT(Probe("enc1"), AllOf(HasSubstr("vkt_up 0\n"),
                                     ContainsRegex("vkt_not_read.cause=\"refused\". [1-9]")));
    EXPECT_EQ(logIns_, 1);
    EXPECT_TRUE(Reload().empty());
    Probe("enc1");
    EXPECT_EQ(logIns_, 1);  // nothing has changed
    folder_.Write("password", "new\n");
    EXPECT_THAT(Probe("enc1"), HasSubstr("vkt_up 1\n"));
    EXPECT_THAT(Ask("GET", "/metrics").body,
                AllOf(HasSubstr("vkt_exporter_log_ins_total{cause=\"refused\"} 1\n"),
                      HasSubstr("vkt_exporter_log_ins_total{cause=\"none\"} 1\n")));
}

TEST_F(ServiceOfATest, RunsAPasswordCommandAgainWhenItsPasswordWasRefused)
{
    Start();
    EXPECT_THAT(Probe("alone"), HasSubstr("vkt_up 1\n"));
    folder_.Write("command", "new\n");
    EXPECT_THAT(Probe("alone"), HasSubstr("vkt_up 1\n"));  // not run at each scrape
    accepted_ = "new";
    EXPECT_THAT(Probe("alone"), HasSubstr("vkt_up 0\n"));
    WriteFleet("enc1", "no table");
    EXPECT_FALSE(Reload().empty());  // what was posted before it is done
    EXPECT_THAT(Probe("alone"), HasSubstr("vkt_up 1\n"));
}

TEST_F(ServiceOfATest, GoesOnWithThePasswordWhoseCommandFails)
{
    Start();
    accepted_ = "new";
    EXPECT_THAT(Probe("alone"), HasSubstr("vkt_up 0\n"));
    std::filesystem::remove(folder_.Path("command"));
    std::filesystem::remove(folder_.Path("fleet.toml"));
    EXPECT_FALSE(Reload().empty());
    accepted_ = "secret";
    EXPECT_THAT(Probe("enc1"), HasSubstr("vkt_up 1\n"));
}

struct ReloadRow
{
    const char* what;
    std::string labels;
    std::string said;
};

TEST_F(ServiceOfATest, KeepsTheOldFilesOnAnyMistakeInTheNewOnes)
{
    ServiceOptions options;
    options.enableLifecycle = true;
    Start(options);
    const std::string old = Ask("GET", "/sd").body;
    for (const ReloadRow& row : {
             ReloadRow{"no TOML", "{", "fleet.toml"},
             ReloadRow{"Prometheus' own", R"({ job = "x" })", "job has a meaning of its own"},
             ReloadRow{"a label of ours", R"({ psu = "x" })", "psu has a meaning of its own"},
             ReloadRow{"another one", R"({ serial_number = "x" })", "serial_number has a meaning"},
             ReloadRow{"reserved", R"({ __address__ = "x" })", "__address__ has a meaning"},
         }) {
        SCOPED_TRACE(row.what);
        WriteFleet("new", row.labels);
        const HttpResponse response = Ask("POST", "/-/reload");
        EXPECT_EQ(response.status, 500);
        EXPECT_THAT(response.body,
                    AllOf(HasSubstr("the old files stay in use: "), HasSubstr(row.said)));
        EXPECT_EQ(Ask("GET", "/sd").body, old);
        EXPECT_THAT(Ask("GET", "/metrics").body,
                    HasSubstr("vkt_exporter_config_last_reload_successful 0\n"));
    }
    std::filesystem::remove(folder_.Path("fleet.toml"));
    EXPECT_EQ(Ask("POST", "/-/reload").status, 500);
    folder_.Write("fleet.toml", "[defaults]\nuser = \"monitor\"\n");
    EXPECT_THAT(Ask("POST", "/-/reload").body, HasSubstr("fleet.toml: has no host; name one"));
    EXPECT_THAT(Probe("enc1"), HasSubstr("vkt_up 1\n"));
    WriteFleet("new");
    EXPECT_EQ(Ask("POST", "/-/reload").status, 200);
    EXPECT_THAT(Ask("GET", "/metrics").body,
                AllOf(HasSubstr("vkt_exporter_config_last_reload_successful 1\n"),
                      HasSubstr("vkt_exporter_targets 3\n")));
    EXPECT_EQ(Ask("GET", "/probe", {{"target", "enc1"}}).status, 400);
    EXPECT_THAT(Probe("new"), HasSubstr("vkt_up 1\n"));
}

TEST_F(ServiceOfATest, ReadsTheFilesOnceForAllThatAskBeforeItBegins)
{
    int loads = 0;
    std::promise<void> begun;
    std::promise<void> goOn;
    Service service(
        {}, std::get<SharedConfiguration>(ConfigurationOf(LoadFleet(folder_.Path("fleet.toml")))),
        [&](const std::stop_token& stop) {
            if (++loads == 1) {
                begun.set_value();
                goOn.get_future().wait();
            }
            return ConfigurationOf(LoadFleet(folder_.Path("fleet.toml")), stop);
        });
    std::promise<void> all;
    int answered = 0;  // by one thread
    const auto reloaded = [&](const Fleet::Mistakes& mistakes) {
        EXPECT_TRUE(mistakes.empty());
        if (++answered == 100) {
            all.set_value();
        }
    };
    service.Reload(reloaded);
    begun.get_future().wait();
    for (int more = 1; more < 100; ++more) {
        service.Reload(reloaded);
    }
    goOn.set_value();
    all.get_future().wait();
    EXPECT_EQ(loads, 2);
}

TEST_F(ServiceOfATest, SaysWhichPasswordFileIsMissing)
{
    Start();
    std::filesystem::remove(folder_.Path("password"));
    EXPECT_THAT(Probe("enc1"),
                AllOf(HasSubstr("vkt_up 0\n"), HasSubstr("vkt_not_read{cause=\"local\"} 1\n")));
    EXPECT_EQ(logIns_, 0);
    folder_.Write("password", "secret\n");
    EXPECT_THAT(Probe("enc1"), HasSubstr("vkt_up 1\n"));
}

TEST_F(ServiceOfATest, LogsOnceThatAPasswordFileIsBadAndOnceThatItIsGoodAgain)
{
    std::vector<std::string> logged;
    SetLogLevel(3);
    SetLogSink(
        [&logged](const LogRecord& record) { logged.push_back(record.target + record.text); });
    Start();
    const auto scrapeAll = [this] {
        for (const char* target : {"enc1", "[::1]:624", "alone", "enc1"}) {
            Probe(target);
        }
    };
    const std::string path = folder_.Path("password");
    std::filesystem::remove(path);
    scrapeAll();
    EXPECT_THAT(logged, ElementsAre(AllOf(StartsWith(folder_.Path("fleet.toml") + ":3: "),
                                          HasSubstr(path + " cannot be read: No such file"))));
    logged.clear();
    folder_.Write("password", "");
    scrapeAll();
    EXPECT_THAT(logged, ElementsAre(HasSubstr(path + " is empty")));
    logged.clear();
    folder_.Write("password", "secret\n");
    scrapeAll();
    EXPECT_THAT(logged, ElementsAre("the password file " + path + " is good again"));
    logged.clear();
    std::filesystem::remove(path);
    scrapeAll();
    EXPECT_THAT(logged, ElementsAre(HasSubstr("No such file")));
    service_.reset();
    SetLogSink(nullptr);
}

TEST_F(ServiceOfATest, AnswersNoProbeAfterItsEnd)
{
    Start();
    EXPECT_TRUE(service_->Stop(std::chrono::seconds(60)));
    EXPECT_EQ(Ask("GET", "/probe", {{"target", "enc1"}}).status, 503);
}

}  // namespace
