// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_REFERENCE_TEXT_H
#define APPS_REFERENCE_TEXT_H

#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Reference {

/// `text` with every `what` replaced; what stands in its place is not looked at again.
std::string Replaced(std::string text, std::string_view what, std::string_view with);

std::string Between(std::string_view begin, std::string_view text, std::string_view end);

std::string Joined(const std::vector<std::string>& words, std::string_view separator);

}  // namespace Tulvo::Reference

#endif
