// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_log.h"

#include <gmock/gmock.h>

#include "common/log/log.h"

namespace Tulvo::Fakes {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FakeLog, KeepsLevelFileLineAndTextByteForByte)
{
    FakeLog log;
    Log(2, "dir/a.cpp", 17).Stream() << "code " << '\0' << 5;
    ASSERT_EQ(log.Records().size(), 1U);
    EXPECT_EQ(log.Records()[0].line, (LogLine{2, std::string("code \0005", 7)}));
    EXPECT_EQ(log.Records()[0].file, "dir/a.cpp");
    EXPECT_EQ(log.Records()[0].lineNumber, 17);
    EXPECT_EQ(log.Records()[0].target, "");
}

TEST(FakeLog, KeepsWhomARecordIsAbout)
{
    FakeLog log;
    {
        const LogContext context("enc017");
        Log(2, "a.cpp", 1).Stream() << "one";
    }
    Log(2, "a.cpp", 2).Stream() << "two";
    EXPECT_EQ(log.Records().at(0).target, "enc017");
    EXPECT_EQ(log.Records().at(1).target, "");
}

TEST(FakeLog, DropsWhatIsAboveTheThresholdAndFailsItsStream)
{
    FakeLog log;
    log.threshold = 2;
    Log dropped(3, "a.cpp", 1);
    EXPECT_TRUE(dropped.Stream().fail());
    EXPECT_FALSE(Log(2, "a.cpp", 2).Stream().fail());
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{2, ""}));
}

TEST(FakeLog, ShowsTheLinesOfOneLevel)
{
    FakeLog log;
    Log(1, "a.cpp", 1).Stream() << "failure";
    Log(4, "a.cpp", 2).Stream() << "trace";
    EXPECT_THAT(log.Lines(1), ElementsAre(LogLine{1, "failure"}));
    EXPECT_THAT(log.Lines(3), IsEmpty());
}

TEST(FakeLog, ShowsTheLinesOfOneFile)
{
    FakeLog log;
    Log(1, "dir/a.cpp", 1).Stream() << "of a";
    Log(1, "dir/b.cpp", 2).Stream() << "of b";
    EXPECT_THAT(log.LinesOf("b"), ElementsAre(LogLine{1, "of b"}));
}

}  // namespace
}  // namespace Tulvo::Fakes
