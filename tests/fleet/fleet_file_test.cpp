// SPDX-License-Identifier: Apache-2.0
#include "fleet/fleet_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/fleet/temporary_folder.h"

namespace {

using namespace Tulvo;
using namespace Tulvo::Fleet;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* kPin = "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";
constexpr const char* kOtherPin = "sha256//BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBA=";

/// A fleet of two racks over RMCP+ and some remote enclosures over HTTPS.
constexpr const char* kFleet = R"([defaults]
user = "monitor"
password-file = "monitor.password"
timeout = 20

[[group]]
name = "rack1"
hosts = ["enc[001-040]"]
cipher-suite = 17
expect-psus = 6
labels = { site = "north", rack = "1" }

[[group]]
name = "rack2"
hosts = ["enc[041-080]", "gw:6230"]
labels = { site = "north", rack = "2" }

[[group]]
name = "remote"
hosts = ["enc-r[1-8].example.com:8443"]
interface = "https"
pins-file = "remote.pins"
password-command = "echo remote-secret"
labels = { site = "south" }

[[host]]
name = "enc017"
user = "service"
privilege = "OPERATOR"
kg = "0x00ff"
labels = { rack = "1b" }

[[host]]
name = "lone"
password = "lone-secret"
)";

class FleetFiles : public testing::Test
{
protected:
    FleetFiles()
    {
        folder_.Write("monitor.password", "monitor-secret\n");
        std::string pins;
        for (int i = 1; i <= 8; ++i) {
            pins += "enc-r" + std::to_string(i) + ".example.com" + (i % 2 == 0 ? ":8443" : "") +
                    " " + (i == 3 ? kOtherPin : kPin) + "\n";
        }
        folder_.Write("remote.pins", "# by phone\n\n" + pins);
    }

    FleetFile Load(const std::string& text = kFleet) const
    {
        auto loaded = FleetFile::Load(folder_.Write("fleet.toml", text));
        const auto* const mistakes = std::get_if<Mistakes>(&loaded);
        EXPECT_EQ(mistakes, nullptr) << mistakes->front().message;
        return mistakes == nullptr ? std::get<FleetFile>(std::move(loaded)) : FleetFile{};
    }

    Hosts Selected(const Selection& selection) const
    {
        const auto selected = Load().Select(selection);
        return std::holds_alternative<Hosts>(selected) ? std::get<Hosts>(selected) : Hosts{"wrong"};
    }

    TemporaryFolder folder_;
    const Variable noCredentials_{"CREDENTIALS_DIRECTORY", nullptr};
};

TEST_F(FleetFiles, HaveTheirHostsInTheOrderInWhichTheyStand)
{
    const FleetFile fleet = Load();
    EXPECT_THAT(fleet.HostNames(), SizeIs(90));
    EXPECT_EQ(fleet.HostNames().front(), "enc001");
    EXPECT_EQ(fleet.HostNames()[80], "gw:6230");
    EXPECT_EQ(fleet.HostNames().back(), "lone");
    EXPECT_THAT(fleet.GroupNames(), ElementsAre("rack1", "rack2", "remote"));
    EXPECT_THAT(fleet.LabelValues(), ElementsAre(Pair("rack", ElementsAre("1", "1b", "2")),
                                                 Pair("site", ElementsAre("north", "south"))));
}

TEST_F(FleetFiles, LayHostOverGroupOverDefaultsKeyByKey)
{
    const FleetFile fleet = Load();
    const Member member = *fleet.Find("enc017");
    EXPECT_EQ(member.group, "rack1");
    EXPECT_THAT(member.labels, ElementsAre(Pair("rack", "1b"), Pair("site", "north")));
    EXPECT_EQ(member.settings.user, "service");
    EXPECT_EQ(member.settings.privilege, Enclosures::Privilege::kOperator);
    EXPECT_EQ(member.settings.kg, std::string("\0\xff", 2));
    EXPECT_EQ(member.settings.cipherSuite, 17);
    EXPECT_EQ(member.settings.timeout, std::chrono::seconds(20));
    EXPECT_EQ(ExpectationsOf(member.settings).powerSupplies, 6);
    EXPECT_EQ(fleet.Find("enc018")->settings.user, "monitor");
    EXPECT_EQ(fleet.Find("lone")->group, "");
    EXPECT_FALSE(fleet.Find("nobody"));
}

