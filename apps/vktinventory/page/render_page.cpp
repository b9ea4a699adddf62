// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/page/render_page.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <set>
#include <string_view>
#include <utility>

#include "apps/vktinventory/page/page_text.h"

namespace Tulvo::Cli {
namespace {

/// So many sentences stand in a row; the enclosure's own page has all.
constexpr std::size_t kMostSentences = 3;

void Append(std::string& text, std::initializer_list<std::string_view> parts)
{
    for (const std::string_view part : parts) {
        text += part;
    }
}

/// As text or within an attribute's quotes. A control character, which HTML would drop or take for
/// a blank, becomes U+FFFD, as the page's script has it.
std::string Html(std::string_view text)
{
    constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string html;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isC1 =
            byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (text[i] == '&') {
            html += "&amp;";
        } else if (text[i] == '<') {
            html += "&lt;";
        } else if (text[i] == '>') {
            html += "&gt;";
        } else if (text[i] == '"') {
            html += "&quot;";
        } else if (byte < 0x20 || byte == 0x7F || isC1) {
            html += replacement;
            i += isC1 ? 1 : 0;
        } else {
            html += text[i];
        }
    }
    return html;
}

std::string Foreign(std::string_view text)
{
    return "<bdi>" + Html(text) + "</bdi>";
}

/// A host as the part of a link behind "#"; what stays as it is, and the digits, are those of
/// JavaScript's encodeURIComponent().
std::string PercentEncoded(std::string_view text)
{
    constexpr std::string_view unreserved = "-_.!~*'()";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char character : text) {
        const bool letter = (character >= 'a' && character <= 'z') ||
                            (character >= 'A' && character <= 'Z') ||
                            (character >= '0' && character <= '9');
        if (letter || unreserved.find(character) != unreserved.npos) {
            encoded += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            encoded += {'%', digits[byte >> 4U], digits[byte & 0x0FU]};
        }
    }
    return encoded;
}

std::string Sign(std::string_view status)
{
    return "<svg class=\"sign\" aria-hidden=\"true\"><use href=\"#sign-" + std::string(status) +
           "\"/></svg>";
}

/// "2026-11-21 19:07:03 UTC".
std::string ReadableTime(std::string time)
{
    std::replace(time.begin(), time.end(), 'T', ' ');
    if (time.ends_with('Z')) {
        time.replace(time.size() - 1, 1, " UTC");
    }
    return time;
}

void AppendAttention(std::string& html, const std::vector<std::string>& sentences)
{
    if (sentences.empty()) {
        return;
    }
    html += "<ul>";
    const std::size_t shown = std::min(sentences.size(), kMostSentences);
    for (std::size_t i = 0; i < shown; ++i) {
        Append(html, {"<li>", Foreign(sentences[i]), "</li>"});
    }
    if (sentences.size() > shown) {
        Append(html, {"<li>and ", std::to_string(sentences.size() - shown), " more</li>"});
    }
    html += "</ul>";
}

void AppendShare(std::string& html, std::string_view heading, const std::optional<Share>& share)
{
    if (!share) {
        html += "<td></td>";
        return;
    }
    const std::string part = std::to_string(share->part);
    Append(html, {"<td class=\"number\" data-heading=\"", heading, "\" data-value=\"", part, "\">",
                  part, " of ", std::to_string(share->whole), "</td>"});
}

void AppendPower(std::string& html, const Entry& entry)
{
    if (!entry.averagePower) {
        html += "<td></td>";
        return;
    }
    const std::string average = std::to_string(*entry.averagePower);
    Append(html,
           {"<td class=\"number\" data-heading=\"Power\" data-value=\"", average, "\">", average});
    if (entry.lowestCap) {
        Append(html, {" <small>cap ", std::to_string(*entry.lowestCap), "</small>"});
    }
    html += "</td>";
}

/// Texts on one line, those that are empty left out.
void AppendSmall(std::string& html, std::initializer_list<std::string_view> texts)
{
    std::string line;
    for (const std::string_view text : texts) {
        if (!text.empty()) {
            Append(line, {line.empty() ? "" : " &middot; ", Foreign(text)});
        }
    }
    if (!line.empty()) {
        Append(html, {" <small>", line, "</small>"});
    }
}

std::string Row(const Entry& entry)
{
    const std::string_view status = WordFor(entry.status);
    std::string html = "<tr data-status=\"" + std::string(status) + "\"";
    if (!entry.group.empty()) {
        Append(html, {" data-group=\"", Html(entry.group), "\""});
    }
    Append(html, {"><td data-value=\"", std::to_string(static_cast<int>(entry.status)),
                  "\"><span class=\"status ", status, "\">", Sign(status), status,
                  "</span></td><th scope=\"row\"><a href=\"#", PercentEncoded(entry.host), "\">",
                  Foreign(entry.host), "</a>"});
    AppendSmall(html, {entry.name, entry.serialNumber});
    html += "</th><td>";
    html += entry.group.empty() ? "" : Foreign(entry.group);
    AppendSmall(html, {entry.labels});
    html += "</td><td>";
    AppendAttention(html, entry.attention);
    html += "</td>";
    AppendPower(html, entry);
    AppendShare(html, "Supplies", entry.suppliesPresent);
    AppendShare(html, "Nodes on", entry.nodesOn);
    const std::string time = Html(entry.time);
    Append(html, {"<td data-value=\"", time, "\"><time class=\"age\" datetime=\"", time, "\">",
                  ReadableTime(time), "</time></td></tr>\n"});
    return html;
}

