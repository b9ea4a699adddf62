// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "common/config/toml_parser.h"
#include "common/text/pin.h"
#include "common/text/printable.h"
#include "fleet/bounded_file.h"
#include "fleet/fleet_file.h"
#include "fleet/host_folding.h"
#include "fleet/pins_file.h"

namespace Tulvo::Fleet {
namespace {

constexpr std::size_t kLargestFleetFile = 10U << 20U;
constexpr std::size_t kMostTold = 100;
constexpr std::int64_t kLongestTimeout = 86400;

using Text::PrintableAscii;
using Text::Quoted;

bool IsOneLine(std::string_view text)
{
    return Text::PrintableText(text) == text && text.find('\n') == std::string_view::npos;
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20)
                                                    : character;
    });
    return text;
}

/// The number, from 1, of the first line that could hold a key of so many dotted parts that the
/// parser, which descends once a part, runs out of stack; 0 when none could.
std::size_t LineOfDeepKey(std::string_view content)
{
    constexpr int kMostDots = 100;
    std::size_t line = 1;
    int dots = 0;
    char quote = 0;
    for (std::size_t i = 0; i < content.size(); ++i) {
        const char character = content[i];
        if (character == '\n') {
            ++line;
            dots = 0;
            quote = 0;
        } else if (quote == '"' && character == '\\') {
            ++i;
        } else if (quote != 0) {
            quote = character == quote ? '\0' : quote;
        } else if (character == '"' || character == '\'') {
            quote = character;
        } else if (character == '.' && ++dots > kMostDots) {
            return line;
        }
    }
    return 0;
}

/// A letter or '_', then also digits: what Prometheus takes as a label's name.
bool IsLabelName(std::string_view name)
{
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    return !name.empty() && kLetters.find(name.front()) != std::string_view::npos &&
           std::all_of(name.begin(), name.end(), [&](char character) {
               return kLetters.find(character) != std::string_view::npos ||
                      (character >= '0' && character <= '9');
           });
}

template <class T>
struct Choice
{
    std::string_view name;
    T value;
};

constexpr Choice<bool> kInterfaces[] = {{"lanplus", false}, {"https", true}};
constexpr Choice<Enclosures::Privilege> kPrivileges[] = {
    {"user", Enclosures::Privilege::kUser},
    {"operator", Enclosures::Privilege::kOperator},
    {"administrator", Enclosures::Privilege::kAdministrator}};
constexpr Choice<Enclosures::HttpAuthentication> kAuthentications[] = {
    {"session", Enclosures::HttpAuthentication::kSession},
    {"basic", Enclosures::HttpAuthentication::kBasic}};

/// What is wrong with a value; empty when nothing is.
using Fault = std::string;

constexpr const char* kNoText = "is to be a text in quotes";

template <class T, std::size_t N>
Fault Choose(const toml::node& node, const Choice<T> (&choices)[N], std::optional<T>& setting)
{
    std::string names;
    for (const Choice<T>& choice : choices) {
        names += (names.empty() ? "" : ", ") + Quoted(choice.name);
    }
    const auto text = node.value_exact<std::string>();
    for (const Choice<T>& choice : choices) {
        if (text && Lower(*text) == choice.name) {
            setting = choice.value;
            return {};
        }
    }
    return "is to be one of " + names;
}

template <class T>
Fault Number(const toml::node& node, std::int64_t least, std::int64_t most,
             std::optional<T>& setting)
{
    const auto number = node.value_exact<std::int64_t>();
    if (!number || *number < least || *number > most) {
        return "is to be a number from " + std::to_string(least) + " to " + std::to_string(most);
    }
    setting = static_cast<T>(*number);
    return {};
}

Fault Seconds(const toml::node& node, std::optional<std::chrono::seconds>& setting)
{
    std::optional<std::int64_t> seconds;
    Fault fault = Number(node, 1, kLongestTimeout, seconds);
    if (seconds) {
        setting = std::chrono::seconds(*seconds);
    }
    return fault;
}