TEST_F(FleetFiles, SayWhomToAskAndHow)
{
    const FleetFile fleet = Load();
    Passwords passwords;
    const std::vector<Member> members{*fleet.Find("enc001"), *fleet.Find("gw:6230"),
                                      *fleet.Find("enc-r3.example.com:8443"), *fleet.Find("lone")};
    const auto answer = TargetsOf(members, passwords);
    ASSERT_TRUE((std::holds_alternative<std::vector<Enclosures::Target>>(answer)));
    const auto& targets = std::get<std::vector<Enclosures::Target>>(answer);
    ASSERT_THAT(targets, SizeIs(4));
    EXPECT_EQ(targets[0].host, "enc001");
    EXPECT_EQ(targets[0].port, 0);
    EXPECT_EQ(targets[0].user, "monitor");
    EXPECT_EQ(targets[0].password, "monitor-secret");
    EXPECT_EQ(std::get<Enclosures::RmcpPlus>(targets[0].transport).cipherSuite, 17);
    EXPECT_EQ(targets[1].host, "gw");
    EXPECT_EQ(targets[1].port, 6230);
    EXPECT_EQ(targets[2].password, "remote-secret");
    EXPECT_EQ(targets[2].port, 8443);
    const auto& https = std::get<Enclosures::Https>(targets[2].transport);
    EXPECT_EQ(std::get<Enclosures::TrustPinnedKey>(*https.trust).pin, kOtherPin);
    EXPECT_EQ(targets[3].password, "lone-secret");
}

TEST_F(FleetFiles, NameEachMissingPasswordOnce)
{
    const FleetFile fleet = Load(
        "[defaults]\npassword-command = \"exit 1\"\n[[group]]\nname = "
        "\"a\"\nhosts = [\"enc[1-9]\"]\n");
    std::vector<Member> members;
    for (const std::string& name : fleet.HostNames()) {
        members.push_back(*fleet.Find(name));
    }
    Passwords passwords;
    const auto answer = TargetsOf(members, passwords);
    ASSERT_TRUE(std::holds_alternative<Mistakes>(answer));
    ASSERT_THAT(std::get<Mistakes>(answer), SizeIs(1));
    EXPECT_EQ(std::get<Mistakes>(answer)[0].message,
              fleet.Path() + ":2: password-command: the command ended with status 1");
}

TEST_F(FleetFiles, KnowAHostWithAndWithoutItsPort)
{
    const FleetFile fleet = Load(
        "[defaults]\nuser = \"d\"\n[[group]]\nname = \"a\"\nuser = \"u\"\nhosts = [\"h1\", "
        "\"h2:1000\", \"two:1\", \"two:2\", \"[::1]:3\", \"::2\"]\n");
    struct Row
    {
        std::string name;
        std::string user;
        std::uint16_t port;
    };
    for (const Row& row :
         {Row{"h1", "u", 0}, Row{"h1:5", "u", 5}, Row{"h2:1000", "u", 1000}, Row{"h2", "u", 1000},
          Row{"two:2", "u", 2}, Row{"two", "d", 0}, Row{"::1", "u", 3}, Row{"[::1]", "u", 3},
          Row{"[::2]:9", "u", 9}, Row{"other", "d", 0}}) {
        const Member member = fleet.Resolve(row.name);
        EXPECT_EQ(member.name, row.name);
        EXPECT_EQ(member.settings.user, row.user) << row.name;
        const auto target = TargetOf(member.name, member.settings, "");
        ASSERT_TRUE(std::holds_alternative<Enclosures::Target>(target));
        EXPECT_EQ(std::get<Enclosures::Target>(target).port, row.port) << row.name;
    }
    EXPECT_FALSE(FleetFile().Resolve("enc1").settings.user);
}

