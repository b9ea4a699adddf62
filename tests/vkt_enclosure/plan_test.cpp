// SPDX-License-Identifier: Apache-2.0
// Walks the plan: each fault at each of its requests in turn. What must be missing then is computed
// from the values that hang on the request; everything else must be right.
#include "module/vkt/vkt_enclosure/impl/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stop_token>

#include "module/vkt/vkt_enclosure/catalogue.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "tests/vkt_enclosure/paper_enclosure.h"

namespace Tulvo::Enclosures {

void PrintTo(const PaperEnclosure& paper, std::ostream* stream)
{
    *stream << paper.name;
}

namespace {

using namespace std::chrono_literals;
using Fakes::RequestName;
using testing::IsEmpty;
using testing::SizeIs;

using Lost = std::map<std::string, std::string>;

struct Read
{
    explicit Read(const PaperEnclosure& paper) { paper.Teach(module); }

    Enclosure Run(Sections sections = kEverything) { return Run(Scope{sections, 0}); }
    Enclosure Run(const Scope& scope) { return ReadOver(module, pace, scope, limits); }

    std::map<std::string, int> TimesAsked() const
    {
        std::map<std::string, int> times;
        for (const IPMICOMMAND& request : module.asked) {
            ++times[RequestName(request)];
        }
        return times;
    }

    StillPace pace;
    ScriptedModule module{pace};
    Limits limits;
};

/// Every request of the plan, with the text that its values then have.
Lost All(const PaperEnclosure& paper, Sections sections, const std::string& text)
{
    Lost lost;
    for (const PaperRequest& request : paper.Requests(sections)) {
        lost[RequestName(request.request)] = text;
    }
    return lost;
}

/// Of those the ones that were not answered.
Lost Unanswered(const PaperEnclosure& paper, Sections sections, const ScriptedModule& module,
                const std::string& text)
{
    Lost lost = All(paper, sections, text);
    for (const IPMICOMMAND& request : module.answered) {
        lost.erase(RequestName(request));
    }
    return lost;
}

class PlanTest : public testing::TestWithParam<PaperEnclosure>
{
protected:
    using Script = std::function<void(ScriptedModule&, const IPMICOMMAND&)>;