/// A text that is not empty: one that was left empty by mistake must decide nothing.
Fault Words(const toml::node& node, std::string& words)
{
    const auto text = node.value_exact<std::string>();
    if (!text) {
        return kNoText;
    }
    words = *text;
    return words.empty() ? "must not be empty" : "";
}

}  // namespace

/// Reads one file, once.
class FleetReader
{
public:
    FleetReader(const std::string& path, const FleetReading& reading)
        : reading_(reading), directory_(std::filesystem::path(path).parent_path())
    {
        fleet_.path_ = path;
    }

    std::variant<FleetFile, Mistakes> Read()
    {
        const auto file = ReadFile(fleet_.path_, kLargestFleetFile);
        if (const auto* const reason = std::get_if<std::string>(&file)) {
            return Mistakes{{fleet_.path_ + ": the fleet file cannot be read: " + *reason}};
        }
        const FileText& content = std::get<FileText>(file);
        if (const std::size_t line = LineOfDeepKey(content.text)) {
            Tell(line, "", "more than 100 dots in a line");
            return Told();
        }
        const toml::parse_result parsed = toml::parse(std::string_view(content.text));
        if (!parsed) {
            // The parser's own words may quote a password.
            const auto& at = parsed.error().source().begin;
            Tell(at.line, "column " + std::to_string(at.column),
                 "this is not TOML; texts stand in quotes, and each key once");
            return Told();
        }
        ReadTables(parsed.table());
        CheckSecrecy(content.status);
        CheckPins();
        if (!mistakes_.empty()) {
            return Told();
        }
        return std::move(fleet_);
    }

private:
    using Part = FleetFile::Part;
    using Line = std::size_t;

    /// A key of a table, and what makes a setting of it.
    struct Key
    {
        std::string_view name;
        Fault (FleetReader::*read)(const toml::node& node, Part& part);
    };
    static const Key kKeys[];

    void Tell(Line line, const std::string& key, const std::string& what)
    {
        mistakes_.emplace_back(line, Where(line, key) + what);
    }

    std::string Where(Line line, const std::string& key) const
    {
        return fleet_.path_ + ":" + std::to_string(line) + ": " + (key.empty() ? "" : key + ": ");
    }

    /// By line, and not without end.
    Mistakes Told()
    {
        std::stable_sort(
            mistakes_.begin(), mistakes_.end(),
            [](const auto& one, const auto& other) { return one.first < other.first; });
        Mistakes told;
        for (const auto& [line, message] : mistakes_) {
            if (told.size() == kMostTold) {
                told.push_back({fleet_.path_ + ": and " +
                                std::to_string(mistakes_.size() - kMostTold) + " more mistakes"});
                break;
            }
            told.push_back({message});
        }
        return told;
    }

    void ReadTables(const toml::table& root)
    {
        if (const toml::node* const defaults = root.get("defaults")) {
            if (const toml::table* const table = defaults->as_table()) {
                ReadPart(*table, {}, fleet_.defaults_);
            } else {
                Tell(defaults->source().begin.line, "defaults", "is to be a table: [defaults]");
            }
        }
        ForEachTable(root, "group", [this](const toml::table& table) { ReadGroup(table); });
        ForEachTable(root, "host", [this](const toml::table& table) { ReadHost(table); });
        for (const auto& [key, node] : root) {
            if (key.str() != "defaults" && key.str() != "group" && key.str() != "host") {
                Tell(key.source().begin.line, PrintableAscii(key.str(), Text::kMostShown),
                     "is none of [defaults], [[group]] and [[host]]");
            }
        }
    }

    template <class Read>
    void ForEachTable(const toml::table& root, const std::string& name, const Read& read)
    {
        const toml::node* const node = root.get(name);
        if (node == nullptr) {
            return;
        }
        const toml::array* const tables = node->as_array();
        if (tables == nullptr) {
            Tell(node->source().begin.line, name, "is to be a table of several: [[" + name + "]]");
            return;
        }
        for (const toml::node& entry : *tables) {
            if (const toml::table* const table = entry.as_table()) {
                read(*table);
            } else {
                Tell(entry.source().begin.line, name, "is to be a table: [[" + name + "]]");
            }
        }
    }

