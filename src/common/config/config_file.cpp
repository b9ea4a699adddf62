// SPDX-License-Identifier: Apache-2.0
#include "common/config/config_file.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "common/config/toml_parser.h"
#include "common/text/printable.h"

namespace Tulvo::Config {

namespace {

using Variant = std::variant<std::monostate, std::int64_t, std::string>;

Variant ValueOf(const toml::node& node)
{
    if (const auto* const integer = node.as_integer()) {
        return integer->get();
    }
    if (const auto* const text = node.as_string()) {
        return text->get();
    }
    return {};
}

using Lines = std::map<std::string, unsigned>;

/// Notes the keys of all tables in `value`, which may be one, or hold some at any depth.
void NoteKeysWithin(const toml::node& value, Lines& lines)
{
    std::vector<const toml::node*> left{&value};
    while (!left.empty()) {
        const toml::node& node = *left.back();
        left.pop_back();
        if (const auto* const table = node.as_table()) {
            for (const auto& [key, inner] : *table) {
                lines.try_emplace(std::string(key.str()), key.source().begin.line);
                left.push_back(&inner);
            }
        } else if (const auto* const array = node.as_array()) {
            for (const auto& inner : *array) {
                left.push_back(&inner);
            }
        }
    }
}

/// The number, from 1, of the first line that could hold a key of so many dotted parts that the
/// parser, which descends once a part, runs out of stack in a host's small thread; 0 when none
/// could.
unsigned LineOfDeepKey(const std::string& content)
{
    constexpr std::ptrdiff_t kMostDots = 100;
    std::istringstream lines(content);
    unsigned number = 1;
    for (std::string line; std::getline(lines, line); ++number) {
        if (std::count(line.begin(), line.end(), '.') > kMostDots) {
            return number;
        }
    }
    return 0;
}

template <class Value>
std::optional<Value> Convert(const Variant& variant);

template <>
std::optional<int> Convert<int>(const Variant& variant)
{
    const auto* const integer = std::get_if<std::int64_t>(&variant);
    const bool fits = integer != nullptr && std::in_range<int>(*integer);
    return fits ? std::optional(static_cast<int>(*integer)) : std::nullopt;
}

template <>
std::optional<std::string> Convert<std::string>(const Variant& variant)
{
    const auto* const text = std::get_if<std::string>(&variant);
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

}  // namespace

void ConfigFile::Read(const std::string& path, bool mayBeMissing)
{
    SmallFile file = ReadSmallFile(path);
    if (file.missing && mayBeMissing) {
        file = {};
    }
    if (isParsed_ && path == path_ && file == file_) {
        return;
    }
    path_ = path;
    file_ = std::move(file);
    // Memory may run out in between; then its keys must not be taken for unset at the next call.
    isParsed_ = false;
    Parse();
    isParsed_ = true;
}

void ConfigFile::Parse()
{
    entries_.clear();
    linesWithinTables_.clear();
    complaint_ = file_.failure.empty() ? "" : path_ + " cannot be read: " + file_.failure;
    if (const unsigned line = LineOfDeepKey(file_.content)) {
        complaint_ = path_ + ':' + std::to_string(line) + ": more than 100 dots in a line";
        return;
    }
    const toml::parse_result result = toml::parse(std::string_view(file_.content));
    if (!result) {
        const toml::parse_error& error = result.error();
        complaint_ = path_ + ':' + std::to_string(error.source().begin.line) +
                     // It quotes the file, which may hold anything.
                     ": not TOML: " + Text::PrintableAscii(error.description());
        return;
    }
    for (const auto& [key, node] : result.table()) {
        entries_[std::string(key.str())] = {ValueOf(node), node.source().begin.line};
        NoteKeysWithin(node, linesWithinTables_);
    }
}

template <class Value>
Statement<Value> ConfigFile::Find(const std::string& key) const
{
    const auto found = entries_.find(key);
    if (found == entries_.end()) {
        return {};
    }
    const auto& [variant, line] = found->second;
    return MakeStatement(path_ + ':' + std::to_string(line) + ": " + key, Convert<Value>(variant));
}

std::string ConfigFile::Misplaced(const std::string& key) const
{
    const auto found = linesWithinTables_.find(key);
    return found == linesWithinTables_.end()
               ? ""
               : path_ + ':' + std::to_string(found->second) + ": " + key +
                     " stands within a table; put it above the first one";
}

template Statement<int> ConfigFile::Find<int>(const std::string& key) const;
template Statement<std::string> ConfigFile::Find<std::string>(const std::string& key) const;

}  // namespace Tulvo::Config