TEST_F(FleetFiles, AreSelectedFromByGroupAndLabel)
{
    EXPECT_THAT(Selected({}), IsEmpty());
    EXPECT_THAT(Selected({.groups = {}, .labels = {}, .all = true}), SizeIs(90));
    EXPECT_THAT(Selected({.groups = {"rack2", "remote"}, .labels = {}}), SizeIs(49));
    EXPECT_THAT(Selected({.groups = {}, .labels = {{"site", "north"}}}), SizeIs(81));
    EXPECT_THAT(Selected({.groups = {}, .labels = {{"site", "north"}, {"rack", "1"}}}), SizeIs(39));
    EXPECT_THAT(Selected({.groups = {"rack1"}, .labels = {{"rack", "1b"}}}), ElementsAre("enc017"));
    const auto wrong = Load().Select({.groups = {"rack9", "rack\x1b"}, .labels = {}});
    ASSERT_TRUE(std::holds_alternative<Mistakes>(wrong));
    EXPECT_THAT(std::get<Mistakes>(wrong)[0].message,
                EndsWith(R"( has no group "rack9"; it has "rack1", "rack2", "remote")"));
    EXPECT_THAT(std::get<Mistakes>(wrong)[1].message, HasSubstr("\"rack\\x1b\""));
    const auto nobody = Load().Select({.groups = {}, .labels = {{"site", "west"}}});
    ASSERT_TRUE(std::holds_alternative<Mistakes>(nobody));
    EXPECT_THAT(std::get<Mistakes>(nobody)[0].message, HasSubstr("\"site=west\""));
}

TEST_F(FleetFiles, CountTheirGroupsWhereTheyAreMany)
{
    std::string text;
    for (const char* const name : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}) {
        text.append("[[group]]\nname = \"").append(name).append("\"\nhosts = [\"");
        text.append(name).append("1\"]\n");
    }
    EXPECT_THAT(std::get<Mistakes>(Load(text).Select({.groups = {"x"}, .labels = {}}))[0].message,
                EndsWith(R"("g", "h" and 2 more)"));
    EXPECT_THAT(std::get<Mistakes>(FleetFile().Select({.groups = {"x"}, .labels = {}}))[0].message,
                EndsWith("it has none"));
}

TEST_F(FleetFiles, TakePasswordsFromTheServiceManagerFirst)
{
    folder_.Write("credentials/monitor.password", "from-the-manager\n");
    const std::string credentials = folder_.Path("credentials");
    const Variable set("CREDENTIALS_DIRECTORY", credentials.c_str());
    const Member member = *Load().Find("enc001");
    EXPECT_EQ(std::get<PasswordFile>(*member.settings.password).path,
              credentials + "/monitor.password");
}

TEST_F(FleetFiles, CanBeReadForNamesAlone)
{
    const std::string path = folder_.Write("fleet.toml", kFleet);
    std::filesystem::remove(folder_.Path("monitor.password"));
    std::filesystem::remove(folder_.Path("remote.pins"));
    const auto loaded = FleetFile::Load(path, {.namesOnly = true});
    ASSERT_TRUE(std::holds_alternative<FleetFile>(loaded));
    EXPECT_THAT(std::get<FleetFile>(loaded).HostNames(), SizeIs(90));
    EXPECT_TRUE(std::holds_alternative<Mistakes>(FleetFile::Load(path)));
}

TEST_F(FleetFiles, RefuseTheLabelsThatTheReaderHasAUseFor)
{
    const std::string path = folder_.Write(
        "fleet.toml", "[[group]]\nname = \"a\"\nhosts = [\"h\"]\nlabels = { psu = \"1\" }\n");
    EXPECT_TRUE(std::holds_alternative<FleetFile>(FleetFile::Load(path)));
    const auto refused = FleetFile::Load(path, {.refusedLabels = {"psu"}});
    ASSERT_TRUE(std::holds_alternative<Mistakes>(refused));
    EXPECT_THAT(std::get<Mistakes>(refused)[0].message,
                StartsWith(path + ":4: labels: psu has a meaning of its own"));
}

