// SPDX-License-Identifier: Apache-2.0
/// @file
/// Strict reading of JSON: a document is what its reader asked for, member by member, or an error
/// that names the place and the reason.
#ifndef APPS_VKT_SIMULATOR_JSON_MEMBERS_H
#define APPS_VKT_SIMULATOR_JSON_MEMBERS_H

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Tulvo::Simulator {

/// `what()` is the place as a JSON pointer (empty for the whole document), ": " and the reason, in
/// printable ASCII and cut to a length that can be read.
class JsonError : public std::runtime_error
{
public:
    JsonError(const std::string& pointer, const std::string& reason);
};

/// Parses `text`; an object with two members of the same name is an error too.
/// @throws JsonError with line and column of what cannot be parsed.
nlohmann::json ParseJson(const std::string& text);

/// One value with the place where it stands.
class JsonValue
{
public:
    JsonValue(const nlohmann::json& value, std::string pointer)
        : value_(&value), pointer_(std::move(pointer))
    {
    }

    bool IsText() const { return value_->is_string(); }
    bool Boolean() const;
    /// An integer from `lowest` to `highest`.
    std::uint32_t Number(std::uint32_t lowest, std::uint32_t highest) const;
    /// Printable ASCII of at least `shortest` and at most `longest` characters.
    std::string Text(std::size_t shortest, std::size_t longest) const;
    /// A text of pairs of hexadecimal digits, as at most `most` bytes.
    std::vector<std::uint8_t> HexadecimalBytes(std::size_t most) const;
    /// One of the words of `table`, as the value beside it.
    template <typename Result, typename Table>
    Result Word(const Table& table) const;
    /// Every element of an array.
    std::vector<JsonValue> Elements() const;

    /// A number of the type that is read, with the type's own range.
    template <typename Integer>
    Integer NumberAs() const
    {
        return static_cast<Integer>(Number(0, std::numeric_limits<Integer>::max()));
    }

    [[noreturn]] void Fail(const std::string& reason) const;
    const nlohmann::json& Raw() const { return *value_; }
    const std::string& Pointer() const { return pointer_; }

private:
    const nlohmann::json* value_;
    std::string pointer_;
};

/// The members of one object. A reader asks for each that it knows, then calls RejectOthers().
class JsonMembers
{
public:
    explicit JsonMembers(const JsonValue& object);

    bool Has(const std::string& name) const { return object_.Raw().contains(name); }
    /// A member that must be there.
    JsonValue operator[](const std::string& name);
    /// @throws JsonError naming a member that was not asked for.
    void RejectOthers() const;

private:
    JsonValue object_;
    std::set<std::string> known_;
};

template <typename Result, typename Table>
Result JsonValue::Word(const Table& table) const
{
    const std::string text = Text(0, 64);
    std::string words;
    for (const auto& [word, result] : table) {
        if (text == word) {
            return result;
        }
        words += (words.empty() ? "\"" : ", \"") + std::string(word) + '"';
    }
    Fail('"' + text + "\" is not one of " + words);
}

}  // namespace Tulvo::Simulator

#endif
