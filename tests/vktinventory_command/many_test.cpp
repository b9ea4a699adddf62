// SPDX-License-Identifier: Apache-2.0
// The command for several enclosures: what it prints of them, in which order, and how it ends.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using Cli::ExitCode;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

const Failure kSilent{Cause::kTimedOut, "log-in at enc4:623: no answer", "check that it is up", {}};

std::vector<std::string> LinesOf(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class Many : public testing::Test
{
protected:
    Many() { Fake() = FakeEnclosure::Healthy(); }

    static FakeEnclosure& Fake() { return FakeEnclosure::Current(); }
    static Enclosures::Enclosure& Record(const std::string& host)
    {
        return Fake().others.emplace(host, Fake().record).first->second;
    }

    static Ran RunOn(const std::string& hosts, std::vector<std::string> words)
    {
        words.insert(words.begin(), {"-H", hosts, "-U", "admin", "-P", "secret"});
        return RunCommand(std::move(words));
    }

    static std::vector<std::string> HostsIn(const std::string& jsonLines)
    {
        std::vector<std::string> hosts;
        for (const std::string& line : LinesOf(jsonLines)) {
            hosts.push_back(json::parse(line)["host"]);
        }
        return hosts;
    }
};

TEST_F(Many, FoldsEqualHealthAndBeginsWithTheWorst)
{
    Record("enc2").powerSupplies[0].powerGood = false;
    Record("enc3").powerSupplies[1].throttling = true;
    Fake().Refuse("enc4", kSilent);
    EXPECT_EQ(RunOn("enc[1-7]", {"health"}).out,
              "  enc2        critical  PSU1 has no good power\n"
              "  enc4        unknown   no answer in time\n"
              "  enc3        warning   PSU2 throttles\n"
              "  enc[1,5-7]  ok\n");
}

TEST_F(Many, GivesWholeLinesToHostsBesideWhichNothingStands)
{
    for (const char* const host : {"enc09", "enc17", "enc23", "enc31", "enc38"}) {
        Record(host).powerSupplies[0].powerGood = false;
    }
    EXPECT_EQ(RunOn("enc[01-40]", {"health"}).out,
              "  enc[09,17,23,31,38]  critical  PSU1 has no good power\n"
              "  enc[01-08,10-16,18-22,24-30,32-37,39-40]  ok\n");
    for (const char* const host : {"enc12", "enc14", "enc26", "enc28", "enc33", "enc35", "enc02"}) {
        Record(host).powerSupplies[0].powerGood = false;
    }
    EXPECT_EQ(RunOn("enc[01-54,70,80,82,84,86,88]", {"health"}).out,
              "  enc[02,09,12,14,17,23,26,28]  critical  PSU1 has no good power\n"
              "  enc[31,33,35,38]\n"
              "  enc[01,03-08,10-11,13,15-16,18-22,24-25,27,29-30,32,34,36-37,39-54,70,80]  ok\n"
              "  enc[82,84,86,88]\n");
}

TEST_F(Many, PutsHostsThatDoNotFitBelowEverythingFoundOnAll)
{
    for (int host = 1; host <= 13; host += 2) {
        Record("enc" + std::to_string(host) + ".example.com").powerSupplies[0].powerGood = false;
        Record("enc" + std::to_string(host) + ".example.com").powerSupplies[1].throttling = true;
    }
    EXPECT_EQ(RunOn("enc[1-13].example.com", {"health"}).out,
              "  enc[1,3,5,7,9,11].example.com   critical  PSU1 has no good power\n"
              "                                  warning   PSU2 throttles\n"
              "  enc13.example.com\n"
              "  enc[2,4,6,8,10,12].example.com  ok\n");
}

TEST_F(Many, CountsWhatIsUnreadWhereItIsMuch)
{
    const Unread silence(Cause::kTimedOut, "no answer");
    for (Node& node : Record("enc1").nodes) {
        node.state = silence;
    }
    EXPECT_EQ(RunOn("enc[1-2]", {"health"}).out,
              "  enc1  unknown  4 values not read\n"
              "  enc2  ok\n");
}

TEST_F(Many, DividesHostsThatFillALineIntoSeveralPatterns)
{
    std::string odd;
    for (int host = 1; host < 160; host += 2) {
        odd += (odd.empty() ? "enc" : ",enc") + std::to_string(host);
    }
    const auto lines = LinesOf(RunOn(odd, {"health"}).out);
    ASSERT_GT(lines.size(), 2U);
    std::string all;
    for (const std::string& line : lines) {
        EXPECT_LE(line.size(), 80U);
        std::istringstream words(line);
        std::string pattern;
        words >> pattern;
        all += (all.empty() ? "" : ",") + pattern;
    }
    EXPECT_EQ(LinesOf(RunCommand({"hosts", all}).out), LinesOf(RunCommand({"hosts", odd}).out));
}

TEST_F(Many, PrintsARowAnEnclosure)
{
    Record("enc2").identity.name = Unread(Cause::kTimedOut, "no answer");
    Fake().Refuse("enc4", kSilent);
    EXPECT_EQ(RunOn("enc[2,4,1]", {"identity"}).out,
              "        Machine  Serial    Firmware\n"
              "  Host  type     number    version      Name\n"
              "  enc2  7X58     J30ABC12  ABC123-1.0a  not read\n"
              "  enc4  not read: no answer in time\n"
              "  enc1  7X58     J30ABC12  ABC123-1.0a  Chassis A\n");
}

TEST_F(Many, PrintsConsumptionAndCapsBesideEachOther)
{
    EXPECT_EQ(RunOn("enc[1-2]", {"power"}).out,
              "                                   Lowest  Highest  Protective  User  Thermal\n"
              "  Host  Minimum  Average  Maximum     cap      cap         cap   cap      cap\n"
              "  enc1      300      400      500     N/A     1200         N/A  1000    65535\n"
              "  enc2      300      400      500     N/A     1200         N/A  1000    65535\n");
}

TEST_F(Many, PrintsARowAnObject)
{
    Fake().Refuse("enc4", kSilent);
    EXPECT_EQ(RunOn("enc[1,4]", {"node", "2"}).out,
              "Nodes\n"
              "  Host  Node  Power state  Width  Height  Permission  Minimum  Average  Maximum\n"
              "  enc1     2  Power ON     Half        1           2       90      120      180\n"
              "  enc4  not read: no answer in time\n");
    const std::string supplies = RunOn("enc[1,4]", {"psu"}).out;
    EXPECT_THAT(supplies, HasSubstr("  enc1  PSU2  present  power good"));
    EXPECT_THAT(supplies, HasSubstr("  enc1  PSU2  Normal"));
    EXPECT_THAT(supplies, HasSubstr("  enc1  PSU2     2  Power Supply 2"));
}

TEST_F(Many, PrintsRowsBelowHostsBesideWhichTheyHaveNoRoom)
{
    const std::string hosts = "rack12-enc[1,4].example.com:8443";
    Fake().Refuse("rack12-enc4.example.com", kSilent);
    EXPECT_EQ(RunOn(hosts, {"node", "2"}).out,
              "Nodes\n"
              "  Node  Power state  Width  Height  Permission  Minimum  Average  Maximum\n"
              "  rack12-enc1.example.com:8443\n"
              "     2  Power ON     Half        1           2       90      120      180\n"
              "  rack12-enc4.example.com:8443\n"
              "  not read: no answer in time\n");
    EXPECT_EQ(RunOn(hosts, {"power"}).out,
              "                                                           Lowest  Highest  "
              "Protective  User  Thermal\n"
              "  Host                          Minimum  Average  Maximum     cap      cap         "
              "cap   cap      cap\n"
              "  rack12-enc1.example.com:8443      300      400      500     N/A     1200         "
              "N/A  1000    65535\n"
              "  rack12-enc4.example.com:8443  not read: no answer in time\n")
        << "a row an enclosure, for grep and sort";
    for (const std::string& line : LinesOf(RunOn(hosts, {"psu"}).out)) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(Many, ShowsABlockAnEnclosureInTheOrderGiven)
{
    Fake().Refuse("enc4", kSilent);
    const std::string shown = RunOn("enc9,enc4,enc1", {"show"}).out;
    EXPECT_THAT(shown, testing::StartsWith("=== enc9 ===\nHealth\n  good\n"));
    EXPECT_THAT(shown,
                HasSubstr("\n\n=== enc4 ===\n  not read: no answer in time\n\n=== enc1 ==="));
}

TEST_F(Many, ConfirmsEachSelection)
{
    Fake().Refuse("enc4", kSilent);
    EXPECT_EQ(RunOn("enc1", {"-H", "enc2", "select-psu", "2"}).out,
              "  enc1  PSU2              accepted by the module\n"
              "  enc2  PSU2              accepted by the module\n");
}

/// Has enc1 wait until another host was read.
void LetTheFirstComeLast(FakeEnclosure& fake)
{
    auto others = std::make_shared<std::atomic<int>>(0);
    fake.whileReading = [others](const Target& target) {
        if (target.host != "enc1") {
            ++*others;
            others->notify_all();
        } else {
            others->wait(0);
        }
    };
}

TEST_F(Many, PrintsAJsonArrayInTheOrderGiven)
{
    LetTheFirstComeLast(Fake());
    const Ran ran = RunOn("enc[1-2]", {"--format", "json", "identity"});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    const json array = json::parse(ran.out);
    ASSERT_EQ(array.size(), 2U);
    EXPECT_EQ(array[0]["host"], "enc1");
    EXPECT_EQ(array[1]["host"], "enc2");
}

TEST_F(Many, PrintsAJsonLineAsSoonAsAnEnclosureIsComplete)
{
    LetTheFirstComeLast(Fake());
    const Ran ran = RunOn("enc[1-2]", {"--format", "jsonl", "identity"});
    EXPECT_THAT(HostsIn(ran.out), ElementsAre("enc2", "enc1"));
}

TEST_F(Many, PrintsAnArrayHoweverSeveralAreNamed)
{
    const std::vector<std::vector<std::string>> ways = {
        {"-H", "enc[1-1]"}, {"-H", "enc1,enc1"}, {"-H", "enc1", "-H", "enc1"}};
    for (std::vector<std::string> words : ways) {
        words.insert(words.end(), {"-P", "secret", "--format", "json", "identity"});
        EXPECT_EQ(json::parse(RunCommand(words).out).size(), 1U) << testing::PrintToString(words);
    }
    EXPECT_TRUE(json::parse(RunOn("enc1", {"--format", "json"}).out).is_object());
}

TEST_F(Many, PrintsTheSameObjectOnALineAndOnMany)
{
    const std::string line = RunOn("enc1", {"--format", "jsonl"}).out;
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    EXPECT_EQ(json::parse(line), json::parse(RunOn("enc1", {"--format", "json"}).out));
}

TEST_F(Many, HasAnObjectForWhatCouldNotBeRead)
{
    Fake().Refuse("enc4", kSilent);
    const json array = json::parse(RunOn("enc[3-4]", {"--format", "json"}).out);
    EXPECT_EQ(array[1]["host"], "enc4");
    EXPECT_EQ(array[1]["error"]["cause"], "timedOut");
    EXPECT_EQ(array[1]["powerSupplies"], json::array());
}

TEST_F(Many, NamesAHostAsItWasNamedAndAsksItsPort)
{
    const json document = json::parse(RunOn("enc1:1623", {"--format", "json", "status"}).out);
    EXPECT_EQ(document["host"], "enc1:1623");
    EXPECT_EQ(document["module"]["address"], "enc1");
    EXPECT_EQ(document["module"]["port"], 1623);
}

struct CodeCase
{
    const char* name;
    std::vector<std::pair<std::string, Cause>> failures;
    ExitCode code;
};

class ManyCodes : public Many, public testing::WithParamInterface<CodeCase>
{
};

TEST_P(ManyCodes, AreCommonOrOne)
{
    for (const auto& [host, cause] : GetParam().failures) {
        Fake().Refuse(host, {cause, "it failed", "", {}});
    }
    for (const char* format : {"table", "json", "jsonl", "csv"}) {
        EXPECT_EQ(RunOn("enc[1-2]", {"--format", format, "health"}).code, GetParam().code)
            << format;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, ManyCodes,
    testing::Values(CodeCase{"AllRead", {}, ExitCode::kEverythingRead},
                    CodeCase{
                        "OneSilent", {{"enc1", Cause::kTimedOut}}, ExitCode::kSomeQueriesFailed},
                    CodeCase{"AllSilent",
                             {{"enc1", Cause::kTimedOut}, {"enc2", Cause::kUnreachable}},
                             ExitCode::kNoConnection},
                    CodeCase{"AllRefused",
                             {{"enc1", Cause::kRefused}, {"enc2", Cause::kNotTrusted}},
                             ExitCode::kRefused},
                    CodeCase{"OneSilentOneRefused",
                             {{"enc1", Cause::kTimedOut}, {"enc2", Cause::kRefused}},
                             ExitCode::kSomeQueriesFailed}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Many, SaysOnceWhatIsWrongWithSeveral)
{
    for (const char* host : {"enc1", "enc2", "enc3"}) {
        Failure failure = kSilent;
        failure.message = "log-in at " + std::string(host) + ":623: no answer";
        Fake().Refuse(host, failure);
    }
    Record("enc5").identity.name = Unread(Cause::kTimedOut, "no answer");
    EXPECT_EQ(RunOn("enc[1-5]", {"identity"}).error,
              "vktinventory: enc5: Module name not read: no answer (see --timeout)\n"
              "vktinventory: enc[1-3]: no answer in time: no answer; check that it is up (see -H, "
              "-p and --timeout)\n");
}

TEST_F(Many, TellsOfANodeThatSomeDoNotHave)
{
    Record("enc2").module.nodeCount = std::uint8_t{12};
    Node& node = Record("enc2").nodes.emplace_back(Record("enc2").nodes[0]);
    node.number = 5;
    const Ran ran = RunOn("enc[1-2]", {"node", "5"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error, "vktinventory: enc1: node 5: this enclosure has nodes 1 to 4\n");
}

TEST_F(Many, LeavesOutWhoIsExcluded)
{
    EXPECT_THAT(HostsIn(RunOn("enc[1-4]", {"-x", "enc[2-3]", "--format", "jsonl", "status"}).out),
                testing::UnorderedElementsAre("enc1", "enc4"));
}

TEST_F(Many, PrintsWhichHostsAreMeantAndAsksNobody)
{
    EXPECT_EQ(RunCommand({"-x", "enc2", "hosts", "enc[1-3]", "gw:624"}).out,
              "enc1\nenc3\ngw:624\n");
    EXPECT_EQ(RunCommand({"-H", "b,a", "hosts"}).out, "b\na\n");
    EXPECT_FALSE(Fake().asked);
}

TEST_F(Many, RefusesAPatternWithItsMistake)
{
    const Ran ran = RunOn("enc[3-1]", {"health"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr("enc[3-1]"));
    EXPECT_EQ(ran.out, "");
    EXPECT_FALSE(Fake().asked);
}

TEST_F(Many, ReadsAsOftenAsItIsTold)
{
    const Ran ran = RunOn("enc[1-2]", {"--every", "1", "--count", "2", "--format", "csv",
                                       "--fields", "host", "status"});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_EQ(LinesOf(ran.out).size(), 5U);
    EXPECT_EQ(ran.out.find("host\n"), 0U);
    EXPECT_EQ(ran.out.rfind("host\n"), 0U);
}

TEST_F(Many, TellsTheTimeAboveEachTableOfARepetition)
{
    const Ran ran = RunOn("enc1", {"--every", "1", "--count", "1", "health"});
    EXPECT_THAT(ran.out, testing::MatchesRegex("....-..-..T..:..:..Z\nHealth\n  good\n"));
}

TEST_F(Many, EndsWithTheCodeOfTheWorstRound)
{
    int reads = 0;
    Fake().onRead = [&reads] {
        FakeEnclosure& fake = Fake();
        const Enclosures::Enclosure healthy = FakeEnclosure::Healthy().record;
        ++reads;
        if (reads == 1) {
            fake.Refuse("enc1", kSilent);
        } else {
            fake.others["enc1"] = healthy;
        }
    };
    EXPECT_EQ(RunOn("enc1", {"--every", "1", "--count", "2", "status"}).code,
              ExitCode::kNoConnection);
    EXPECT_EQ(reads, 2);
}

TEST_F(Many, LeavesAHundredAloneThatStandBesideOneThatCannotBeResolved)
{
    Fake().Refuse("no-such-host", {Cause::kUnreachable,
                                   "log-in at no-such-host:623: the name cannot be resolved",
                                   "check the name",
                                   {}});
    const Ran ran = RunOn("enc[1-50],no-such-host,enc[51-100]", {"--format", "json", "status"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error,
              "vktinventory: no-such-host: no connection: the name cannot be resolved; check the "
              "name (see -H and -p)\n");
    const json all = json::parse(ran.out);
    ASSERT_EQ(all.size(), 101U);
    for (std::size_t index = 0; index < all.size(); ++index) {
        EXPECT_EQ(all[index]["complete"], index != 50) << all[index]["host"];
    }
    EXPECT_EQ(all[50]["host"], "no-such-host");
    EXPECT_EQ(all[50]["error"]["cause"], "unreachable");
}

/// A file on a disk with that much room.
class SmallDisk
{
public:
    explicit SmallDisk(rlim_t room)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{room, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        output_ = dup(STDOUT_FILENO);
        dup2(fileno(file_), STDOUT_FILENO);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() { std::fclose(file_); }

    std::string End()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        dup2(output_, STDOUT_FILENO);
        close(output_);
        std::rewind(file_);
        std::string text(1 << 16, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), file_));
        return text;
    }

private:
    std::FILE* file_ = std::tmpfile();
    int output_ = -1;
    rlimit before_{};
};

TEST_F(Many, LeavesNoBrokenLineOnAFullDisk)
{
    const std::string whole = RunOn("enc1", {"--format", "jsonl", "identity"}).out;
    for (const std::size_t surplus : {std::size_t{0}, std::size_t{1}, whole.size() - 1}) {
        std::vector<std::string> words = {"vktinventory", "-H",       "enc[1-9]", "-P",
                                          "secret",       "--format", "jsonl",    "identity"};
        std::vector<char*> argv;
        argv.reserve(words.size());
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        testing::internal::CaptureStderr();
        SmallDisk disk(3 * whole.size() + surplus);
        const ExitCode code = Cli::Run(static_cast<int>(argv.size()), argv.data());
        const std::string written = disk.End();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("File too large"));
        EXPECT_EQ(code, ExitCode::kOutputFailed);
        EXPECT_EQ(HostsIn(written).size(), 3U);
        EXPECT_EQ(written.back(), '\n');
    }
}

}  // namespace
}  // namespace Tulvo::Test
