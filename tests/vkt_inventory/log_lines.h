// SPDX-License-Identifier: Apache-2.0
/// @file
/// The records that many decoders share.
#ifndef TESTS_VKT_INVENTORY_LOG_LINES_H
#define TESTS_VKT_INVENTORY_LOG_LINES_H

#include <string>

#include "tests/fakes/fake_log.h"

namespace Tulvo::Tests {

using Fakes::LogLine;
using Fakes::LogLines;

inline LogLines operator+(LogLines left, const LogLines& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// What a decoder without an exit line writes: its entry, then `inner`.
inline LogLines Entered(const std::string& routine, const LogLines& inner = {})
{
    return LogLines{{4, "Entering  Tulvo::VKTInventoryParseResponse::" + routine}} + inner;
}

/// What a decoder with an exit line writes.
inline LogLines Framed(const std::string& routine, const LogLines& inner = {})
{
    return Entered(routine, inner) +
           LogLines{{4, "Exiting  Tulvo::VKTInventoryParseResponse::" + routine}};
}

/// What a VKT2's answer adds once its leading bytes are gone: the two dumps of the rest.
inline LogLines Reframed(const std::string& characters, const std::string& hexadecimal)
{
    return {{4, "it is vkt2..."},
            {4, "New response=" + characters},
            {4, "New response=" + hexadecimal}};
}

}  // namespace Tulvo::Tests

#endif
