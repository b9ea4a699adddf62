// SPDX-License-Identifier: Apache-2.0
// What a program can do with a reading, and what it cannot do by mistake.
#include "module/vkt/vkt_enclosure/reading.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace Tulvo::Enclosures {
namespace {

struct Inner
{
    int number = 0;
    Reading<std::string> text = {};
};

std::shared_ptr<const Failure> Late()
{
    static const auto late =
        std::make_shared<const Failure>(Failure{Cause::kTimedOut, "no answer came", "", {}});
    return late;
}

template <class From>
concept TellsItsValue = requires(From&& reading)
{
    std::forward<From>(reading).Get();
};

template <class From>
concept TellsItsFailure = requires(From&& reading)
{
    std::forward<From>(reading).WhyNotRead();
};

// What is pointed to would be gone before it could be looked at.
static_assert(TellsItsValue<const Reading<int>&> && !TellsItsValue<Reading<int>>);
static_assert(TellsItsFailure<const Reading<int>&> && !TellsItsFailure<Reading<int>>);
// Whether there is a value, or what it is? Nobody should have to guess.
static_assert(!std::is_convertible_v<Reading<bool>, bool> &&
              !std::is_constructible_v<bool, Reading<bool>>);

TEST(Reading, IsInOneStateOfFour)
{
    struct Case
    {
        Reading<int> reading;
        bool hasValue;
        bool isAbsent;
        bool wasAsked;
        bool hasFailure;
    };
    const Case cases[] = {
        {{}, false, false, false, false},
        {0, true, false, true, false},
        {Reading<int>::Absent(), false, true, true, false},
        {Reading<int>::NotRead(Late()), false, false, true, true},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(&row - cases);
        EXPECT_EQ(row.hasValue, row.reading.HasValue());
        EXPECT_EQ(row.hasValue, row.reading.Get() != nullptr);
        EXPECT_EQ(row.isAbsent, row.reading.IsAbsent());
        EXPECT_EQ(row.wasAsked, row.reading.WasAsked());
        EXPECT_EQ(row.hasFailure, row.reading.WhyNotRead() != nullptr);
    }
}

TEST(Reading, IsOnlyAValueThatWasRead)
{
    EXPECT_TRUE(Reading<bool>(false).Is(false));
    EXPECT_FALSE(Reading<bool>(false).Is(true));
    for (const Reading<bool>& none :
         {Reading<bool>(), Reading<bool>::Absent(), Reading<bool>::NotRead(Late())}) {
        EXPECT_FALSE(none.Is(false));
        EXPECT_FALSE(none.Is(true));
    }
}

TEST(Reading, GivesItsStateToWhatIsDerived)
{
    const auto twice = [](int number) { return std::to_string(2 * number); };
    EXPECT_TRUE(Reading<int>(21).Map(twice).Is("42"));
    EXPECT_FALSE(Reading<int>().Map(twice).WasAsked());
    EXPECT_TRUE(Reading<int>::Absent().Map(twice).IsAbsent());
    const Reading<std::string> late = Reading<int>::NotRead(Late()).Map(twice);
    EXPECT_EQ(Late().get(), late.WhyNotRead());
}

TEST(Reading, GivesItsStateToAMember)
{
    const Reading<int> number = Reading<Inner>(Inner{.number = 7}).Map(&Inner::number);
    EXPECT_TRUE(number.Is(7));
    EXPECT_TRUE(Reading<Inner>::Absent().Map(&Inner::number).IsAbsent());
}

TEST(Reading, OfAMemberThatIsOneItselfIsThatOne)
{
    const Reading<std::string> text =
        Reading<Inner>(Inner{.text = std::string("text")}).Map(&Inner::text);
    EXPECT_TRUE(text.Is("text"));
    EXPECT_TRUE(
        Reading<Inner>(Inner{.text = Reading<std::string>::Absent()}).Map(&Inner::text).IsAbsent());
    const Reading<std::string> late = Reading<Inner>::NotRead(Late()).Map(&Inner::text);
    EXPECT_EQ(Late().get(), late.WhyNotRead());
}

}  // namespace
}  // namespace Tulvo::Enclosures
