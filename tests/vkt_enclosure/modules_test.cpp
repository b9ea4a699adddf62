// SPDX-License-Identifier: Apache-2.0
// Reads from the target to the record, of modules that differ in their cipher suites and in what
// they let an account read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/ipmi_client/fake_rmcp_module.h"
#include "tests/vkt_enclosure/paper_enclosure.h"

namespace Tulvo::Enclosures {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint8_t kInsufficientPrivilege = 0xD4;
constexpr std::uint8_t kExceedsPrivilegeLimit = 0x81;

/// Answers as the enclosure on paper does, once the session has the privilege for it.
class PaperModule
{
public:
    PaperModule(const FakeRmcpModuleOptions& options, int readsFrom)
        : privilege_(options.privilege), readsFrom_(readsFrom), module_(Answering(options))
    {
        const PaperEnclosure paper = PaperEnclosures().front();
        for (const PaperRequest& request : paper.Requests()) {
            answers_[Fakes::RequestName(request.request)] = request.answer;
        }
    }

    Target At(const RmcpPlus& rmcp = {}) const
    {
        return {.host = "127.0.0.1",
                .port = module_.Port(),
                .user = "admin",
                .password = "secret",
                .transport = rmcp};
    }

    FakeRmcpModule& Server() { return module_; }

private:
    FakeRmcpModuleOptions Answering(FakeRmcpModuleOptions options)
    {
        options.answer = [this](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
            return Answer({command, data, netFn});
        };
        return options;
    }

    Bytes Answer(const IPMICOMMAND& request)
    {
        if (request.netFn == 0x06 && request.cmd == 0x3B) {  // Set Session Privilege Level
            const int level = request.data.at(0);
            if (level > privilege_) {
                return {kExceedsPrivilegeLimit};
            }
            level_ = level;
            return {0x00, request.data.at(0)};
        }
        const auto known = answers_.find(Fakes::RequestName(request));
        if (known == answers_.end()) {
            return {0xC1};
        }
        if (level_ < readsFrom_) {
            return {kInsufficientPrivilege};
        }
        Bytes answer{0x00};
        answer.insert(answer.end(), known->second.begin(), known->second.end());
        return answer;
    }

    std::map<std::string, Bytes> answers_;
    const int privilege_;
    const int readsFrom_;
    int level_ = 2;  ///< At which every session begins.
    FakeRmcpModule module_;
};

const Limits kAmple{.deadline = 5min, .stop = {}};

class ModulesTest : public testing::Test
{
protected:
    Fakes::FakeConfig config;
    Fakes::FakeLog log;
};

TEST_F(ModulesTest, AreReadWithTheSuiteThatTheyHave)
{
    struct Suites
    {
        int one;
        int other;
        int expected;
    };
    for (const auto& [one, other, expected] :
         {Suites{17, 0, 17}, Suites{3, 0, 3}, Suites{3, 17, 17}, Suites{17, 3, 17}}) {
        SCOPED_TRACE(std::to_string(one) + " and " + std::to_string(other));
        FakeRmcpModuleOptions options;
        options.cipherSuite = one;
        options.otherSuite = other;
        PaperModule module(options, 2);
        const Enclosure record = ReadEnclosure(module.At(), {}, kAmple);
        EXPECT_FALSE(record.error);
        EXPECT_THAT(NotRead(record), IsEmpty());
        EXPECT_EQ(record.source.cipherSuite, expected);
        EXPECT_EQ(module.Server().Proofs(), 1U);
        EXPECT_EQ(module.Server().OpenSessions(), 0U);
    }
}

TEST_F(ModulesTest, WithNeitherSuiteAreRefusedBeforeAnyProof)
{
    FakeRmcpModuleOptions options;
    options.cipherSuite = 1;
    PaperModule module(options, 2);
    const Enclosure record = ReadEnclosure(module.At(), {}, kAmple);
    ASSERT_TRUE(record.error);
    EXPECT_EQ(record.error->cause, Cause::kRefused);
    EXPECT_THAT(record.error->message, HasSubstr("neither cipher suite 17 nor 3"));
    EXPECT_EQ(module.Server().Proofs(), 0U);
    EXPECT_EQ(module.Server().OpenSessions(), 0U);
}

TEST_F(ModulesTest, AreReadWithEachAccountThatTheyLetRead)
{
    for (const int privilege : {2, 3, 4}) {
        for (const int readsFrom : {2, 3, 4}) {
            SCOPED_TRACE("an account of " + std::to_string(privilege) + " where the module wants " +
                         std::to_string(readsFrom));
            FakeRmcpModuleOptions options;
            options.privilege = static_cast<std::uint8_t>(privilege);
            PaperModule module(options, readsFrom);
            const Enclosure record = ReadEnclosure(module.At({.cipherSuite = 3}), {}, kAmple);
            EXPECT_EQ(record.cost.logIns, 1U);
            EXPECT_EQ(module.Server().OpenSessions(), 0U);
            if (privilege >= readsFrom) {
                EXPECT_THAT(NotRead(record), IsEmpty());
                EXPECT_EQ(record.source.privilege, static_cast<Privilege>(privilege));
            } else {
                ASSERT_TRUE(record.error);
                EXPECT_EQ(record.error->cause, Cause::kCompletionCode);
                EXPECT_EQ(record.error->completionCode, kInsufficientPrivilege);
            }
        }
    }
}

TEST_F(ModulesTest, ThatNeedMorePrivilegeThanTheTargetAllowsAreNotBlamedOnTheAccountAlone)
{
    PaperModule module({}, 4);
    const Enclosure record =
        ReadEnclosure(module.At({.privilege = Privilege::kOperator}), {}, kAmple);
    ASSERT_TRUE(record.error);
    EXPECT_EQ(record.error->completionCode, kInsufficientPrivilege);
    EXPECT_THAT(record.error->advice, HasSubstr("where one is set, a higher privilege"));
    EXPECT_EQ(module.Server().OpenSessions(), 0U);
}

TEST_F(ModulesTest, WithAKeyOfTheirOwnAreReadWithIt)
{
    FakeRmcpModuleOptions options;
    options.cipherSuite = 17;
    options.kg = "module's own";
    PaperModule module(options, 2);
    const Enclosure record = ReadEnclosure(module.At({.kg = options.kg}), {}, kAmple);
    EXPECT_THAT(NotRead(record), IsEmpty());
    const Enclosure without = ReadEnclosure(module.At(), {}, kAmple);
    ASSERT_TRUE(without.error);
    EXPECT_EQ(without.error->cause, Cause::kRefused);
    EXPECT_THAT(without.error->advice, HasSubstr("K_g"));
    EXPECT_EQ(without.cost.logIns, 1U);
    EXPECT_EQ(module.Server().OpenSessions(), 0U);
}

}  // namespace
}  // namespace Tulvo::Enclosures