    /// All keys but `own`, which the caller reads.
    void ReadPart(const toml::table& table, const std::set<std::string_view>& own, Part& part)
    {
        for (const auto& [key, node] : table) {
            const std::string_view name = key.str();
            const Line line = key.source().begin.line;
            if (own.contains(name)) {
                continue;
            }
            const Key* const known = FindKey(name);
            if (known == nullptr) {
                Tell(line, PrintableAscii(name, Text::kMostShown), "is no key that can stand here");
                continue;
            }
            where_ = fleet_.path_ + ":" + std::to_string(line) + ": " + std::string(name);
            if (const Fault fault = (this->*known->read)(node, part); !fault.empty()) {
                Tell(line, std::string(name), fault);
            }
        }
        if (part.settings.https) {
            RefuseKeysOfTheOther(table, *part.settings.https);
        }
    }

    static const Key* FindKey(std::string_view name);

    /// A table that says which interface it means has no use for a key of the other.
    void RefuseKeysOfTheOther(const toml::table& table, bool https)
    {
        static constexpr std::string_view kIpmiOnly[] = {"cipher-suite", "privilege", "kg"};
        static constexpr std::string_view kHttpsOnly[] = {"ca-file", "pin", "pins-file", "insecure",
                                                          "auth"};
        const auto refuse = [&](std::string_view name) {
            if (const toml::node* const node = table.get(name)) {
                Tell(node->source().begin.line, std::string(name),
                     https ? "does not go with interface = \"https\""
                           : "goes only with interface = \"https\"");
            }
        };
        if (https) {
            std::for_each(std::begin(kIpmiOnly), std::end(kIpmiOnly), refuse);
        } else {
            std::for_each(std::begin(kHttpsOnly), std::end(kHttpsOnly), refuse);
        }
    }

    /// The name that a group or host must have; empty when it has none.
    std::string NameIn(const toml::table& table, const std::string& kind)
    {
        const toml::node* const node = table.get("name");
        if (node == nullptr) {
            Tell(table.source().begin.line, "name", "this " + kind + " lacks one");
            return {};
        }
        std::string name;
        Fault fault = Words(*node, name);
        if (fault.empty() && !IsOneLine(name)) {
            fault = "is to be one line of printable text";
        }
        if (!fault.empty()) {
            Tell(node->source().begin.line, "name", fault);
            return {};
        }
        return name;
    }

    void ReadGroup(const toml::table& table)
    {
        Part part;
        part.name = NameIn(table, "group");
        ReadPart(table, {"name", "hosts"}, part);
        const Line line = table.source().begin.line;
        for (const Part& other : fleet_.groups_) {
            if (!part.name.empty() && other.name == part.name) {
                Tell(line, "name", "there is another group " + Quoted(part.name));
            }
        }
        const std::size_t group = fleet_.groups_.size();
        fleet_.groups_.push_back(std::move(part));
        const toml::node* const hosts = table.get("hosts");
        const toml::array* const patterns = hosts == nullptr ? nullptr : hosts->as_array();
        if (hosts != nullptr && patterns == nullptr) {
            Tell(hosts->source().begin.line, "hosts",
                 "is to be a list of texts, as in [\"enc[1-40]\"]");
        } else if (patterns == nullptr || patterns->empty()) {
            Tell(hosts == nullptr ? line : hosts->source().begin.line, "hosts",
                 "this group has none");
        } else {
            for (const toml::node& pattern : *patterns) {
                AddHosts(pattern, group);
            }
        }
    }

