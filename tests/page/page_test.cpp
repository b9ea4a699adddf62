// SPDX-License-Identifier: Apache-2.0
// What a page is made of, what is refused, and where the page goes. What a browser makes of it is
// another test's.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/vktinventory/page/bad_input.h"
#include "apps/vktinventory/page/readings.h"
#include "apps/vktinventory/page/render_page.h"
#include "tests/support/temporary_directory.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using Cli::Entry;
using Cli::ExitCode;
using Cli::Status;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

json Reading(const std::string& host, const std::string& status = "ok")
{
    return {{"schemaVersion", 2},
            {"time", "2026-11-21T19:07:03Z"},
            {"host", host},
            {"group", nullptr},
            {"labels", json::object()},
            {"module", {{"powerSupplyCount", 2}, {"nodeCount", 4}}},
            {"complete", true},
            {"error", nullptr},
            {"health", {{"status", status}, {"findings", json::array()}}},
            {"notRead", json::array()}};
}

void AddFinding(json& reading, const std::string& severity, const std::string& message)
{
    reading["health"]["findings"].push_back(
        {{"severity", severity}, {"object", "Chassis"}, {"message", message}});
}

std::vector<std::string> HostsOf(const std::string& text)
{
    std::vector<std::string> hosts;
    for (const Entry& entry : Cli::ReadingsIn(text, "file")) {
        hosts.push_back(entry.host);
    }
    return hosts;
}

TEST(PageReadings, AreAnObjectAnArrayOrLines)
{
    const std::string a = Reading("a").dump();
    const std::string b = Reading("b").dump();
    EXPECT_THAT(HostsOf(a), ElementsAre("a"));
    EXPECT_THAT(HostsOf(Reading("a").dump(2)), ElementsAre("a"));
    EXPECT_THAT(HostsOf(json::array({Reading("a"), Reading("b")}).dump(2)), ElementsAre("a", "b"));
    EXPECT_THAT(HostsOf(a + "\n" + b + "\n"), ElementsAre("a", "b"));
    EXPECT_THAT(HostsOf("\xEF\xBB\xBF" + a + "\r\n\r\n" + b), ElementsAre("a", "b"));
    EXPECT_THAT(HostsOf(Reading("a").dump(2) + "\n" + Reading("b").dump(2)), ElementsAre("a", "b"));
    EXPECT_THAT(HostsOf(json::array({Reading("a")}).dump() + json::array({Reading("b")}).dump()),
                ElementsAre("a", "b"));
}

TEST(PageReadings, MayHoldBracketsAndQuotesInTexts)
{
    EXPECT_THAT(HostsOf(Reading("]}\"\\").dump() + "\n" + Reading("[{").dump()),
                ElementsAre("]}\"\\", "[{"));
}

json Without(const std::string& member)
{
    json reading = Reading("enc001");
    reading.erase(member);
    return reading;
}

json With(const std::string& pointer, const json& value)
{
    json reading = Reading("enc001");
    reading[json::json_pointer(pointer)] = value;
    return reading;
}

