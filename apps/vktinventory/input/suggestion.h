// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_INPUT_SUGGESTION_H
#define APPS_VKTINVENTORY_INPUT_SUGGESTION_H

#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Cli {

/// The one that was probably meant by a misspelt or shortened word, in either case; empty when none
/// is near.
std::string_view NearestTo(std::string_view word, const std::vector<std::string_view>& known);

/// ` (did you mean "show"?)`, or nothing.
std::string Suggestion(std::string_view word, const std::vector<std::string_view>& known);

}  // namespace Tulvo::Cli

#endif