    void AddHosts(const toml::node& pattern, std::size_t group)
    {
        const Line line = pattern.source().begin.line;
        const auto text = pattern.value_exact<std::string>();
        if (!text) {
            return Tell(line, "hosts", kNoText);
        }
        if (tooMany_) {
            return;
        }
        const auto expanded = ExpandHosts({*text}, {}, HostFiles::kRefused);
        if (const auto* const mistake = std::get_if<Mistake>(&expanded)) {
            return Tell(line, "hosts", mistake->message);
        }
        std::map<std::size_t, Hosts> elsewhere;
        for (const std::string& host : std::get<Hosts>(expanded)) {
            const auto [place, isNew] = fleet_.places_.try_emplace(host);
            if (isNew) {
                AddName(host);
                place->second.group = group;
            } else if (place->second.group != group) {
                elsewhere[*place->second.group].push_back(host);
            }
        }
        for (const auto& [other, hosts] : elsewhere) {
            Tell(line, "hosts",
                 PrintableAscii(FoldHosts(hosts), Text::kMostShown) + " stands in the group " +
                     Quoted(fleet_.groups_[other].name) + ", too; a host is in one group");
        }
        if (fleet_.names_.size() > kMostHosts) {
            tooMany_ = true;
            Tell(line, "hosts", "with these there are more than " + std::to_string(kMostHosts));
        }
    }

    void AddName(const std::string& name)
    {
        fleet_.names_.push_back(name);
        const std::optional<HostPort> divided = SplitPort(name);
        const auto [first, isNew] = fleet_.withoutPort_.try_emplace(divided->host, name);
        if (!isNew) {
            first->second.clear();  // which of them is meant nobody could tell
        }
    }

    void ReadHost(const toml::table& table)
    {
        Part part;
        const std::string name = NameIn(table, "host");
        ReadPart(table, {"name"}, part);
        if (name.empty()) {
            return;
        }
        const Line line = table.get("name")->source().begin.line;
        const auto expanded = ExpandHosts({name}, {}, HostFiles::kRefused);
        if (const auto* const mistake = std::get_if<Mistake>(&expanded)) {
            return Tell(line, "name", mistake->message);
        }
        if (IsPattern(name)) {
            return Tell(line, "name", "is to be one host; several make a [[group]]");
        }
        const auto [place, isNew] = fleet_.places_.try_emplace(name);
        if (isNew) {
            AddName(name);
        } else if (place->second.own) {
            return Tell(line, "name", "there is another [[host]] " + Quoted(name));
        }
        place->second.own = fleet_.hosts_.size();
        fleet_.hosts_.push_back(std::move(part));
    }

    Fault Interface(const toml::node& node, Part& part)
    {
        return Choose(node, kInterfaces, part.settings.https);
    }
    Fault Port(const toml::node& node, Part& part)
    {
        return Number(node, 1, UINT16_MAX, part.settings.port);
    }
    Fault User(const toml::node& node, Part& part)
    {
        return Words(node, part.settings.user.emplace());
    }
    Fault CipherSuite(const toml::node& node, Part& part)
    {
        // The suites that both sign and encrypt soundly; the IPMI client uses no other.
        const std::int64_t suite = node.value_exact<std::int64_t>().value_or(0);
        const bool sound = suite == 3 || suite == 17;
        if (sound) {
            part.settings.cipherSuite = static_cast<std::uint8_t>(suite);
        }
        return sound ? "" : "is to be 3 or 17";
    }
    Fault Privilege(const toml::node& node, Part& part)
    {
        return Choose(node, kPrivileges, part.settings.privilege);
    }
    Fault Authentication(const toml::node& node, Part& part)
    {
        return Choose(node, kAuthentications, part.settings.authentication);
    }
    Fault Timeout(const toml::node& node, Part& part)
    {
        return Seconds(node, part.settings.timeout);
    }
    Fault ConnectTimeout(const toml::node& node, Part& part)
    {
        return Seconds(node, part.settings.connectTimeout);
    }
    Fault ExpectPsus(const toml::node& node, Part& part)
    {
        return Number(node, 0, UINT8_MAX, part.settings.expectPsus);
    }
    Fault ExpectNodes(const toml::node& node, Part& part)
    {
        return Number(node, 0, UINT8_MAX, part.settings.expectNodes);
    }

    Fault Kg(const toml::node& node, Part& part)
    {
        std::string typed;
        Fault fault = Words(node, typed);
        if (!fault.empty()) {
            return fault;
        }
        holdsSecret_ = true;
        part.settings.kg = KgFrom(typed);
        return part.settings.kg ? ""
                                : "is to have at most 20 bytes, as text or as 0x and pairs of "
                                  "hexadecimal digits";
    }

