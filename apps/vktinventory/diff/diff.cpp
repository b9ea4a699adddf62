// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/diff/diff.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/page/bad_input.h"
#include "apps/vktinventory/page/files.h"
#include "apps/vktinventory/page/readings.h"
#include "common/text/printable.h"
#include "fleet/host_folding.h"
#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Field;
using Enclosures::ObjectKind;
using Json = nlohmann::json;

/// So many values of an enclosure that could not be compared are named; more are counted.
constexpr std::size_t kMostUncompared = 3;

const Json kNothing;

const Json& Member(const Json& object, const std::string& name)
{
    const auto found = object.is_object() ? object.find(name) : object.end();
    return object.is_object() && found != object.end() ? *found : kNothing;
}

/// What a path such as "fans.a.speed" leads to; null pointer where a member lacks.
const Json* At(const Json& object, std::string_view path)
{
    const Json* value = &object;
    while (!path.empty()) {
        const std::string name(path.substr(0, path.find('.')));
        if (!value->is_object() || !value->contains(name)) {
            return nullptr;
        }
        value = &(*value)[name];
        path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return value;
}

/// A supply, a node or (number 0) the enclosure.
struct Thing
{
    ObjectKind kind = ObjectKind::kEnclosure;
    std::uint64_t number = 0;

    std::string Name() const
    {
        switch (kind) {
            case ObjectKind::kPowerSupply:
                return " PSU" + std::to_string(number);
            case ObjectKind::kNode:
                return " Node " + std::to_string(number);
            default:
                return "";
        }
    }
};

std::uint64_t NumberIn(const Json& object, const std::string& name)
{
    const Json& number = Member(object, name);
    return number.is_number_unsigned() ? number.get<std::uint64_t>() : 0;
}

/// One enclosure at one time.
class Reading
{
public:
    explicit Reading(const Entry& entry) : json_(Json::parse(entry.json))
    {
        for (const Json& missing : Member(json_, "notRead")) {
            const Json& field = Member(missing, "field");
            missing_.insert({NumberIn(missing, "powerSupply"), NumberIn(missing, "node"),
                             field.is_string() ? field.get<std::string>() : ""});
        }
    }

    const Json& Whole() const { return json_; }
    /// Whether nothing at all was read.
    bool Failed() const { return !Member(json_, "error").is_null() && Size("nodeCount").is_null(); }
    const Json& Size(const std::string& count) const
    {
        return Member(Member(json_, "module"), count);
    }

    /// By number; without those that have none.
    std::map<std::uint64_t, Json> List(const std::string& name) const
    {
        std::map<std::uint64_t, Json> list;
        for (const Json& object : Member(json_, name)) {
            list[NumberIn(object, "number")] = object;
        }
        list.erase(0);
        return list;
    }

    bool Misses(const Thing& thing, const Field& field) const
    {
        const bool supply = thing.kind == ObjectKind::kPowerSupply;
        const bool node = thing.kind == ObjectKind::kNode;
        return missing_.contains(
            {supply ? thing.number : 0, node ? thing.number : 0, std::string(field.Name())});
    }

private:
    /// Supply, node, field.
    using Missing = std::tuple<std::uint64_t, std::uint64_t, std::string>;

    Json json_;
    std::set<Missing> missing_;
};

std::string Shown(const Json& value)
{
    constexpr bool asciiOnly = true;
    return value.is_null() ? "absent" : value.dump(-1, ' ', asciiOnly);
}

/// What is about how the enclosure was asked, not about itself.
bool IsCompared(const Field& field)
{
    const bool ofModule = field.object == ObjectKind::kEnclosure;
    return !field.path.empty() &&
           (field.places & (ofModule ? Enclosures::kInCsv : Enclosures::kInJson)) != 0;
}

/// Whether `code` is the number that `state`, the field before it, is a word for. Where the word
/// has changed nobody needs to be told of the number.
bool IsCodeOf(const Field& code, const Field* state)
{
    return state != nullptr && &code == state + 1 && state->kind == Enclosures::Kind::kState &&
           code.places == Enclosures::kInJson;
}

class Comparison
{
public:
    explicit Comparison(Differences& result) : result_(result) {}

    void Hosts(const std::vector<Entry>& before, const std::vector<Entry>& after)
    {
        for (const Entry& entry : before) {
            const Entry* const later = Find(after, entry.host);
            if (later == nullptr) {
                Different(entry.host, "", "only in the first");
            } else {
                Enclosure(entry.host, Reading(entry), Reading(*later));
            }
        }
        for (const Entry& entry : after) {
            if (Find(before, entry.host) == nullptr) {
                Different(entry.host, "", "only in the second");
            }
        }
        TellOfWhole();
    }

private:
    static const Entry* Find(const std::vector<Entry>& entries, const std::string& host)
    {
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [&](const Entry& entry) { return entry.host == host; });
        return found == entries.end() ? nullptr : &*found;
    }

    void Enclosure(const std::string& host, const Reading& before, const Reading& after)
    {
        if (before.Failed() || after.Failed()) {
            return Line(host, "", NotCompared(before.Failed(), after.Failed()));
        }
        Fields(host, {}, before, before.Whole(), after, after.Whole());
        List(host, ObjectKind::kPowerSupply, "powerSupplies", before, after);
        List(host, ObjectKind::kNode, "nodes", before, after);
        TellOfUnread(host);
    }

    void List(const std::string& host, ObjectKind kind, const std::string& name,
              const Reading& before, const Reading& after)
    {
        const auto first = before.List(name);
        const auto second = after.List(name);
        if (first.empty() || second.empty()) {
            return;  // Not asked, or not known how many there are, which is told of the module.
        }
        for (const auto& [number, object] : first) {
            const Thing thing{kind, number};
            const auto later = second.find(number);
            if (later == second.end()) {
                Different(host, thing.Name(), "only in the first");
            } else {
                Fields(host, thing, before, object, after, later->second);
            }
        }
        for (const auto& [number, object] : second) {
            if (!first.contains(number)) {
                Different(host, Thing{kind, number}.Name(), "only in the second");
            }
        }
    }

    void Fields(const std::string& host, const Thing& thing, const Reading& before,
                const Json& first, const Reading& after, const Json& second)
    {
        std::string_view told;
        const Field* different = nullptr;
        for (const Field& field : Enclosures::Fields()) {
            if (field.object != thing.kind || !IsCompared(field) || IsCodeOf(field, different)) {
                continue;
            }
            const Json* const one = At(first, field.path);
            const Json* const other = At(second, field.path);
            if (one == nullptr || other == nullptr) {
                continue;
            }
            const bool unread = one->is_null() && before.Misses(thing, field);
            const bool laterUnread = other->is_null() && after.Misses(thing, field);
            if (unread || laterUnread) {
                // Values that one answer tells are missed together.
                if (told != field.Name()) {
                    unread_[NotCompared(unread, laterUnread)].push_back(thing.Name() + " " +
                                                                        std::string(field.Name()));
                }
                told = field.Name();
            } else if (*one != *other) {
                Different(host, thing.Name() + " " + std::string(field.path),
                          Shown(*one) + " -> " + Shown(*other));
                different = &field;
                if (field.path == "present") {
                    return;  // The rest of a supply comes and goes with it.
                }
            }
        }
    }

    /// @param what empty for the whole enclosure: the same of hosts between which nothing else is
    /// told stands on one line.
    void Line(const std::string& host, const std::string& what, const std::string& text)
    {
        if (!what.empty() || text != textOfWhole_) {
            TellOfWhole();
        }
        if (what.empty()) {
            textOfWhole_ = text;
            whole_.push_back(host);
        } else {
            result_.text += Text::PrintableAscii(host) + what + ": " + text + "\n";
        }
    }

    void TellOfWhole()
    {
        if (!whole_.empty()) {
            result_.text +=
                Text::PrintableAscii(Fleet::FoldHosts(whole_)) + ": " + textOfWhole_ + "\n";
        }
        whole_.clear();
    }

    void Different(const std::string& host, const std::string& what, const std::string& text)
    {
        Line(host, what, text);
        result_.found = true;
    }

    static std::string NotCompared(bool before, bool after)
    {
        return std::string("not compared, not read in ") + (before && after ? "either"
                                                            : before        ? "the first"
                                                                            : "the second");
    }

    void TellOfUnread(const std::string& host)
    {
        for (const auto& [text, values] : unread_) {
            if (values.size() > kMostUncompared) {
                Line(host, "", std::to_string(values.size()) + " values " + text);
                continue;
            }
            for (const std::string& value : values) {
                Line(host, value, text);
            }
        }
        unread_.clear();
    }

    Differences& result_;
    std::map<std::string, std::vector<std::string>> unread_;  ///< Of one host, by what is told.
    std::vector<std::string> whole_;  ///< Hosts of which textOfWhole_ is still to be told.
    std::string textOfWhole_;
};