    /// Every request once with the fault; `text` is what its values are then, or empty when nothing
    /// may be lost. Without the status there is nothing to ask.
    void TryEach(const Script& script, const std::string& text, Sections sections = kEverything,
                 bool onlyRegisters = false)
    {
        const std::vector<PaperRequest> requests = GetParam().Requests(sections);
        for (const PaperRequest& request : requests) {
            const std::string name = RequestName(request.request);
            if (onlyRegisters && !request.isRegister) {
                continue;
            }
            SCOPED_TRACE(name);
            Read read(GetParam());
            script(read.module, request.request);
            const Enclosure record = read.Run(sections);
            Lost lost = text.empty() ? Lost{} : Lost{{name, text}};
            if (!text.empty() && &request == &requests.front()) {
                lost = All(GetParam(), sections, text);
            }
            EXPECT_THAT(Differences(GetParam().Expected(sections, lost), record), IsEmpty());
            EXPECT_EQ(text.empty(), NotRead(record).empty());
            EXPECT_EQ(text.empty() ? Health::kOk : Health::kUnknown, Judge(record).status);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Enclosures, PlanTest, testing::ValuesIn(PaperEnclosures()),
                         [](const auto& paper) { return paper.param.name; });

TEST_P(PlanTest, ReadsEverythingInOneSessionWithEachRequestOnce)
{
    Read read(GetParam());
    const Enclosure record = read.Run();
    EXPECT_THAT(Differences(GetParam().Expected(kEverything), record), IsEmpty());
    EXPECT_FALSE(record.error);
    EXPECT_THAT(NotRead(record), SizeIs(0));
    EXPECT_EQ(1, read.module.opened);
    EXPECT_EQ(1, read.module.closed);
    EXPECT_THAT(read.TimesAsked(), SizeIs(GetParam().Requests().size()));
    EXPECT_THAT(read.module.asked, SizeIs(GetParam().Requests().size()));
}

TEST(Plan, TakesAsFewRequestsAsThereAreAnswers)
{
    const PaperEnclosure large = PaperEnclosures().back();
    Read everything(large);
    everything.Run();
    EXPECT_THAT(everything.module.asked, SizeIs(67));
    Read health(large);
    health.Run(kHealth);
    EXPECT_THAT(health.module.asked, SizeIs(25));
    Read module(large);
    module.Run(kModuleOnly);
    EXPECT_THAT(module.module.asked, SizeIs(1));
}

TEST_P(PlanTest, AsksOnlyForTheSectionsThatAreWanted)
{
    for (const Sections sections : {kModuleOnly, kIdentity, kConsumption, kCaps, kPower, kSupplies,
                                    kNodeStates, kNodePower, kNodes, kHealth}) {
        SCOPED_TRACE(sections);
        Read read(GetParam());
        EXPECT_THAT(Differences(GetParam().Expected(sections), read.Run(sections)), IsEmpty());
        EXPECT_THAT(read.module.asked, SizeIs(GetParam().Requests(sections).size()));
    }
}

TEST_P(PlanTest, AsksForOneNode)
{
    Read read(GetParam());
    const Enclosure record = read.Run(Scope{kNodes, 3});
    ASSERT_THAT(record.nodes, SizeIs(1));
    EXPECT_EQ(3, record.nodes.front().number);
    EXPECT_THAT(read.module.asked, SizeIs(3));
    Read beyond(GetParam());
    const Enclosure without = beyond.Run(Scope{kNodes, 13});
    EXPECT_THAT(without.nodes, SizeIs(0));
    EXPECT_EQ(Health::kUnknown, Judge(without).status);
}

TEST_P(PlanTest, LosesWhatHangsOnARefusedRequestAndNothingElse)
{
    for (const std::uint8_t code : Bytes{0xC9, 0x7F}) {
        SCOPED_TRACE(static_cast<int>(code));
        TryEach([code](ScriptedModule& module,
                       const IPMICOMMAND& request) { module.Refuse(request, code); },
                "not read: completionCode");
    }
}

TEST_P(PlanTest, AsksARequestTwiceForACodeThatMayPass)
{
    for (const std::uint8_t code : Bytes{0xC3}) {
        SCOPED_TRACE(static_cast<int>(code));
        TryEach([code](ScriptedModule& module,
                       const IPMICOMMAND& request) { module.Refuse(request, code); },
                "");
        TryEach([code](ScriptedModule& module,
                       const IPMICOMMAND& request) { module.Refuse(request, code, 2); },
                "not read: completionCode");
    }
}

TEST_P(PlanTest, WaitsForABusyModuleForASecond)
{
    for (const std::uint8_t code : Bytes{0xC0}) {
        SCOPED_TRACE(static_cast<int>(code));
        TryEach([code](ScriptedModule& module,
                       const IPMICOMMAND& request) { module.Refuse(request, code, 3); },
                "");
        TryEach([code](ScriptedModule& module,
                       const IPMICOMMAND& request) { module.RefuseAlways(request, code); },
                "not read: busy");
    }
}

TEST_P(PlanTest, KnowsWhatASupplysBusSays)
{
    constexpr bool kOnlyRegisters = true;
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) {
            module.Refuse(request, 0x81, 2);
            module.Refuse(request, 0x82);
        },
        "", kEverything, kOnlyRegisters);
    TryEach([](ScriptedModule& module,
               const IPMICOMMAND& request) { module.RefuseAlways(request, 0x81); },
            "not read: busy", kEverything, kOnlyRegisters);
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) { module.Refuse(request, 0x82, 2); },
        "not read: completionCode", kEverything, kOnlyRegisters);
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) { module.Refuse(request, 0x83); },
        "not read: completionCode", kEverything, kOnlyRegisters);
}

TEST_P(PlanTest, TakesNotPresentForAbsent)
{
    const std::vector<PaperRequest> requests = GetParam().Requests();
    for (auto request = requests.begin() + 1; request != requests.end(); ++request) {
        const std::string name = RequestName(request->request);
        SCOPED_TRACE(name);
        Read read(GetParam());
        read.module.Refuse(request->request, 0xCB);
        EXPECT_THAT(Differences(GetParam().Expected(kEverything, {{name, "absent"}}), read.Run()),
                    IsEmpty());
    }
}