    Fault SetPassword(Part& part, PasswordSource source)
    {
        if (part.settings.password) {
            return "only one of password, password-file, password-command and password-env can "
                   "stand here";
        }
        part.settings.password = std::move(source);
        return {};
    }

    Fault Password(const toml::node& node, Part& part)
    {
        holdsSecret_ = true;
        std::string text;
        const Fault fault = Words(node, text);
        return fault.empty() ? SetPassword(part, PasswordText{text}) : fault;
    }

    Fault PasswordFrom(const toml::node& node, Part& part)
    {
        std::string named;
        if (Fault fault = Words(node, named); !fault.empty()) {
            return fault;
        }
        const PasswordFile file{PasswordPath(named), where_};
        if (!reading_.namesOnly && !MayNotRead(file.path)) {
            // Without the words that say where, which the caller adds.
            const auto read = ReadPassword({file.path});
            if (const auto* const mistake = std::get_if<Mistake>(&read)) {
                return mistake->message;
            }
        }
        return SetPassword(part, file);
    }

    Fault Command(const toml::node& node, Part& part)
    {
        std::string command;
        const Fault fault = Words(node, command);
        return fault.empty() ? SetPassword(part, PasswordCommand{command, where_}) : fault;
    }

    Fault FromEnvironment(const toml::node& node, Part& part)
    {
        const auto wanted = node.value_exact<bool>();
        if (!wanted) {
            return "is to be true or false";
        }
        return *wanted ? SetPassword(part, PasswordEnvironment{}) : "";
    }

    Fault SetTrust(Part& part, TrustSetting trust)
    {
        if (part.settings.trust) {
            return "only one of ca-file, pin, pins-file and insecure can stand here";
        }
        part.settings.trust = std::move(trust);
        return {};
    }

    Fault CaFile(const toml::node& node, Part& part)
    {
        std::string named;
        if (Fault fault = Words(node, named); !fault.empty()) {
            return fault;
        }
        const std::string path = Beside(named);
        std::error_code error;
        if (!reading_.namesOnly && !std::filesystem::exists(path, error)) {
            return path + ": " +
                   (error ? error.message() : std::string("No such file or directory"));
        }
        return SetTrust(part, Enclosures::TrustAuthorityFile{path});
    }

    Fault Pin(const toml::node& node, Part& part)
    {
        const auto pin = node.value_exact<std::string>();
        if (!pin || !Text::ArePins(*pin)) {
            return "is to be sha256// and 44 characters of Base64";
        }
        return SetTrust(part, Enclosures::TrustPinnedKey{*pin});
    }

    Fault PinsFrom(const toml::node& node, Part& part)
    {
        std::string named;
        if (Fault fault = Words(node, named); !fault.empty()) {
            return fault;
        }
        const std::string path = Beside(named);
        const std::string from = where_ + ": " + path;
        part.settings.pinsFrom = from;
        if (!reading_.namesOnly) {
            std::vector<std::string> wrong;
            fleet_.pins_[from] = ReadPins(path, wrong);
            for (const std::string& what : wrong) {
                mistakes_.emplace_back(node.source().begin.line,
                                       std::string(from).append(": ").append(what));
            }
            unreadPins_ = unreadPins_ || !wrong.empty();
        }
        return SetTrust(part, NoPin{from});
    }

    Fault Insecure(const toml::node& node, Part& part)
    {
        const auto wanted = node.value_exact<bool>();
        if (!wanted) {
            return "is to be true or false";
        }
        return *wanted ? SetTrust(part, Enclosures::TrustAnybody{}) : "";
    }