std::vector<Entry> ReadingsOf(const std::string& file)
{
    const std::string name = file == "-" ? "standard input" : file;
    std::vector<Entry> entries = ReadingsIn(ReadWholeFile(file, kMostBytes), name);
    if (const std::size_t leftOut = KeepNewest(entries); leftOut != 0) {
        Complain(name +
                 ": of hosts that were read more than once only the newest reading is "
                 "compared; left out: " +
                 std::to_string(leftOut));
    }
    // JSON Lines come in the order in which enclosures were read, another one each time.
    std::sort(entries.begin(), entries.end(), [](const Entry& one, const Entry& other) {
        return strverscmp(one.host.c_str(), other.host.c_str()) < 0;
    });
    return entries;
}

ExitCode Trouble(const std::string& why)
{
    Complain(why);
    return ExitCode::kWrongUsage;
}

}  // namespace

Differences Compare(const std::vector<Entry>& before, const std::vector<Entry>& after)
{
    Differences differences;
    Comparison(differences).Hosts(before, after);
    return differences;
}

ExitCode RunDiff(const std::vector<std::string>& files)
{
    if (files.size() != 2) {
        return Trouble("diff needs two readings, A and B: files, or - for standard input");
    }
    if (files[0] == "-" && files[1] == "-") {
        return Trouble("diff: only one of both can be standard input");
    }
    try {
        const std::vector<Entry> before = ReadingsOf(files[0]);
        const Differences differences = Compare(before, ReadingsOf(files[1]));
        if (!WriteOut(differences.text)) {
            ComplainAboutOutput(errno);
            return ExitCode::kWrongUsage;  // diff(1) has no other code for trouble.
        }
        return differences.found ? ExitCode::kSomeQueriesFailed : ExitCode::kEverythingRead;
    } catch (const BadInput& reason) {
        return Trouble(reason.what());
    }
}

}  // namespace Tulvo::Cli
