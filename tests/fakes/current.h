// SPDX-License-Identifier: Apache-2.0
/// @file
/// How code that knows nothing of a test finds the test's fakes.
#ifndef TESTS_FAKES_CURRENT_H
#define TESTS_FAKES_CURRENT_H

#include <gtest/gtest.h>

namespace Tulvo::Fakes {

/// Makes the one living `Fake` reachable: companions are free functions and classes that the code
/// under test makes for itself, so no test can hand them its fake. One test, one thread, one fake
/// of a kind.
template <class Fake>
class Current
{
public:
    Current(const Current&) = delete;
    Current& operator=(const Current&) = delete;

    /// The living fake, or null.
    static Fake* Get() { return current_; }

protected:
    Current()
    {
        EXPECT_EQ(current_, nullptr) << "a test can have one fake of a kind";
        current_ = static_cast<Fake*>(this);
    }
    ~Current() { current_ = nullptr; }

private:
    inline static Fake* current_ = nullptr;
};

}  // namespace Tulvo::Fakes

#endif