TEST_P(PlanTest, LosesNothingToSilenceOnce)
{
    TryEach([](ScriptedModule& module, const IPMICOMMAND& request) { module.StaySilent(request); },
            "");
}

TEST_P(PlanTest, LosesWhatHangsOnARequestThatStaysSilent)
{
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) { module.StaySilent(request, 2); },
        "not read: timedOut");
}

/// A transport would wait for each of them as long as it is let.
TEST_P(PlanTest, LosesOnlyTheKindsThatStaySilentWithinTheDeadline)
{
    const Bytes kFans{0xA5};
    const Bytes kFansAndNodes{0xA5, 0xA7};
    for (const Bytes& silent : {kFans, kFansAndNodes}) {
        SCOPED_TRACE(silent.size());
        Read read(GetParam());
        read.module.answerTime = 20ms;
        read.module.silenceTime = 1h;
        read.module.silentCommands = silent;
        read.module.Give({0x01, {}, 0x06}, Bytes(11));
        Lost lost;
        for (const PaperRequest& request : GetParam().Requests()) {
            const std::uint8_t command = request.request.cmd;
            if (std::find(silent.begin(), silent.end(), command) != silent.end()) {
                lost[RequestName(request.request)] = "not read: timedOut";
            }
        }
        const auto begin = read.pace.now;
        const Enclosure record = read.Run();
        EXPECT_THAT(Differences(GetParam().Expected(kEverything, lost), record), IsEmpty());
        EXPECT_LE(read.pace.now, begin + 30s);
    }
}

TEST_P(PlanTest, LosesNothingToALostSession)
{
    TryEach([](ScriptedModule& module, const IPMICOMMAND& request) { module.LoseSession(request); },
            "");
}

TEST_P(PlanTest, LosesOnlyTheRequestThatCostsASessionTwice)
{
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) { module.LoseSession(request, 2); },
        "not read: timedOut");
}

TEST_P(PlanTest, LosesWhatHangsOnAnEmptyAnswer)
{
    TryEach([](ScriptedModule& module, const IPMICOMMAND& request) { module.Answer(request, {}); },
            "not read: malformedAnswer");
}

TEST_P(PlanTest, LosesWhatHangsOnAnAnswerThatIsNone)
{
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) {
            module.AnswerUselessly(request, {Cause::kMalformedAnswer, "no answer", "", {}});
        },
        "not read: malformedAnswer");
}

TEST_P(PlanTest, JudgesHealthWithoutWhatWasRefused)
{
    TryEach(
        [](ScriptedModule& module, const IPMICOMMAND& request) { module.Refuse(request, 0xC9); },
        "not read: completionCode", kHealth);
}

/// What ends a read leaves what was read by then, and one reason for the rest.
TEST_P(PlanTest, EndsWhenTheModuleCannotBeAskedAnyMore)
{
    for (const PaperRequest& request : GetParam().Requests()) {
        SCOPED_TRACE(RequestName(request.request));
        Read read(GetParam());
        read.module.Fail(request.request, {Cause::kNotTrusted, "another certificate", "", {}});
        const Enclosure record = read.Run();
        EXPECT_THAT(Differences(GetParam().Expected(kEverything,
                                                    Unanswered(GetParam(), kEverything, read.module,
                                                               "not read: notTrusted")),
                                record),
                    IsEmpty());
        ASSERT_TRUE(record.error);
        EXPECT_EQ("another certificate", record.error->message);
    }
}

TEST_P(PlanTest, EndsWhenTheModuleUpdatesItsFirmware)
{
    for (const PaperRequest& request : GetParam().Requests()) {
        SCOPED_TRACE(RequestName(request.request));
        Read read(GetParam());
        read.module.Refuse(request.request, 0xD1);
        const Enclosure record = read.Run();
        EXPECT_THAT(
            Differences(GetParam().Expected(kEverything, Unanswered(GetParam(), kEverything,
                                                                    read.module, "not read: busy")),
                        record),
            IsEmpty());
        ASSERT_TRUE(record.error);
        EXPECT_EQ(0xD1, record.error->completionCode);
    }
}

