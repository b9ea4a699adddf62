// SPDX-License-Identifier: Apache-2.0
/// @file
/// A host with and without the brackets that keep an IPv6 address apart from a port.
#ifndef COMMON_TEXT_HOST_H
#define COMMON_TEXT_HOST_H

#include <string>

namespace Tulvo::Text {

/// "[::1]" gives "::1"; any other host stays as it is.
inline std::string WithoutBrackets(const std::string& host)
{
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return bracketed ? host.substr(1, host.size() - 2) : host;
}

/// "::1" gives "[::1]"; a host without colons, or with brackets already, stays as it is.
inline std::string WithBrackets(const std::string& host)
{
    const bool bare = host.find(':') != std::string::npos && host.front() != '[';
    return bare ? "[" + host + "]" : host;
}

}  // namespace Tulvo::Text

#endif
