// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/strict_json.h"

#include <cstddef>
#include <set>
#include <vector>

namespace Tulvo::Https {
namespace {

using nlohmann::json;

constexpr std::size_t kDeepestNesting = 16;

/// Walks a text without building anything and stops at the first thing that is refused.
class StrictWalk final : public json::json_sax_t
{
public:
    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(json::number_integer_t) override { return true; }
    bool number_unsigned(json::number_unsigned_t) override { return true; }
    bool number_float(json::number_float_t, const json::string_t&) override { return true; }
    bool string(json::string_t&) override { return true; }
    bool binary(json::binary_t&) override { return true; }
    bool start_object(std::size_t) override { return Enter(); }
    bool end_object() override { return Leave(); }
    bool start_array(std::size_t) override { return Enter(); }
    bool end_array() override { return Leave(); }

    bool key(json::string_t& name) override
    {
        return members_.back().insert(name).second || Refuse("it names a member twice");
    }

    bool parse_error(std::size_t position, const std::string&, const json::exception&) override
    {
        return Refuse("it is not JSON from byte " + std::to_string(position) + " on");
    }

    const std::string& Problem() const { return problem_; }

private:
    bool Enter()
    {
        members_.emplace_back();
        return members_.size() <= kDeepestNesting || Refuse("it is nested too deep");
    }

    bool Leave()
    {
        members_.pop_back();
        return true;
    }

    bool Refuse(std::string problem)
    {
        problem_ = std::move(problem);
        return false;
    }

    std::vector<std::set<std::string>> members_;  ///< Names seen so far, per open object or array.
    std::string problem_;
};

}  // namespace

std::optional<std::string> ParseStrictJson(std::string_view text, json& value)
{
    StrictWalk walk;
    if (!json::sax_parse(text, &walk)) {
        return walk.Problem();
    }
    value = json::parse(text);
    return std::nullopt;
}

}  // namespace Tulvo::Https