TEST_P(PlanTest, GivesWhatWasReadWhenItIsCancelled)
{
    for (std::size_t at = 0; at < GetParam().Requests().size(); ++at) {
        SCOPED_TRACE(at);
        std::stop_source stop;
        Read read(GetParam());
        read.limits.stop = stop.get_token();
        read.module.onAsk = [&](std::size_t asked) {
            if (asked == at) {
                stop.request_stop();
            }
        };
        const Enclosure record = read.Run();
        EXPECT_THAT(Differences(GetParam().Expected(kEverything,
                                                    Unanswered(GetParam(), kEverything, read.module,
                                                               "not read: cancelled")),
                                record),
                    IsEmpty());
        EXPECT_THAT(read.module.answered, SizeIs(at));
        EXPECT_THAT(read.module.asked, SizeIs(at + 1));
        EXPECT_EQ(1, read.module.closed);
        ASSERT_TRUE(record.error);
        EXPECT_EQ(Cause::kCancelled, record.error->cause);
    }
}

TEST_P(PlanTest, GivesWhatWasReadByTheDeadline)
{
    Read read(GetParam());
    read.module.answerTime = 2500ms;
    read.limits.deadline = 30s;
    const auto begin = read.pace.now;
    const Enclosure record = read.Run();
    EXPECT_THAT(
        Differences(GetParam().Expected(kEverything, Unanswered(GetParam(), kEverything,
                                                                read.module, "not read: timedOut")),
                    record),
        IsEmpty());
    // One log-in and ten answers fit into 29 s; the last second is the log-out's.
    EXPECT_THAT(read.module.answered, SizeIs(10));
    EXPECT_EQ(begin + 29s, read.pace.now);
    EXPECT_EQ(1, read.module.closed);
}

TEST_P(PlanTest, RaisesThePrivilegeWhereverTheModuleWantsIt)
{
    for (const PaperRequest& request : GetParam().Requests()) {
        SCOPED_TRACE(RequestName(request.request));
        Read read(GetParam());
        read.module.Refuse(request.request, 0xD4);
        EXPECT_THAT(Differences(GetParam().Expected(kEverything), read.Run()), IsEmpty());
        EXPECT_EQ(1, read.module.raised);
    }
}

TEST_P(PlanTest, RaisesThePrivilegeOnceASession)
{
    Read read(GetParam());
    read.module.WantPrivilege(true);
    read.module.LoseSession(GetParam().Requests().back().request);
    EXPECT_THAT(Differences(GetParam().Expected(kEverything), read.Run()), IsEmpty());
    EXPECT_EQ(2, read.module.opened);
    EXPECT_EQ(2, read.module.raised);
}

TEST_P(PlanTest, RaisesThePrivilegeLaterAtABusyModule)
{
    Read read(GetParam());
    read.module.WantPrivilege(true);
    read.module.busyRaises = 2;
    EXPECT_THAT(Differences(GetParam().Expected(kEverything), read.Run()), IsEmpty());
    EXPECT_EQ(3, read.module.raised);
}

TEST_P(PlanTest, ReadsWhatTheAccountMayRead)
{
    const std::vector<PaperRequest> requests = GetParam().Requests();
    Read read(GetParam());
    Lost lost;
    for (auto request = requests.begin() + 1; request != requests.end(); request += 2) {
        read.module.RefuseAlways(request->request, 0xD4);
        lost[RequestName(request->request)] = "not read: completionCode";
    }
    EXPECT_THAT(Differences(GetParam().Expected(kEverything, lost), read.Run()), IsEmpty());
    EXPECT_EQ(1, read.module.raised);
}

TEST_P(PlanTest, SaysThatAnAccountMayReadNothing)
{
    Read read(GetParam());
    read.module.WantPrivilege(false);
    const Enclosure record = read.Run();
    ASSERT_TRUE(record.error);
    EXPECT_EQ(0xD4, record.error->completionCode);
    EXPECT_EQ(
        "the module answered with completion code 0xD4 (insufficient privilege), and the "
        "module does not raise it",
        record.error->message);
    EXPECT_THAT(read.module.asked, SizeIs(1));
}