TEST_F(FleetFiles, OfManyHostsAreRead)
{
    const FleetFile fleet = Load(
        "[[group]]\nname = \"a\"\nhosts = [\"enc[1-50000]\"]\n[[group]]\nname = \"b\"\nhosts "
        "= [\"enc[50001-100000]\"]\n");
    EXPECT_THAT(fleet.HostNames(), SizeIs(kMostHosts));
    EXPECT_EQ(fleet.Find("enc77777")->group, "b");
}

struct Slip
{
    std::string text;
    std::string message;  ///< Behind the path.
};

class FleetSlips : public FleetFiles, public testing::WithParamInterface<Slip>
{
protected:
    std::string MessagesFor(const std::string& text, mode_t mode = 0600)
    {
        const std::string path = folder_.Write("fleet.toml", text, mode);
        const auto loaded = FleetFile::Load(path);
        const auto* const mistakes = std::get_if<Mistakes>(&loaded);
        std::string messages;
        for (const Mistake& mistake : mistakes == nullptr ? Mistakes{} : *mistakes) {
            EXPECT_THAT(mistake.message, AllOf(StartsWith(path + ":"), Not(HasSubstr("geheim"))));
            messages += mistake.message.substr(path.size() + 1) + "\n";
        }
        return messages;
    }
};

TEST_P(FleetSlips, AreNamedWithLineAndKey)
{
    EXPECT_THAT(MessagesFor(GetParam().text), StartsWith(GetParam().message));
}

constexpr const char* kGroup = "[[group]]\nname = \"a\"\nhosts = [\"h\"]\n";

Slip InDefaults(const std::string& line, const std::string& message)
{
    return {"[defaults]\n" + line + "\n", "2: " + message};
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, FleetSlips,
    testing::Values(
        Slip{"[defaults\n", "1: column 10: this is not TOML"},
        Slip{"[defaults]\npassword = geheim\n", "2: column "},
        Slip{"[defaults]\npassword = \"geheim\n", "2: column "},
        Slip{"[defaults]\nuser = \"a\"\nuser = \"b\"\n", "3: column "},
        Slip{std::string("\x80"), "1: column "},
        Slip{"user = \"monitor\"\n", "1: user: is none of [defaults], [[group]] and [[host]]"},
        Slip{"[groups]\n", "1: groups: is none of"},
        Slip{"[group]\nname = \"a\"\n", "1: group: is to be a table of several: [[group]]"},
        Slip{"group = [1]\n", "1: group: is to be a table"},
        Slip{"defaults = 1\n", "1: defaults: is to be a table"},
        Slip{"[[defaults]]\n", "1: defaults: is to be a table"}));

