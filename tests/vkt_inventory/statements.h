// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where records say that they were written.
#ifndef TESTS_VKT_INVENTORY_STATEMENTS_H
#define TESTS_VKT_INVENTORY_STATEMENTS_H

#include <string>

#include "tests/fakes/fake_log.h"

namespace Tulvo::Tests {

/// Every record names a file whose name contains one of these, and in it the line of a statement
/// that writes records.
void ExpectStatementsIn(const std::string& file, const std::string& otherFile,
                        const Fakes::FakeLog& log);

}  // namespace Tulvo::Tests

#endif
