// SPDX-License-Identifier: Apache-2.0
/// @file
/// Promises that hold for every input.
#ifndef FUZZ_REQUIRE_H
#define FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace Tulvo::Fuzz {

/// Ends the program unless `holds`: that is how a fuzzer, with or without a sanitizer, sees it.
inline void Require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

}  // namespace Tulvo::Fuzz

#endif
