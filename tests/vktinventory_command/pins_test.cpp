// SPDX-License-Identifier: Apache-2.0
// The keys that modules show, as lines of a pins-file.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>

#include "fleet/pins_file.h"
#include "tests/fleet/temporary_folder.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace std::chrono_literals;
using Cli::ExitCode;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::UnorderedElementsAre;

/// As many characters as a pin has, told apart by the last.
std::string PinWith(char character)
{
    return "sha256//" + std::string(42, 'A') + character + "=";
}

const Failure kSilentServer{Cause::kUnreachable,
                            "https://enc4:443: the server took too long",
                            "try again, or allow more time",
                            {}};

class Pins : public testing::Test
{
protected:
    Pins()
    {
        FakeEnclosure& fake = FakeEnclosure::Current();
        fake = FakeEnclosure::Healthy();
        fake.whileReading = [](const Enclosures::Target&) { FAIL() << "somebody logs in"; };
        fake.pin = [this](const std::string& host, std::uint16_t port,
                          const CallLimit& limit) -> std::variant<std::string, Failure> {
            const std::lock_guard lock(mutex);
            asked.emplace_back(host, port);
            limits.push_back(limit);
            const auto why = failures.find(host);
            if (why != failures.end()) {
                return why->second;
            }
            return PinWith(host.back());
        };
    }
    ~Pins() override { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    std::mutex mutex;
    std::vector<std::pair<std::string, std::uint16_t>> asked;
    std::vector<CallLimit> limits;
    std::map<std::string, Failure> failures{{"enc4", kSilentServer}};
};

TEST_F(Pins, AreLinesInTheOrderGivenEachHostOnce)
{
    const Ran ran = RunCommand({"-H", "enc[3,1]", "-H", "enc2,enc3", "pins"});
    EXPECT_EQ(ExitCode::kEverythingRead, ran.code);
    EXPECT_EQ("", ran.error);
    EXPECT_EQ("enc3 " + PinWith('3') + "\nenc1 " + PinWith('1') + "\nenc2 " + PinWith('2') + "\n",
              ran.out);
    EXPECT_EQ(3U, asked.size());
}

TEST_F(Pins, AreAskedForAtTheNamedPort)
{
    const Ran ran = RunCommand(
        {"-H", "enc1", "-H", "enc2:8443", "-H", "[2001:db8::3]:9443", "-p", "1443", "pins"});
    EXPECT_THAT(asked, UnorderedElementsAre(Pair("enc1", 1443), Pair("enc2", 8443),
                                            Pair("2001:db8::3", 9443)));
    EXPECT_THAT(ran.out, HasSubstr("\n[2001:db8::3]:9443 " + PinWith('3') + "\n"));
}

TEST_F(Pins, MakeAFileByWhichHostsAreTrusted)
{
    const Fleet::TemporaryFolder folder;
    const Ran ran = RunCommand({"-H", "enc[1-3],enc7:8443,[2001:db8::3]:9443,10.0.0.5", "pins"});
    const std::string path = folder.Write("remote.pins", ran.out);
    std::vector<std::string> mistakes;
    EXPECT_EQ(6U, Fleet::ReadPins(path, mistakes).size());
    EXPECT_THAT(mistakes, ElementsAre());
    folder.Write("fleet.toml",
                 "[[group]]\nname = \"all\"\npins-file = \"remote.pins\"\ninterface = \"https\"\n"
                 "hosts = [\"enc[1-3],enc7:8443,[2001:db8::3]:9443,10.0.0.5\"]\n");
    FakeEnclosure::Current().whileReading = [](const Enclosures::Target&) {};
    EXPECT_EQ(
        ExitCode::kEverythingRead,
        RunCommand({"--fleet", folder.Path("fleet.toml"), "-H", "enc7", "-P", "p", "status"}).code);
    const auto& https = std::get<Enclosures::Https>(FakeEnclosure::Current().asked->transport);
    EXPECT_EQ(PinWith('7'), std::get<Enclosures::TrustPinnedKey>(*https.trust).pin);
}

TEST_F(Pins, AreOfHostsOfTheFleetFileWhosePinsNobodyKnowsYet)
{
    const Fleet::TemporaryFolder folder;
    folder.Write("fleet.toml",
                 "[defaults]\nuser = \"monitor\"\npassword-file = \"nowhere\"\n"
                 "[[group]]\nname = \"near\"\nhosts = [\"enc[1-2]\"]\n"
                 "[[group]]\nname = \"far\"\nhosts = [\"enc[5-6]:8443\"]\ninterface = \"https\"\n"
                 "pins-file = \"not-yet.pins\"\n");
    const std::string file = folder.Path("fleet.toml");
    const Ran far = RunCommand({"--fleet", file, "--group", "far", "pins"});
    EXPECT_EQ(ExitCode::kEverythingRead, far.code) << far.error;
    EXPECT_EQ("enc5:8443 " + PinWith('5') + "\nenc6:8443 " + PinWith('6') + "\n", far.out);
    EXPECT_THAT(asked, UnorderedElementsAre(Pair("enc5", 8443), Pair("enc6", 8443)));

    const Ran all = RunCommand({"--fleet", file, "--all", "pins"});
    EXPECT_EQ(ExitCode::kSomeQueriesFailed, all.code);
    EXPECT_EQ(far.out, all.out);
    EXPECT_EQ(
        "vktinventory: enc[1-2]: over lanplus a module shows no key; over HTTPS it shows one "
        "(see -I)\n",
        all.error);
    EXPECT_THAT(RunCommand({"--fleet", file, "--all", "-I", "https", "pins"}).out,
                HasSubstr("enc1 " + PinWith('1') + "\n"));
}

TEST_F(Pins, AreNoneOverLanplus)
{
    const Ran ran = RunCommand({"-I", "lanplus", "-H", "enc1", "pins"});
    EXPECT_EQ(ExitCode::kSomeQueriesFailed, ran.code);
    EXPECT_EQ("", ran.out);
    EXPECT_THAT(ran.error, HasSubstr("enc1: over lanplus a module shows no key"));
    EXPECT_THAT(asked, ElementsAre());
}

TEST_F(Pins, OfSilentHostsAreLackingAndTheRestIsPrinted)
{
    failures["enc5"] = kSilentServer;
    failures["enc5"].message = "https://enc5:443: the server took too long";
    const Ran ran = RunCommand({"-H", "enc[1,4-5]", "pins"});
    EXPECT_EQ(ExitCode::kSomeQueriesFailed, ran.code);
    EXPECT_EQ("enc1 " + PinWith('1') + "\n", ran.out);
    EXPECT_EQ(
        "vktinventory: enc[4-5]: no connection: the server took too long; try again, or "
        "allow more time (see -H, -p and --connect-timeout)\n",
        ran.error);
}

TEST_F(Pins, HaveTheCodeOfWhyThereAreNoneWhereThatIsTheSameForAll)
{
    EXPECT_EQ(ExitCode::kNoConnection, RunCommand({"-H", "enc4", "pins"}).code);
    failures["enc5"] = kSilentServer;
    EXPECT_EQ(ExitCode::kNoConnection, RunCommand({"-H", "enc[4-5]", "pins"}).code);
    failures["enc5"].cause = Cause::kRefused;
    EXPECT_EQ(ExitCode::kRefused, RunCommand({"-H", "enc5", "pins"}).code);
    EXPECT_EQ(ExitCode::kSomeQueriesFailed, RunCommand({"-H", "enc[4-5]", "pins"}).code);
}

TEST_F(Pins, AreWaitedForAsLongAsFlagsSay)
{
    const auto before = CallLimit::Clock::now();
    RunCommand({"-H", "enc1", "--timeout", "70", "--connect-timeout", "40", "pins"});
    ASSERT_EQ(1U, limits.size());
    const auto after = CallLimit::Clock::now();
    EXPECT_GE(limits[0].until, before + 70s);
    EXPECT_LE(limits[0].until, after + 70s);
    EXPECT_GE(*limits[0].firstAnswer, before + 40s);
    EXPECT_LE(*limits[0].firstAnswer, after + 40s);
}

TEST_F(Pins, NeedNeitherAccountNorTrust)
{
    // A log-in's flags do no harm; what would say how to verify or to print is refused.
    EXPECT_EQ(ExitCode::kEverythingRead,
              RunCommand({"-H", "enc1", "-U", "u", "-f", "/nowhere", "pins"}).code);
    const std::vector<std::vector<std::string>> refused = {
        {"--pin", PinWith('1')}, {"--insecure"},       {"--auth", "basic"}, {"-C", "17"},
        {"-L", "USER"},          {"--format", "json"}, {"--every", "5"},    {"-k", "key"}};
    for (std::vector<std::string> words : refused) {
        const std::string flag = words.front();
        words.insert(words.begin(), {"-H", "enc1", "pins"});
        const Ran ran = RunCommand(words);
        EXPECT_EQ(ExitCode::kWrongUsage, ran.code) << flag;
        EXPECT_THAT(ran.error, HasSubstr("does not go with pins")) << flag;
        EXPECT_EQ("", ran.out);
    }
    EXPECT_THAT(RunCommand({"pins"}).error, HasSubstr("-H HOST is missing"));
}

}  // namespace
}  // namespace Tulvo::Test
