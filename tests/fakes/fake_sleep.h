// SPDX-License-Identifier: Apache-2.0
/// @file
/// A Sleep that only counts.
#ifndef TESTS_FAKES_FAKE_SLEEP_H
#define TESTS_FAKES_FAKE_SLEEP_H

#include <cstdint>

#include "tests/fakes/current.h"

namespace Tulvo::Fakes {

/// The time that would have passed. Every pause is in the journal: "sleep MILLISECONDS".
class FakeSleep : public Current<FakeSleep>
{
public:
    std::uint64_t milliseconds = 0;
};

}  // namespace Tulvo::Fakes

#endif
