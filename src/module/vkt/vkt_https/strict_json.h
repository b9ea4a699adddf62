// SPDX-License-Identifier: Apache-2.0
/// @file
/// JSON from a peer that is not trusted.
#ifndef MODULE_VKT_VKT_HTTPS_STRICT_JSON_H
#define MODULE_VKT_VKT_HTTPS_STRICT_JSON_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace Tulvo::Https {

/// Parses `text` as exactly one JSON value. An object that names a member twice is refused (readers
/// disagree on which one counts), and so is nesting deeper than 16.
/// @return what is wrong, without quoting the text; nothing when `value` is filled.
std::optional<std::string> ParseStrictJson(std::string_view text, nlohmann::json& value);

}  // namespace Tulvo::Https

#endif