INSTANTIATE_TEST_SUITE_P(
    Groups, FleetSlips,
    testing::Values(
        Slip{"[[group]]\nhosts = [\"h\"]\n", "1: name: this group lacks one"},
        Slip{"[[group]]\nname = 1\nhosts = [\"h\"]\n", "2: name: is to be a text"},
        Slip{"[[group]]\nname = \"\"\nhosts = [\"h\"]\n", "2: name: must not be empty"},
        Slip{"[[group]]\nname = \"a\\u001b\"\nhosts = [\"h\"]\n", "2: name: is to be one line"},
        Slip{"[[group]]\nname = \"a\"\n", "1: hosts: this group has none"},
        Slip{"[[group]]\nname = \"a\"\nhosts = []\n", "3: hosts: this group has none"},
        Slip{"[[group]]\nname = \"a\"\nhosts = \"h\"\n", "3: hosts: is to be a list of texts"},
        Slip{"[[group]]\nname = \"a\"\nhosts = [1]\n", "3: hosts: is to be a text"},
        Slip{"[[group]]\nname = \"a\"\nhosts = [\n\"h\",\n\"x[3-1]\"]\n",
             "5: hosts: host pattern \"x[3-1]\", character 2: "},
        Slip{"[[group]]\nname = \"a\"\nhosts = [\"^/etc/passwd\"]\n",
             "3: hosts: host pattern \"^/etc/passwd\", character 1: a file of patterns cannot"},
        Slip{std::string(kGroup) + kGroup, "4: name: there is another group \"a\""},
        Slip{"[[group]]\nname = \"a\"\nhosts = [\"e[1-5]\"]\n[[group]]\nname = \"b\"\nhosts = "
             "[\"e[4-9]\"]\n",
             "6: hosts: e[4-5] stands in the group \"a\", too; a host is in one group"},
        Slip{"[[group]]\nname = \"a\"\nhosts = [\"e[1-99999]\", \"f[1-2]\"]\n",
             "3: hosts: with these there are more than 100000"},
        Slip{"[[host]]\nuser = \"u\"\n", "1: name: this host lacks one"},
        Slip{"[[host]]\nname = \"e[1-2]\"\n", "2: name: is to be one host"},
        Slip{"[[host]]\nname = \"e e\"\n", "2: name: host pattern \"e e\""},
        Slip{"[[host]]\nname = \"e\"\n[[host]]\nname = \"e\"\n",
             "4: name: there is another [[host]] \"e\""}));

INSTANTIATE_TEST_SUITE_P(
    Keys, FleetSlips,
    testing::Values(
        InDefaults("usr = \"a\"", "usr: is no key that can stand here"),
        InDefaults("name = \"a\"", "name: is no key that can stand here"),
        InDefaults("\"a\\u001b\" = 1", "a\\x1b: is no key"),
        InDefaults("user = 1", "user: is to be a text in quotes"),
        InDefaults("user = \"\"", "user: must not be empty"),
        InDefaults("interface = \"lan\"", "interface: is to be one of \"lanplus\", \"https\""),
        InDefaults("port = 0", "port: is to be a number from 1 to 65535"),
        InDefaults("port = \"623\"", "port: is to be a number"),
        InDefaults("cipher-suite = 0", "cipher-suite: is to be 3 or 17"),
        InDefaults("privilege = \"ROOT\"", "privilege: is to be one of \"user\""),
        InDefaults("kg = \"0xgg\"", "kg: is to have at most 20 bytes"),
        InDefaults("auth = \"digest\"", "auth: is to be one of \"session\", \"basic\""),
        InDefaults("timeout = 0", "timeout: is to be a number from 1 to 86400"),
        InDefaults("connect-timeout = 1.5", "connect-timeout: is to be a number"),
        InDefaults("expect-psus = -1", "expect-psus: is to be a number from 0 to 255"),
        InDefaults("expect-nodes = 256", "expect-nodes: is to be a number"),
        InDefaults("insecure = \"yes\"", "insecure: is to be true or false"),
        InDefaults("password-env = 1", "password-env: is to be true or false"),
        InDefaults("password = 1", "password: is to be a text"),
        InDefaults("password-command = \"\"", "password-command: must not be empty"),
        InDefaults("pin = \"geheim\"", "pin: is to be sha256// and 44 characters"),
        InDefaults("labels = \"a\"", "labels: is to be a table"),
        InDefaults("labels = { rack = 1 }", "labels: rack is to be one line of text"),
        InDefaults("labels = { a-b = \"1\" }", "labels: a-b is no name for a label"),
        InDefaults("labels = { instance = \"1\" }", "labels: instance has a meaning of its own"),
        InDefaults("labels = { __x = \"1\" }", "labels: __x has a meaning of its own"),
        Slip{"[defaults]\ninterface = \"https\"\ncipher-suite = 3\n",
             "3: cipher-suite: does not go with interface = \"https\""},
        Slip{"[defaults]\ninterface = \"lanplus\"\ninsecure = true\n",
             "3: insecure: goes only with interface = \"https\""},
        Slip{"[defaults]\ninsecure = true\npin = \"" + std::string(kPin) + "\"\n",
             "3: pin: only one of ca-file, pin, pins-file and insecure"},
        Slip{"[defaults]\npassword = \"geheim\"\npassword-env = true\n",
             "3: password-env: only one of password, password-file"},
        Slip{"[defaults]\nusr = 1\n\nprt = 1\n",
             "2: usr: is no key that can stand here\n4: prt: is no key that can stand here\n"}));