TEST_P(PlanTest, TellsEmptyBays)
{
    std::set<int> all;
    for (int n = 1; n <= GetParam().supplies; ++n) {
        all.insert(n);
    }
    for (const std::set<int>& empty :
         {std::set<int>{1}, std::set<int>{GetParam().supplies / 2 + 1},
          std::set<int>{GetParam().supplies}, std::set<int>{1, 2}, all}) {
        SCOPED_TRACE(testing::PrintToString(empty));
        PaperEnclosure paper = GetParam();
        paper.emptyBays = empty;
        Read read(paper);
        if (empty.contains(9)) {  // which has no status bit
            read.module.Answer({0xA5, {9}, 0x32}, {0, 0, 0, 0, 0, 0, 0, 0});
        }
        EXPECT_THAT(Differences(paper.Expected(kEverything), read.Run()), IsEmpty());
        EXPECT_THAT(read.module.asked, SizeIs(paper.Requests().size()));
    }
}

TEST(Plan, TakesANinthSupplyWhoseRegistersAreRefusedForAbsent)
{
    PaperEnclosure paper = PaperEnclosures().back();
    paper.emptyBays = {9};
    Read read(paper);
    for (const PaperRequest& request : paper.Requests(kSupplyFirmware)) {
        if (request.isRegister && request.request.data.front() == 9) {
            read.module.Refuse(request.request, 0xCB);
        }
    }
    EXPECT_THAT(Differences(paper.Expected(kEverything), read.Run()), IsEmpty());
}

TEST(Plan, TellsNoPlatformFromAStatusThatIsTooShort)
{
    for (const PaperEnclosure& paper : PaperEnclosures()) {
        const PaperRequest status = paper.Requests().front();
        for (std::size_t length = 0; length < 14; ++length) {
            SCOPED_TRACE(length);
            Read read(paper);
            read.module.Answer(status.request,
                               {status.answer.begin(),
                                status.answer.begin() + static_cast<std::ptrdiff_t>(length)});
            const Enclosure record = read.Run();
            EXPECT_THAT(read.module.asked, SizeIs(1));
            ASSERT_TRUE(record.error);
            EXPECT_EQ(Cause::kMalformedAnswer, record.error->cause);
            EXPECT_FALSE(record.module.platformId.HasValue());
            EXPECT_FALSE(record.module.generation.HasValue());
        }
    }
}

/// Tables show a supply's manufacturer and position in one cell.
TEST(Plan, MissesOnlyThePositionWhenOnlyThePositionIsRefused)
{
    Read read(PaperEnclosures().back());
    read.module.Refuse({0x92, {1, 0x20, 0xF0}, 0x32}, 0xC9);
    const std::vector<Missing> missing = NotRead(read.Run());
    ASSERT_THAT(missing, SizeIs(1));
    EXPECT_EQ("position", missing[0].field);
}

TEST(Plan, NamesTheValuesThatWereNotRead)
{
    const PaperEnclosure paper = PaperEnclosures().back();
    Read read(paper);
    read.module.Refuse({0xA5, {3}, 0x32}, 0xC9);
    read.module.StaySilent({0xA7, {4}, 0x32}, 2);
    const std::vector<Missing> missing = NotRead(read.Run());
    ASSERT_THAT(missing, SizeIs(2));
    EXPECT_EQ("PSU3", missing[0].object);
    EXPECT_EQ(3, missing[0].powerSupply);
    EXPECT_EQ("fans", missing[0].field);
    EXPECT_EQ(Cause::kCompletionCode, missing[0].failure.cause);
    EXPECT_EQ("the module answered with completion code 0xC9 (parameter out of range)",
              missing[0].failure.message);
    EXPECT_EQ("Node 4", missing[1].object);
    EXPECT_EQ(4, missing[1].node);
    EXPECT_EQ("powerState", missing[1].field);
}

}  // namespace
}  // namespace Tulvo::Enclosures
