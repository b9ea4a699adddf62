// SPDX-License-Identifier: Apache-2.0
/// @file
/// Many users of two enclosures, a quarter of them over HTTPS with a password a request and a
/// quarter in sessions. The enclosures differ, so that an answer that goes astray is noticed.
#ifndef TESTS_ENDURANCE_CROWD_H
#define TESTS_ENDURANCE_CROWD_H

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "tests/endurance/played_enclosure.h"

namespace Tulvo::Tests {

class Crowd
{
public:
    static constexpr int kUsers = 64;

    /// Lets everybody ask in a thread of their own, which calls `prepare` first.
    /// @return what was wrong, a text a user; empty ones where nothing was.
    std::vector<std::string> Ask(
        int questionsPerUser, int questionsPerFacade,
        const std::function<void()>& prepare = [] {}) const;

    /// The processes of both enclosures.
    std::vector<pid_t> Processes() const;

    /// Ends the enclosures.
    /// @return what was amiss on their side, a text an enclosure.
    std::vector<std::string> End();

private:
    std::string AskAs(int user, int questions, int questionsPerFacade) const;

    std::array<PlayedEnclosure, 2> enclosures_ = {PlayedEnclosure("healthy-vkt2-fe-2"),
                                                  PlayedEnclosure("healthy-first")};
};

}  // namespace Tulvo::Tests

#endif
