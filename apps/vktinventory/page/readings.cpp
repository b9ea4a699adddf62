// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/page/readings.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>

#include "apps/vktinventory/page/bad_input.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

using Json = nlohmann::ordered_json;

/// A reading has five levels. Whoever walks a value calls itself for every level.
constexpr int kDeepest = 32;

constexpr std::string_view kBlanks = " \t\r\n";

/// Where a text is in lines and columns, from 1.
std::string Place(std::string_view text, std::size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t begin = before.rfind('\n') + 1;  // npos + 1 is 0
    return "line " + std::to_string(line) + ", column " + std::to_string(offset - begin + 1);
}

/// Finds where a value ends: brackets outside of texts are balanced again, or the line ends.
class ValueScanner
{
public:
    /// @return false when the character is the first behind the value, or nested too deeply.
    bool Take(char character)
    {
        if (inText_) {
            inText_ = escaped_ || character != '"';
            escaped_ = !escaped_ && character == '\\';
            return true;
        }
        if (ended_ || (depth_ == 0 && character == '\n')) {
            return false;
        }
        inText_ = character == '"';
        if (character == '{' || character == '[') {
            ++depth_;
        } else if (character == '}' || character == ']') {
            --depth_;
            ended_ = depth_ <= 0;
        }
        return depth_ <= kDeepest;
    }
    bool TooDeep() const { return depth_ > kDeepest; }

private:
    int depth_ = 0;
    bool inText_ = false;
    bool escaped_ = false;
    bool ended_ = false;
};

class Reader
{
public:
    Reader(std::string_view text, const std::string& name) : text_(text), name_(name) {}

    std::vector<Entry> All()
    {
        constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
        if (text_.starts_with(byteOrderMark)) {
            at_ = byteOrderMark.size();
        }
        while ((at_ = text_.find_first_not_of(kBlanks, at_)) != text_.npos) {
            TakeValue();
        }
        if (entries_.empty()) {
            throw BadInput(
                name_ + ": holds no enclosure; expected is what vktinventory --format json prints");
        }
        return std::move(entries_);
    }

private:
    void TakeValue()
    {
        const std::size_t begin = at_;
        ValueScanner scanner;
        while (at_ < text_.size() && scanner.Take(text_[at_])) {
            ++at_;
        }
        if (scanner.TooDeep()) {
            throw BadInput(name_ + ", " + Place(text_, at_) + ": nested too deeply for a reading");
        }
        const Json value = Parsed(begin, text_.substr(begin, at_ - begin));
        if (!value.is_array()) {
            return Add(value, [&] { return Place(text_, begin); });
        }
        for (std::size_t i = 0; i < value.size(); ++i) {
            Add(value[i], [i] { return "element " + std::to_string(i + 1) + " of the array"; });
        }
    }

    Json Parsed(std::size_t begin, std::string_view value) const
    {
        try {
            return Json::parse(value.begin(), value.end());
        } catch (const Json::parse_error& error) {
            const std::size_t offset =
                std::min(begin + (error.byte == 0 ? 0 : error.byte - 1), text_.size());
            std::string reason = error.what();
            reason.erase(0, reason.find(": ") + 2);  // the library's own number and place
            throw BadInput(name_ + ", " + Place(text_, offset) +
                           ": this is no JSON: " + Text::PrintableAscii(reason, 200));
        }
    }

    /// @param place tells where the value is, in a message.
    void Add(const Json& value, const auto& place)
    {
        try {
            entries_.push_back(EntryOf(value));
        } catch (const BadInput& reason) {
            throw BadInput(name_ + ", " + place() + ": " + reason.what());
        }
    }

    std::string_view text_;
    const std::string& name_;
    std::size_t at_ = 0;
    std::vector<Entry> entries_;
};

}  // namespace

std::vector<Entry> ReadingsIn(std::string_view text, const std::string& name)
{
    return Reader(text, name).All();
}

std::size_t KeepNewest(std::vector<Entry>& entries)
{
    std::unordered_map<std::string, std::size_t> places;
    std::vector<Entry> kept;
    for (Entry& entry : entries) {
        const auto [place, isNew] = places.try_emplace(entry.host, kept.size());
        if (isNew) {
            kept.push_back(std::move(entry));
        } else if (entry.time >= kept[place->second].time) {
            kept[place->second] = std::move(entry);
        }
    }
    const std::size_t leftOut = entries.size() - kept.size();
    entries = std::move(kept);
    return leftOut;
}

}  // namespace Tulvo::Cli
