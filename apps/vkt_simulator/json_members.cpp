// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/json_members.h"

#include <algorithm>

#include "common/text/hexadecimal.h"
#include "common/text/printable.h"

namespace Tulvo::Simulator {

namespace {

using nlohmann::json;

// The parser itself lets the last of several members of one name win.
class DuplicateMembers
{
public:
    bool operator()(int depth, json::parse_event_t event, const json& value)
    {
        if (event == json::parse_event_t::object_start) {
            names_.resize(static_cast<std::size_t>(depth) + 1);
            names_.back().clear();
        }
        // An object within an array leaves more behind it than this object's names.
        if (event == json::parse_event_t::key &&
            !names_[static_cast<std::size_t>(depth) - 1].insert(value).second) {
            throw JsonError("", "the member \"" + value.get<std::string>() + "\" is there twice");
        }
        if (event == json::parse_event_t::object_end) {
            names_.resize(static_cast<std::size_t>(depth));
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> names_;
};

// "[json.exception.parse_error.101] parse error at line 3, column 5: ..." without the library's
// own number.
std::string ParserMessage(const json::exception& error)
{
    const std::string message = error.what();
    const std::size_t end = message.find("] ");
    return end == std::string::npos ? message : message.substr(end + 2);
}

std::string Escaped(const std::string& name)
{
    std::string escaped;
    for (const char character : name) {
        if (character == '~' || character == '/') {
            escaped += character == '~' ? "~0" : "~1";
        } else {
            escaped += character;
        }
    }
    return escaped;
}

// A message is one line on a terminal, whatever the document holds.
std::string Readable(const std::string& text)
{
    constexpr std::size_t kLongest = 300;
    return Text::PrintableAscii(text, kLongest);
}

// An array or object is not written out: that takes stack for every level of its nesting, which has
// no limit.
std::string Shown(const json& value)
{
    return value.is_structured() ? value.type_name() : value.dump();
}

std::string Range(std::size_t lowest, std::size_t highest)
{
    return lowest == highest ? std::to_string(lowest)
                             : std::to_string(lowest) + " to " + std::to_string(highest);
}

}  // namespace

JsonError::JsonError(const std::string& pointer, const std::string& reason)
    : std::runtime_error(Readable(pointer.empty() ? reason : pointer + ": " + reason))
{
}

json ParseJson(const std::string& text)
{
    try {
        return json::parse(text, DuplicateMembers());
    } catch (const json::exception& error) {
        throw JsonError("", ParserMessage(error));
    }
}

void JsonValue::Fail(const std::string& reason) const
{
    throw JsonError(pointer_, reason);
}

bool JsonValue::Boolean() const
{
    if (!value_->is_boolean()) {
        Fail("must be true or false");
    }
    return value_->get<bool>();
}

std::uint32_t JsonValue::Number(std::uint32_t lowest, std::uint32_t highest) const
{
    // Everything that is no unsigned integer (negative, fraction, text) is out of every range here.
    if (!value_->is_number_unsigned() || value_->get<std::uint64_t>() < lowest ||
        value_->get<std::uint64_t>() > highest) {
        Fail("must be an integer from " + Range(lowest, highest) + ", not " + Shown(*value_));
    }
    return value_->get<std::uint32_t>();
}

std::string JsonValue::Text(std::size_t shortest, std::size_t longest) const
{
    if (!value_->is_string()) {
        Fail("must be a text, not " + std::string(value_->type_name()));
    }
    const auto& text = value_->get_ref<const std::string&>();
    if (text.size() < shortest || text.size() > longest ||
        !std::all_of(text.begin(), text.end(), Text::IsPrintableAscii)) {
        Fail("must be " + Range(shortest, longest) + " printable ASCII characters");
    }
    return text;
}

std::vector<std::uint8_t> JsonValue::HexadecimalBytes(std::size_t most) const
{
    const std::string digits = Text(0, 2 * most);
    if (!Text::AreHexPairs(digits)) {
        Fail("must be pairs of hexadecimal digits");
    }
    return Text::FromHexPairs(digits);
}

std::vector<JsonValue> JsonValue::Elements() const
{
    if (!value_->is_array()) {
        Fail("must be an array, not " + std::string(value_->type_name()));
    }
    std::vector<JsonValue> elements;
    for (const json& element : *value_) {
        elements.emplace_back(element, pointer_ + '/' + std::to_string(elements.size()));
    }
    return elements;
}

JsonMembers::JsonMembers(const JsonValue& object) : object_(object)
{
    if (!object.Raw().is_object()) {
        object.Fail("must be an object, not " + std::string(object.Raw().type_name()));
    }
}

JsonValue JsonMembers::operator[](const std::string& name)
{
    known_.insert(name);
    if (!Has(name)) {
        object_.Fail("the member \"" + name + "\" is missing");
    }
    return {object_.Raw()[name], object_.Pointer() + '/' + Escaped(name)};
}

void JsonMembers::RejectOthers() const
{
    for (const auto& member : object_.Raw().items()) {
        if (known_.count(member.key()) == 0) {
            const JsonValue value(member.value(), object_.Pointer() + '/' + Escaped(member.key()));
            value.Fail("there is no such member");
        }
    }
}

}  // namespace Tulvo::Simulator
