// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/page/entry.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "apps/vktinventory/page/bad_input.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kSchemaVersion = 2;
constexpr std::array<std::string_view, 4> kStatusWords = {"ok", "warning", "unknown", "critical"};
/// The other two are the range in which caps can be set.
constexpr std::array<std::string_view, 3> kCapsThatBind = {"power.caps.protective",
                                                           "power.caps.user", "power.caps.thermal"};

/// The member that a path such as "power.caps.user" leads to; nullptr when there is none.
const Json* At(const Json& object, std::string_view path)
{
    const std::size_t end = path.find('.');
    if (!object.is_object()) {
        return nullptr;
    }
    const auto member = object.find(std::string(path.substr(0, end)));
    if (member == object.end()) {
        return nullptr;
    }
    return end == path.npos ? &*member : At(*member, path.substr(end + 1));
}

/// The text there; empty when there is none.
std::string TextAt(const Json& object, std::string_view path)
{
    const Json* const value = At(object, path);
    return value != nullptr && value->is_string() ? value->get<std::string>() : "";
}

std::optional<std::int64_t> NumberAt(const Json& object, std::string_view path)
{
    const Json* const value = At(object, path);
    return value != nullptr && value->is_number_integer()
               ? std::optional(value->get<std::int64_t>())
               : std::nullopt;
}

/// The objects of the list there; what else it holds is left out.
std::vector<const Json*> ListAt(const Json& object, std::string_view path)
{
    std::vector<const Json*> list;
    const Json* const value = At(object, path);
    if (value != nullptr && value->is_array()) {
        for (const Json& item : *value) {
            if (item.is_object()) {
                list.push_back(&item);
            }
        }
    }
    return list;
}

struct Member
{
    std::string_view path;
    bool (*fits)(const Json&);
    std::string_view kind;
};

bool IsText(const Json& value)
{
    return value.is_string();
}
bool IsList(const Json& value)
{
    return value.is_array();
}
bool IsStatus(const Json& value)
{
    return value.is_string() &&
           std::find(kStatusWords.begin(), kStatusWords.end(),
                     value.get_ref<const std::string&>()) != kStatusWords.end();
}

/// What every reading has, whatever failed, and what the page cannot do without.
constexpr std::array<Member, 5> kRequired{{
    {"host", IsText, "a text"},
    {"time", IsText, "a text"},
    {"health.status", IsStatus, "ok, warning, unknown or critical"},
    {"health.findings", IsList, "a list"},
    {"notRead", IsList, "a list"},
}};

constexpr std::string_view kExpected = "expected is what vktinventory --format json prints";

void CheckVersion(const Json& document)
{
    const Json* const version = At(document, "schemaVersion");
    if (version == nullptr) {
        throw BadInput("this has no \"schemaVersion\"; " + std::string(kExpected));
    }
    if (*version != kSchemaVersion) {
        throw BadInput("its \"schemaVersion\" is " + Text::PrintableAscii(version->dump(), 20) +
                       ", and this vktinventory knows " + std::to_string(kSchemaVersion) +
                       "; read the enclosure again, or use the vktinventory that wrote it");
    }
}

void Check(const Json& document)
{
    if (!document.is_object()) {
        throw BadInput("this is no object; " + std::string(kExpected));
    }
    CheckVersion(document);
    for (const Member& member : kRequired) {
        const Json* const value = At(document, member.path);
        if (value == nullptr || !member.fits(*value)) {
            throw BadInput("its \"" + std::string(member.path) + "\" is " +
                           (value == nullptr ? "missing" : "not " + std::string(member.kind)) +
                           "; " + std::string(kExpected));
        }
    }
}

Status StatusOf(const Json& document)
{
    const std::string word = TextAt(document, "health.status");
    const auto* const known = std::find(kStatusWords.begin(), kStatusWords.end(), word);
    return static_cast<Status>(known - kStatusWords.begin());
}

std::string LabelsOf(const Json& document)
{
    std::string text;
    const Json* const labels = At(document, "labels");
    if (labels != nullptr && labels->is_object()) {
        for (const auto& [key, value] : labels->items()) {
            text += text.empty() ? "" : ", ";
            text += key + " ";
            text += value.is_string() ? value.get<std::string>() : value.dump();
        }
    }
    return text;
}

/// Of a reading that ended early only why: what it did not reach repeats that.
std::vector<std::string> AttentionOf(const Json& document)
{
    std::vector<std::string> sentences;
    const std::string error = TextAt(document, "error.message");
    if (!error.empty()) {
        const bool nothing = !NumberAt(document, "module.powerSupplyCount");
        sentences.push_back((nothing ? "Not read: " : "The reading ended early: ") + error);
    }
    for (const Json* const finding : ListAt(document, "health.findings")) {
        const std::string message = TextAt(*finding, "message");
        if (error.empty() || !message.ends_with(error)) {
            sentences.push_back(TextAt(*finding, "object") + " " + message);
        }
    }
    return sentences;
}

std::optional<std::int64_t> LowestCap(const Json& document)
{
    std::optional<std::int64_t> lowest;
    for (const std::string_view path : kCapsThatBind) {
        const auto cap = NumberAt(document, path);
        if (cap && (!lowest || *cap < *lowest)) {
            lowest = cap;
        }
    }
    return lowest;
}

/// Of a list's objects those whose member has that value.
std::optional<Share> ShareOf(const Json& document, std::string_view list, std::string_view member,
                             const Json& value)
{
    const std::vector<const Json*> things = ListAt(document, list);
    if (things.empty()) {
        return std::nullopt;
    }
    const auto part = std::count_if(things.begin(), things.end(), [&](const Json* const thing) {
        const Json* const actual = At(*thing, member);
        return actual != nullptr && *actual == value;
    });
    return Share{static_cast<std::size_t>(part), things.size()};
}

/// An element of HTML may hold any text that has no "<"; a script is not to hold other letters'
/// bytes either, whatever the file is taken for.
std::string Island(const Json& document)
{
    constexpr bool asciiOnly = true;
    const std::string text = document.dump(-1, ' ', asciiOnly);
    std::string safe;
    safe.reserve(text.size());
    for (const char character : text) {
        if (character == '<') {
            safe += "\\u003c";
        } else {
            safe += character;
        }
    }
    return safe;
}

}  // namespace

std::string_view WordFor(Status status)
{
    return kStatusWords[static_cast<std::size_t>(status)];
}

Entry EntryOf(const Json& document)
{
    Check(document);
    Entry entry{.host = TextAt(document, "host"),
                .time = TextAt(document, "time"),
                .status = StatusOf(document),
                .group = TextAt(document, "group"),
                .labels = LabelsOf(document),
                .name = TextAt(document, "identity.name"),
                .serialNumber = TextAt(document, "identity.serialNumber"),
                .attention = AttentionOf(document),
                .averagePower = NumberAt(document, "power.consumption.average"),
                .lowestCap = LowestCap(document),
                .suppliesPresent = ShareOf(document, "powerSupplies", "present", true),
                .nodesOn = ShareOf(document, "nodes", "powerState", "on"),
                .json = Island(document)};
    for (const Json* const finding : ListAt(document, "health.findings")) {
        entry.worstFindings += TextAt(*finding, "severity") == WordFor(entry.status) ? 1 : 0;
    }
    return entry;
}

}  // namespace Tulvo::Cli
