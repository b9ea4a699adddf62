// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/fault.h"

#include <gtest/gtest.h>

namespace Tulvo::Simulator {
namespace {

using std::chrono::milliseconds;

class Faults : public testing::Test
{
protected:
    // An enclosure named "Enc" that answers 'E' 'n' 'c' 0 when asked for its name.
    FaultyEnclosure With(std::vector<Fault> faults)
    {
        EnclosureState state;
        state.name = "Enc";
        return {state, std::move(faults)};
    }

    static Fault OfName(FaultKind kind)
    {
        Fault fault;
        fault.netFn = 0x32;
        fault.command = 0xB0;
        fault.dataPrefix = {0x05, 0x0B};
        fault.kind = kind;
        return fault;
    }

    static Delivery AskName(FaultyEnclosure& enclosure)
    {
        return enclosure.Serve(0x32, 0xB0, {0x05, 0x0B});
    }

    const Answer good_ = {0, {'E', 'n', 'c', 0}};
};

TEST_F(Faults, NoneLetTheAnswerPass)
{
    FaultyEnclosure enclosure = With({});
    const Delivery delivery = AskName(enclosure);
    EXPECT_EQ(delivery.answer, good_);
    EXPECT_EQ(delivery.latency, milliseconds(0));
    EXPECT_FALSE(delivery.dropped);
}

TEST_F(Faults, LatencyDelaysAndChangesNothing)
{
    Fault fault = OfName(FaultKind::kLatency);
    fault.latency = milliseconds(250);
    FaultyEnclosure enclosure = With({fault});
    const Delivery delivery = AskName(enclosure);
    EXPECT_EQ(delivery.latency, milliseconds(250));
    EXPECT_EQ(delivery.answer, good_);
}

TEST_F(Faults, DropLeavesTheRequestUnanswered)
{
    FaultyEnclosure enclosure = With({OfName(FaultKind::kDrop)});
    EXPECT_TRUE(AskName(enclosure).dropped);
}

TEST_F(Faults, TruncateKeepsTheFirstBytes)
{
    Fault fault = OfName(FaultKind::kTruncate);
    fault.keptBytes = 2;
    FaultyEnclosure enclosure = With({fault});
    EXPECT_EQ(AskName(enclosure).answer, (Answer{0, {'E', 'n'}}));
}

TEST_F(Faults, TruncateNeverLengthens)
{
    Fault fault = OfName(FaultKind::kTruncate);
    fault.keptBytes = 200;
    FaultyEnclosure enclosure = With({fault});
    EXPECT_EQ(AskName(enclosure).answer, good_);
}

TEST_F(Faults, CompletionCodeTakesTheBytesAway)
{
    Fault fault = OfName(FaultKind::kCompletionCode);
    fault.completionCode = 0xC3;
    FaultyEnclosure enclosure = With({fault});
    EXPECT_EQ(AskName(enclosure).answer, (Answer{0xC3, {}}));
}

TEST_F(Faults, CompletionCodeCanComeWithBytes)
{
    Fault fault = OfName(FaultKind::kCompletionCode);
    fault.completionCode = 0xC3;
    fault.keepData = true;
    FaultyEnclosure enclosure = With({fault});
    EXPECT_EQ(AskName(enclosure).answer, (Answer{0xC3, good_.bytes}));
}

TEST_F(Faults, HitOnlyTheirRequest)
{
    FaultyEnclosure enclosure = With({OfName(FaultKind::kDrop)});
    EXPECT_FALSE(enclosure.Serve(0x32, 0xB0, {0x05, 0x00}).dropped) << "other data";
    EXPECT_FALSE(enclosure.Serve(0x32, 0xB0, {0x05}).dropped) << "fewer data";
    EXPECT_FALSE(enclosure.Serve(0x32, 0xB1, {0x05, 0x0B}).dropped) << "other command";
    EXPECT_FALSE(enclosure.Serve(0x30, 0xB0, {0x05, 0x0B}).dropped) << "other function";
    EXPECT_TRUE(enclosure.Serve(0x32, 0xB0, {0x05, 0x0B, 0x01}).dropped) << "more data";
}

TEST_F(Faults, EndAfterTheirNumberOfTimes)
{
    Fault fault = OfName(FaultKind::kDrop);
    fault.schedule.times = 2;
    FaultyEnclosure enclosure = With({fault});
    EXPECT_TRUE(AskName(enclosure).dropped);
    enclosure.Serve(0x32, 0xB0, {0x05, 0x00});
    EXPECT_TRUE(AskName(enclosure).dropped);
    EXPECT_FALSE(AskName(enclosure).dropped);
    EXPECT_FALSE(AskName(enclosure).dropped);
}

TEST_F(Faults, BeginAfterTheirNumberOfRequests)
{
    Fault fault = OfName(FaultKind::kDrop);
    fault.schedule = {2, 1};
    FaultyEnclosure enclosure = With({fault});
    EXPECT_FALSE(AskName(enclosure).dropped);
    enclosure.Serve(0x32, 0xB0, {0x05, 0x00});  // no request of this fault, so it does not count
    EXPECT_FALSE(AskName(enclosure).dropped);
    EXPECT_TRUE(AskName(enclosure).dropped);
    EXPECT_FALSE(AskName(enclosure).dropped);
}

TEST_F(Faults, SlowLogInsDownAndNoRequests)
{
    Fault late;
    late.netFn = 0x32;
    late.command = 0xB0;
    late.kind = FaultKind::kLoginLatency;
    late.latency = milliseconds(50);
    late.schedule = {1, 2};
    FaultyEnclosure enclosure = With({late});
    EXPECT_EQ(AskName(enclosure).latency, milliseconds(0));
    for (const int expected : {0, 50, 50, 0}) {
        EXPECT_EQ(enclosure.NextLogInLatency(), milliseconds(expected));
    }
}

TEST_F(Faults, OfRequestsDoNotSlowLogInsDown)
{
    Fault late = OfName(FaultKind::kLatency);
    late.latency = milliseconds(20);
    FaultyEnclosure enclosure = With({late});
    EXPECT_EQ(enclosure.NextLogInLatency(), milliseconds(0));
}

TEST_F(Faults, AddUp)
{
    Fault late = OfName(FaultKind::kLatency);
    late.latency = milliseconds(20);
    Fault cut = OfName(FaultKind::kTruncate);
    cut.keptBytes = 1;
    FaultyEnclosure enclosure = With({late, cut, late});
    const Delivery delivery = AskName(enclosure);
    EXPECT_EQ(delivery.latency, milliseconds(40));
    EXPECT_EQ(delivery.answer, (Answer{0, {'E'}}));
}

TEST(Crash, HitsTheOneRequestOfItsNumberWhateverItIs)
{
    FaultyEnclosure enclosure({}, {}, 3);
    EXPECT_FALSE(enclosure.Serve(0x32, 0xB0, {0x05, 0x00}).crashed);
    EXPECT_FALSE(enclosure.Serve(0x06, 0x01, {}).crashed);
    EXPECT_TRUE(enclosure.Serve(0x32, 0xA8, {}).crashed);
    EXPECT_FALSE(enclosure.Serve(0x32, 0xA8, {}).crashed);
}

}  // namespace
}  // namespace Tulvo::Simulator