TEST_F(FleetSlips, OfFilesThatAreNamedAreFoundBeforeAnybodyIsAsked)
{
    EXPECT_THAT(MessagesFor("[defaults]\npassword-file = \"none\"\n"),
                AllOf(StartsWith("2: password-file: the password file "),
                      HasSubstr("/none cannot be read: No such file or directory")));
    folder_.Write("open", "geheim\n", 0644);
    EXPECT_THAT(MessagesFor("[defaults]\npassword-file = \"open\"\n"),
                HasSubstr("may be read by everybody"));
    EXPECT_THAT(MessagesFor("[defaults]\nca-file = \"none\"\n"),
                AllOf(StartsWith("2: ca-file: "), HasSubstr("No such file")));
    EXPECT_THAT(MessagesFor("[defaults]\npins-file = \"none\"\n"),
                AllOf(StartsWith("2: pins-file: "), HasSubstr("No such file")));
    const std::string pin = kPin;
    folder_.Write("pins", "h1 sha256//short\nh2 " + pin + "\nh2 " + pin + "\n:1 x\nh[3-4] " + pin +
                              "\nh5,h6 " + pin + "\nhttps://h7 " + pin + "\nh@8 " + pin +
                              "\nfe80::9%eth0 " + pin + "\n");
    EXPECT_THAT(MessagesFor("[defaults]\npins-file = \"pins\"\n"),
                AllOf(HasSubstr("pins: line 1: a host and its pin"),
                      HasSubstr("pins: line 3: h2 has a line already"),
                      HasSubstr("pins: line 4: \":1\" is no host"),
                      HasSubstr("pins: line 5: \"h[3-4]\" is a pattern"),
                      HasSubstr("pins: line 6: \"h5,h6\" is a pattern"),
                      HasSubstr("pins: line 7: \"https://h7\" is no host"),
                      HasSubstr("pins: line 8: host pattern \"h@8\", character 2: "),
                      Not(HasSubstr("line 9"))));
}

TEST_F(FleetFiles, TrustBothPinsWhileAModuleChangesItsKey)
{
    const std::string pins = std::string(kPin) + ';' + kOtherPin;
    const FleetFile fleet = Load("[defaults]\ninterface = \"https\"\npin = \"" + pins + "\"\n");
    const auto target = TargetOf("h1", fleet.Resolve("h1").settings, "");
    ASSERT_TRUE(std::holds_alternative<Enclosures::Target>(target));
    const auto& https = std::get<Enclosures::Https>(std::get<Enclosures::Target>(target).transport);
    EXPECT_EQ(std::get<Enclosures::TrustPinnedKey>(*https.trust).pin, pins);
}

TEST_F(FleetSlips, AHostWithoutItsPinIsNamed)
{
    folder_.Write("pins", "h1 " + std::string(kPin) + "\n");
    EXPECT_THAT(MessagesFor("[[group]]\nname = \"a\"\nhosts = [\"h[1-3]\"]\ninterface = "
                            "\"https\"\npins-file = \"pins\"\n"),
                AllOf(StartsWith("5: pins-file: "), HasSubstr("no line for h[2-3]")));
    // Over RMCP+ nobody asks for it.
    EXPECT_EQ(MessagesFor("[[group]]\nname = \"a\"\nhosts = [\"h[1-3]\"]\npins-file = \"pins\"\n"),
              "");
    // One that the file of the fleet does not have is found when it is asked for.
    const FleetFile fleet = Load("[defaults]\ninterface = \"https\"\npins-file = \"pins\"\n");
    EXPECT_TRUE(std::holds_alternative<Enclosures::Target>(
        TargetOf("h1", fleet.Resolve("h1").settings, "")));
    const auto target = TargetOf("h2", fleet.Resolve("h2").settings, "");
    ASSERT_TRUE(std::holds_alternative<Mistake>(target));
    EXPECT_THAT(std::get<Mistake>(target).message, HasSubstr("pins has no line for h2"));
}