TEST(PageReadings, AreRefusedWithPlaceAndReason)
{
    struct Case
    {
        std::string text;
        std::string message;
    };
    const std::string good = Reading("a").dump();
    const Case cases[] = {
        {"", "file: holds no enclosure"},
        {" \n\t\n", "file: holds no enclosure"},
        {"[]", "file: holds no enclosure"},
        {"{\"a\": ", "file, line 1, column 7: this is no JSON: "},
        {good + "\n{\"a\" 1}", "file, line 2, column 6: this is no JSON: "},
        {"[" + good, "this is no JSON: "},
        {good + "\nError: no route\n", "file, line 2, column 1: this is no JSON: "},
        {good + "]", "this is no JSON: "},
        {"{\"host\": \"\xFF\"}", "this is no JSON: "},
        {"3", "file, line 1, column 1: this is no object"},
        {good + "\n\"text\"", "file, line 2, column 1: this is no object"},
        {"[" + good + ", 3]", "file, element 2 of the array: this is no object"},
        {"{}", "file, line 1, column 1: this has no \"schemaVersion\""},
        {With("/schemaVersion", 1).dump(), "\"schemaVersion\" is 1, and this vktinventory knows 2"},
        {With("/schemaVersion", 3).dump(), "\"schemaVersion\" is 3, and this vktinventory knows 2"},
        {With("/schemaVersion", "2").dump(), "\"schemaVersion\" is \"2\""},
        {Without("host").dump(), "its \"host\" is missing"},
        {Without("time").dump(), "its \"time\" is missing"},
        {Without("health").dump(), "its \"health.status\" is missing"},
        {Without("notRead").dump(), "its \"notRead\" is missing"},
        {With("/host", 1).dump(), "its \"host\" is not a text"},
        {With("/health/status", "good").dump(), "\"health.status\" is not ok, warning, unknown or"},
        {With("/health/findings", "none").dump(), "\"health.findings\" is not a list"},
        {std::string(100'000, '['), "file, line 1, column 33: nested too deeply"},
        {"{\"a\":" + std::string(100'000, '['), "nested too deeply"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.text.substr(0, 80));
        try {
            Cli::ReadingsIn(one.text, "file");
            ADD_FAILURE() << "was taken";
        } catch (const Cli::BadInput& reason) {
            EXPECT_THAT(reason.what(), HasSubstr(one.message));
            EXPECT_THAT(reason.what(), testing::StartsWith("file"));
        }
    }
}

TEST(PageReadings, MayBeOfAnyCommandAndOfLaterVersions)
{
    json reading = Reading("a");
    reading["power"] = "no object";
    reading["nodes"] = {1, nullptr, {{"powerState", "on"}}, {{"powerState", 3}}};
    reading["powerSupplies"] = nullptr;
    reading["error"] = {{"message", 3}};
    reading["somethingNew"] = {1, 2};
    const std::vector<Entry> entries = Cli::ReadingsIn(reading.dump(), "file");
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_FALSE(entries[0].averagePower);
    EXPECT_FALSE(entries[0].suppliesPresent);
    ASSERT_TRUE(entries[0].nodesOn);
    EXPECT_EQ(entries[0].nodesOn->part, 1U);
    EXPECT_EQ(entries[0].nodesOn->whole, 2U);
    EXPECT_EQ(json::parse(entries[0].json), reading);
}

TEST(PageReadings, OfOneHostTheNewestStays)
{
    const auto at = [](const std::string& host, const std::string& time,
                       const std::string& status) {
        json reading = Reading(host, status);
        reading["time"] = time;
        return reading;
    };
    std::vector<Entry> entries = Cli::ReadingsIn(
        json{at("a", "2026-11-21T19:00:00Z", "ok"), at("b", "2026-11-21T19:00:00Z", "ok"),
             at("a", "2026-11-21T20:00:00Z", "critical"),
             at("a", "2026-11-21T18:00:00Z", "warning"), at("b", "2026-11-21T19:00:00Z", "unknown")}
            .dump(),
        "file");
    EXPECT_EQ(Cli::KeepNewest(entries), 3U);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].host, "a");
    EXPECT_EQ(entries[0].status, Status::kCritical);
    EXPECT_EQ(entries[1].status, Status::kUnknown);  // the later one of the same second
}

std::string PageOf(const json& readings)
{
    return Cli::RenderPage(Cli::ReadingsIn(readings.dump(), "file"));
}

/// What stands between the first of one and the next of the other.
std::string Between(const std::string& text, const std::string& begin, const std::string& end)
{
    const std::size_t from = text.find(begin) + begin.size();
    return text.substr(from, text.find(end, from) - from);
}

std::vector<std::string> LinksOf(const std::string& page)
{
    std::vector<std::string> links;
    std::size_t at = 0;
    while ((at = page.find("<a href=\"#", at)) != std::string::npos) {
        at += 10;
        links.push_back(page.substr(at, page.find('"', at) - at));
    }
    return links;
}

TEST(Page, HasTheWorstFirstAndEqualOnesInTheirOrder)
{
    json two = Reading("two", "critical");
    AddFinding(two, "critical", "is hot");
    AddFinding(two, "critical", "is wet");
    AddFinding(two, "warning", "is old");
    json one = Reading("one", "critical");
    AddFinding(one, "critical", "is hot");
    EXPECT_THAT(LinksOf(PageOf({Reading("b"), Reading("warn", "warning"), one,
                                Reading("dark", "unknown"), Reading("a"), two})),
                ElementsAre("two", "one", "dark", "warn", "b", "a"));
}

TEST(Page, LinksToAHostPercentEncoded)
{
    EXPECT_THAT(
        LinksOf(PageOf(
            {Reading("[2001:db8::1]:623"), Reading("caf\xC3\xA9 \"<"), Reading("a-_.!~*'()z09")})),
        ElementsAre("%5B2001%3Adb8%3A%3A1%5D%3A623", "caf%C3%A9%20%22%3C", "a-_.!~*'()z09"));
}

TEST(Page, HoldsTheReadingsInAsciiAndWithoutALessThanSign)
{
    json reading = Reading("</script><!--");
    reading["identity"] = {{"name", "\xE2\x80\xA8 < \x7F"}};
    const std::string page = PageOf(reading);
    const std::string island = Between(page, "id=\"readings\">", "</script>");
    EXPECT_EQ(json::parse(island), json::array({reading}));
    EXPECT_THAT(island, Not(HasSubstr("<")));
    EXPECT_TRUE(
        std::all_of(island.begin(), island.end(), [](char c) { return c >= '\n' && c < 0x7F; }));
}

TEST(Page, ShowsTextsOfOthersAsTexts)
{
    json reading = Reading("<b>&\"'", "critical");
    reading["group"] = "\"><script>";
    AddFinding(reading, "critical", "<img src=x>\x01\x7F\xC2\x85\n");
    const std::string rows = Between(PageOf(reading), "<tbody>", "</tbody>");
    EXPECT_THAT(rows, HasSubstr("<bdi>&lt;b&gt;&amp;&quot;'</bdi>"));
    EXPECT_THAT(rows, HasSubstr("data-group=\"&quot;&gt;&lt;script&gt;\""));
    EXPECT_THAT(rows,
                HasSubstr("&lt;img src=x&gt;\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"));
}

TEST(Page, BeginsItsHeadWithAPolicyThatAllowsNothingButItsOwnScriptAndStyle)
{
    EXPECT_THAT(PageOf(Reading("a")),
                testing::ContainsRegex(
                    "<head>\n<meta http-equiv=\"Content-Security-Policy\" content=\"default-src "
                    "'none'; script-src 'sha256-[A-Za-z0-9+/]{43}='; style-src "
                    "'sha256-[A-Za-z0-9+/]{43}='; base-uri 'none'; form-action 'none'\">"));
}

TEST(Page, LeavesNoMarkAndNoStyleAttribute)
{
    const std::string page = PageOf(Reading("a"));
    EXPECT_THAT(page.substr(page.find("<html")), Not(HasSubstr("<!--")));
    EXPECT_THAT(page, Not(HasSubstr("style=")));
}

TEST(Page, SaysWhyAnEnclosureWasNotReadAndNotTwice)
{
    json reading = Reading("a", "unknown");
    reading["module"] = {{"powerSupplyCount", nullptr}};
    reading["error"] = {{"cause", "timedOut"}, {"message", "no answer"}};
    AddFinding(reading, "unknown", "could not be read: no answer");
    const std::string rows = Between(PageOf(reading), "<tbody>", "</tbody>");
    EXPECT_THAT(rows, HasSubstr("<li><bdi>Not read: no answer</bdi></li>"));
    EXPECT_THAT(rows, Not(HasSubstr("could not be read")));
}

// The command.

class PageCommand : public testing::Test
{
protected:
    PageCommand() { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    std::string Path(const std::string& name) const { return directory_.Path() / name; }
    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(Path(name)) << text;
        return Path(name);
    }
    static std::string Content(const std::string& file)
    {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }
    std::size_t Files() const
    {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(directory_.Path()),
                          std::filesystem::directory_iterator()));
    }

private:
    TemporaryDirectory directory_;
};

TEST_F(PageCommand, ReadsAnEnclosure)
{
    const Ran ran = RunConnected({"page"});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_THAT(LinksOf(ran.out), ElementsAre("10.0.0.5"));
    EXPECT_THAT(ran.error, IsEmpty());
    EXPECT_EQ(FakeEnclosure::Current().scope.sections, Enclosures::kEverything);
}

TEST_F(PageCommand, MakesAPageOfAnEnclosureThatCouldNotBeRead)
{
    FakeEnclosure::Current().Refuse({Cause::kTimedOut, "no answer", "", {}});
    const Ran ran = RunConnected({"page", "-o", Path("page.html")});
    EXPECT_EQ(ran.code, ExitCode::kNoConnection);
    EXPECT_THAT(ran.error, HasSubstr("no answer"));
    EXPECT_THAT(Content(Path("page.html")), HasSubstr("Not read: no answer"));
}

TEST_F(PageCommand, MakesOnePageOfManyEnclosures)
{
    const Ran ran = RunCommand({"-H", "enc[001-020]", "-U", "admin", "-P", "secret", "page"});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    std::vector<std::string> hosts;
    for (int i = 1; i <= 20; ++i) {
        hosts.push_back(i < 10 ? "enc00" + std::to_string(i) : "enc0" + std::to_string(i));
    }
    EXPECT_THAT(LinksOf(ran.out), testing::ElementsAreArray(hosts));
    EXPECT_THAT(ran.out, testing::StartsWith("<!DOCTYPE html>"));
}

TEST_F(PageCommand, MakesItAnewInEachRound)
{
    int read = 0;
    FakeEnclosure::Current().onRead = [&] { ++read; };
    const Ran ran = RunConnected({"--every", "1", "--count", "2", "page", "-o", Path("page.html")});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_EQ(read, 2);
    EXPECT_THAT(ran.out, IsEmpty());
    EXPECT_THAT(Content(Path("page.html")), testing::StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(LinksOf(Content(Path("page.html"))), ElementsAre("10.0.0.5"));
    EXPECT_THAT(RunConnected({"--every", "1", "page"}).error,
                HasSubstr("name the file that it is: -o FILE"));
}

TEST_F(PageCommand, TakesAFileAndAsksNobody)
{
    const std::string file = Write("readings.json", Reading("enc001").dump());
    const Ran ran = RunCommand({"page", "--from", file, "-o", Path("page.html")});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_THAT(ran.out + ran.error, IsEmpty());
    EXPECT_THAT(LinksOf(Content(Path("page.html"))), ElementsAre("enc001"));
    EXPECT_FALSE(FakeEnclosure::Current().asked);
    EXPECT_EQ(RunCommand({"page", "--from", file, "-o", "-"}).out, Content(Path("page.html")));
}

TEST_F(PageCommand, SaysThatOlderReadingsAreLeftOut)
{
    const std::string file =
        Write("readings.json", json::array({Reading("a"), Reading("a")}).dump());
    const Ran ran = RunCommand({"page", "--from", file});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_THAT(ran.error, HasSubstr("left out: 1"));
}

TEST_F(PageCommand, LeavesWhatWasThereWhenTheInputIsBad)
{
    const std::string page = Write("page.html", "old");
    for (const std::string& input :
         {Write("bad.json", "{"), Write("empty.json", ""), Path("none.json"), Path("")}) {
        const Ran ran = RunCommand({"page", "--from", input, "-o", page});
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage) << input;
        EXPECT_THAT(ran.error, HasSubstr(input));
        EXPECT_EQ(Content(page), "old");
    }
}

TEST_F(PageCommand, ReplacesAFileAtOnceAndKeepsItsMode)
{
    const std::string input = Write("readings.json", Reading("enc001").dump());
    const std::string page = Write("page.html", "old");
    std::filesystem::permissions(page, std::filesystem::perms{0640});
    std::filesystem::create_symlink(page, Path("link.html"));
    std::ifstream opened(page);
    EXPECT_EQ(RunCommand({"page", "--from", input, "-o", Path("link.html")}).code,
              ExitCode::kEverythingRead);
    std::string before;
    opened >> before;
    EXPECT_EQ(before, "old");
    EXPECT_THAT(LinksOf(Content(page)), ElementsAre("enc001"));
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link.html")));
    EXPECT_EQ(std::filesystem::status(page).permissions(), std::filesystem::perms{0640});
    EXPECT_EQ(Files(), 3U);
}

TEST_F(PageCommand, GivesANewFileTheUsualMode)
{
    const std::string input = Write("readings.json", Reading("enc001").dump());
    const mode_t mask = umask(027);
    RunCommand({"page", "--from", input, "-o", Path("page.html")});
    umask(mask);
    EXPECT_EQ(std::filesystem::status(Path("page.html")).permissions(),
              std::filesystem::perms{0640});
}

TEST_F(PageCommand, SaysWhyThePageCannotBeWritten)
{
    const std::string input = Write("readings.json", Reading("enc001").dump());
    const std::string page = Path("no/such/folder.html");
    const Ran ran = RunCommand({"page", "--from", input, "-o", page});
    EXPECT_EQ(ran.code, ExitCode::kOutputFailed);
    EXPECT_THAT(ran.error, HasSubstr("the page cannot be written to " + page + ": No such file"));
    EXPECT_EQ(RunCommand({"page", "--from", input, "-o", Path("")}).code, ExitCode::kOutputFailed);
    EXPECT_EQ(Files(), 1U);
}

TEST_F(PageCommand, WritesToADeviceInPlace)
{
    const std::string input = Write("readings.json", Reading("enc001").dump());
    EXPECT_EQ(RunCommand({"page", "--from", input, "-o", "/dev/null"}).code,
              ExitCode::kEverythingRead);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_EQ(RunCommand({"page", "--from", input, "-o", "/dev/full"}).code,
              ExitCode::kOutputFailed);
}

TEST_F(PageCommand, RefusesFlagsOfAnotherUse)
{
    struct Case
    {
        std::vector<std::string> words;
        std::string message;
    };
    const Case cases[] = {
        {{"page"}, "-H HOST is missing"},
        {{"show", "-H", "a", "-o", "f"}, "-o"},
        {{"-H", "a", "--from", "f"}, "--from"},
        {{"page", "--from", "f", "-H", "a"}, "does not go with --from"},
        {{"page", "--from", "f", "-C", "3"}, "does not go with --from"},
        {{"page", "--from", "f", "--format", "json"}, "does not go with page"},
        {{"page", "-H", "a", "--format", "json"}, "does not go with page"},
        {{"page", "--from", "f", "--all"}, "does not go with --from"},
        {{"page", "--from", "f", "-o", "g", "--every", "1"}, "does not go with --from"},
        {{"page", "--from="}, "--from="},
    };
    for (const Case& one : cases) {
        const Ran ran = RunCommand(one.words);
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage) << testing::PrintToString(one.words);
        EXPECT_THAT(ran.error, HasSubstr(one.message));
    }
}

}  // namespace
}  // namespace Tulvo::Test
