// SPDX-License-Identifier: Apache-2.0
/// @file
/// A global configuration that holds what the test sets and keeps who asked.
#ifndef TESTS_FAKES_FAKE_CONFIG_H
#define TESTS_FAKES_FAKE_CONFIG_H

#include <map>
#include <string>

#include "tests/fakes/current.h"

namespace Tulvo::Fakes {

/// Settings of one test. Every read is in the journal: "config KEY DEFAULT", or "config KEY" where
/// the caller gives no default.
class FakeConfig : public Current<FakeConfig>
{
public:
    std::map<std::string, int> values;
    std::map<std::string, std::string> texts;
    std::map<std::string, std::string> unusable;  ///< The reasons, for who asks without a default.
};

}  // namespace Tulvo::Fakes

#endif