TEST_F(FleetSlips, AFileWithAPasswordIsNobodyElsesToRead)
{
    const std::string password = "[defaults]\npassword = \"geheim\"\n";
    EXPECT_EQ(MessagesFor(password), "");
    EXPECT_THAT(MessagesFor(password, 0604), HasSubstr("may be read by everybody"));
    EXPECT_THAT(MessagesFor(password, 0640), HasSubstr("may be read by its group"));
    EXPECT_THAT(MessagesFor("[defaults]\nkg = \"geheim\"\n", 0644), HasSubstr("everybody"));
    EXPECT_EQ(MessagesFor("[defaults]\nuser = \"u\"\n", 0644), "");
}

TEST_F(FleetSlips, OfSizeAreBounded)
{
    EXPECT_THAT(MessagesFor(std::string((10U << 20U) + 1, '\n')),
                HasSubstr("more than 10485760 bytes"));
    EXPECT_THAT(MessagesFor("[defaults]\n" + std::string(101, '.') + "\n"),
                StartsWith("2: more than 100 dots"));
    std::string keys = "[defaults]\n";
    for (int i = 0; i < 150; ++i) {
        keys += "k" + std::to_string(i) + " = 1\n";
    }
    EXPECT_THAT(MessagesFor(keys), HasSubstr("and 50 more mistakes"));
    EXPECT_THAT(MessagesFor("hosts = " + std::string(100000, '[')), Not(IsEmpty()));
    // Ten million bytes of hosts are too many hosts, and that is said.
    std::string hosts = "[[group]]\nname = \"a\"\nhosts = [\n";
    for (int i = 0; hosts.size() < 10'000'000; ++i) {
        hosts += "\"enclosure-" + std::to_string(i) + ".rack.example.com\",\n";
    }
    EXPECT_THAT(MessagesFor(hosts + "]\n"), HasSubstr("more than 100000"));
    std::string comments(kGroup);
    comments.resize(10'000'000, '#');
    EXPECT_EQ(MessagesFor(comments), "");
}

TEST_F(FleetFiles, ThatAreNotThereAreAMistakeWhenNamed)
{
    const auto loaded = FleetFile::Load(folder_.Path("none.toml"));
    ASSERT_TRUE(std::holds_alternative<Mistakes>(loaded));
    EXPECT_EQ(
        std::get<Mistakes>(loaded)[0].message,
        folder_.Path("none.toml") + ": the fleet file cannot be read: No such file or directory");
}

TEST_F(FleetFiles, AreLookedForInOneOrder)
{
    const Variable noFleet("VKT_FLEET", nullptr);
    const std::string own = folder_.Path("vktinventory/fleet.toml");
    const Variable home("HOME", folder_.Path("").c_str());
    {
        const Variable configuration("XDG_CONFIG_HOME", folder_.Path("").c_str());
        EXPECT_EQ(FindFleetFile().tried.size(), 2U);
        folder_.Write("vktinventory/fleet.toml", "");
        EXPECT_EQ(std::filesystem::path(*FindFleetFile().path).lexically_normal(), own);
        const Variable fleet("VKT_FLEET", "/else/where.toml");
        EXPECT_EQ(FindFleetFile().path, "/else/where.toml");
        EXPECT_EQ(FindFleetFile("given.toml").path, "given.toml");
    }
    const Variable none("XDG_CONFIG_HOME", nullptr);
    EXPECT_THAT(FindFleetFile().tried.front(), HasSubstr("/.config/vktinventory/fleet.toml"));
    EXPECT_EQ(FindFleetFile().tried.back(), "/etc/vktinventory/fleet.toml");
}

}  // namespace