struct Counts
{
    std::array<std::size_t, 4> of{};
};

Counts CountsOf(const std::vector<Entry>& entries)
{
    Counts counts;
    for (const Entry& entry : entries) {
        ++counts.of[static_cast<std::size_t>(entry.status)];
    }
    return counts;
}

constexpr std::array<Status, 4> kWorstFirst = {Status::kCritical, Status::kUnknown,
                                               Status::kWarning, Status::kOk};

std::string StatusButtons(const Counts& counts)
{
    std::string html;
    for (const Status status : kWorstFirst) {
        const std::string_view word = WordFor(status);
        Append(html, {"<button type=\"button\" aria-pressed=\"false\" class=\"", word,
                      "\" data-status=\"", word, "\">", Sign(word), "<b>",
                      std::to_string(counts.of[static_cast<std::size_t>(status)]), "</b> ", word,
                      "</button>\n"});
    }
    return html;
}

std::string GroupChoices(const std::vector<Entry>& entries)
{
    std::set<std::string> groups;
    for (const Entry& entry : entries) {
        if (!entry.group.empty()) {
            groups.insert(entry.group);
        }
    }
    std::string html;
    for (const std::string& group : groups) {
        Append(html, {"<option value=\"", Html(group), "\">", Html(group), "</option>"});
    }
    return html;
}

std::string CountOf(std::size_t enclosures)
{
    return std::to_string(enclosures) + (enclosures == 1 ? " enclosure" : " enclosures");
}

std::string Title(const std::vector<Entry>& entries, const Counts& counts)
{
    if (entries.size() == 1) {
        return Html(entries[0].host) + " (" + std::string(WordFor(entries[0].status)) + ")";
    }
    std::string title = CountOf(entries.size());
    std::string_view separator = ": ";
    for (const Status status : kWorstFirst) {
        const std::size_t count = counts.of[static_cast<std::size_t>(status)];
        if (count != 0) {
            Append(title, {separator, std::to_string(count), " ", WordFor(status)});
            separator = ", ";
        }
    }
    return title;
}

/// When the readings were made.
std::string Readings(const std::vector<Entry>& entries)
{
    const auto [oldest, newest] = std::minmax_element(
        entries.begin(), entries.end(),
        [](const Entry& one, const Entry& other) { return one.time < other.time; });
    const std::string from = Html(ReadableTime(oldest->time));
    const std::string to = Html(ReadableTime(newest->time));
    return from == to ? "Read " + from : "Read " + from + " to " + to;
}

/// Classes that the style knows: whether there are groups, and whether so many enclosures that what
/// is out of sight is not to be laid out.
std::string Kind(const std::vector<Entry>& entries)
{
    constexpr std::size_t many = 200;
    const bool grouped = std::any_of(entries.begin(), entries.end(), [](const Entry& entry) {
        return !entry.group.empty() || !entry.labels.empty();
    });
    return std::string(grouped ? "grouped" : "ungrouped") + (entries.size() > many ? " many" : "");
}

/// The page's text with what stands for each mark, in the order of the marks. What is filled in is
/// not looked at again: it may hold the text of a mark.
std::string Filled(std::string_view page,
                   std::initializer_list<std::pair<std::string_view, std::string_view>> marks)
{
    std::string filled;
    for (const auto& [mark, text] : marks) {
        const std::size_t at = page.find(mark);
        Append(filled, {page.substr(0, at), text});
        page.remove_prefix(at + mark.size());
    }
    filled += page;
    return filled;
}

}  // namespace

std::string RenderPage(std::vector<Entry> entries)
{
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& one, const Entry& other) {
        return std::pair(one.status, one.worstFindings) >
               std::pair(other.status, other.worstFindings);
    });
    const Counts counts = CountsOf(entries);
    std::string rows;
    std::string island = "[";
    for (const Entry& entry : entries) {
        rows += Row(entry);
        Append(island, {island.size() == 1 ? "\n" : ",\n", entry.json});
    }
    island += "\n]";
    return Filled(kPageText, {{"<!--title-->", Title(entries, counts)},
                              {"<!--readings-->", Readings(entries)},
                              {"<!--kind-->", Kind(entries)},
                              {"<!--statuses-->", StatusButtons(counts)},
                              {"<!--groups-->", GroupChoices(entries)},
                              {"<!--count-->", CountOf(entries.size())},
                              {"<!--rows-->", rows},
                              {"<!--origin-->", "Made by vktinventory " VKT_VERSION "."},
                              {"<!--island-->", island}});
}

}  // namespace Tulvo::Cli