    Fault LabelsFrom(const toml::node& node, Part& part)
    {
        const toml::table* const labels = node.as_table();
        if (labels == nullptr) {
            return "is to be a table, as in { site = \"north\" }";
        }
        for (const auto& [key, value] : *labels) {
            const std::string name(key.str());
            const auto text = value.value_exact<std::string>();
            const std::string shown = PrintableAscii(name, Text::kMostShown);
            if (!IsLabelName(name)) {
                return shown + " is no name for a label: letters, digits and _ make one";
            }
            const auto& refused = reading_.refusedLabels;
            if (name == "instance" || name == "job" || name.starts_with("__") ||
                std::find(refused.begin(), refused.end(), name) != refused.end()) {
                return shown + " has a meaning of its own; name the label otherwise";
            }
            if (!text || !IsOneLine(*text)) {
                return shown + " is to be one line of text in quotes";
            }
            part.labels[name] = *text;
        }
        return {};
    }

    std::string Beside(const std::string& named) const { return (directory_ / named).string(); }

    /// A service manager's credentials stand before what lies beside the fleet file.
    std::string PasswordPath(const std::string& named) const
    {
        const char* const credentials = std::getenv("CREDENTIALS_DIRECTORY");
        if (credentials != nullptr && *credentials != '\0' &&
            named.find('/') == std::string::npos) {
            std::string path = (std::filesystem::path(credentials) / named).string();
            std::error_code error;
            if (std::filesystem::exists(path, error)) {
                return path;
            }
        }
        return Beside(named);
    }

    void CheckSecrecy(const struct stat& status)
    {
        const std::string open = TooOpen(status);
        if (holdsSecret_ && !open.empty()) {
            mistakes_.emplace_back(0, fleet_.path_ + ": holds a password or key and " + open);
        }
    }

    /// Every host that is to be trusted by a pin has one.
    void CheckPins()
    {
        if (reading_.namesOnly || unreadPins_ || fleet_.pins_.empty()) {
            return;
        }
        std::map<std::string, Hosts> without;
        for (const std::string& name : fleet_.names_) {
            const Member member = fleet_.MemberAt(name, fleet_.places_.find(name)->second);
            const auto& trust = member.settings.trust;
            if (member.settings.https.value_or(false) && trust &&
                std::holds_alternative<NoPin>(*trust)) {
                without[std::get<NoPin>(*trust).where].push_back(name);
            }
        }
        for (const auto& [where, hosts] : without) {
            mistakes_.emplace_back(
                0, where + ": no line for " + PrintableAscii(FoldHosts(hosts), Text::kMostShown));
        }
    }

    const FleetReading& reading_;
    const std::filesystem::path directory_;
    FleetFile fleet_;
    std::vector<std::pair<Line, std::string>> mistakes_;
    std::string where_;  ///< The key that is being read.
    bool holdsSecret_ = false;
    bool tooMany_ = false;
    bool unreadPins_ = false;
};

const FleetReader::Key FleetReader::kKeys[] = {
    {"interface", &FleetReader::Interface},
    {"port", &FleetReader::Port},
    {"user", &FleetReader::User},
    {"password", &FleetReader::Password},
    {"password-file", &FleetReader::PasswordFrom},
    {"password-command", &FleetReader::Command},
    {"password-env", &FleetReader::FromEnvironment},
    {"cipher-suite", &FleetReader::CipherSuite},
    {"privilege", &FleetReader::Privilege},
    {"kg", &FleetReader::Kg},
    {"ca-file", &FleetReader::CaFile},
    {"pin", &FleetReader::Pin},
    {"pins-file", &FleetReader::PinsFrom},
    {"insecure", &FleetReader::Insecure},
    {"auth", &FleetReader::Authentication},
    {"timeout", &FleetReader::Timeout},
    {"connect-timeout", &FleetReader::ConnectTimeout},
    {"expect-psus", &FleetReader::ExpectPsus},
    {"expect-nodes", &FleetReader::ExpectNodes},
    {"labels", &FleetReader::LabelsFrom},
};

const FleetReader::Key* FleetReader::FindKey(std::string_view name)
{
    const auto* const found = std::find_if(std::begin(kKeys), std::end(kKeys),
                                           [name](const Key& key) { return key.name == name; });
    return found == std::end(kKeys) ? nullptr : found;
}

std::variant<FleetFile, Mistakes> FleetFile::Load(const std::string& path,
                                                  const FleetReading& reading)
{
    return FleetReader(path, reading).Read();
}

}  // namespace Tulvo::Fleet
