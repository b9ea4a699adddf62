// SPDX-License-Identifier: Apache-2.0
/// @file
/// Many users of two enclosures: half of them over RMCP+, a quarter over HTTPS with the password in
/// every request, a quarter over HTTPS in sessions. The enclosures differ, so that an answer that
/// reaches the wrong user is noticed.
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

    /// Has each user ask in a thread of their own, which calls `prepare` first.
    /// @return what was wrong, one text per user, empty where nothing was.
    std::vector<std::string> Ask(
        int questionsPerUser, int questionsPerFacade,
        const std::function<void()>& prepare = [] {}) const;

    /// The processes of both enclosures.
    std::vector<pid_t> Processes() const;

    /// Ends the enclosures.
    /// @return what was wrong on their side, one text per enclosure, empty where nothing was.
    std::vector<std::string> End();

private:
    std::string AskAs(int user, int questions, int questionsPerFacade) const;

    std::array<PlayedEnclosure, 2> enclosures_ = {PlayedEnclosure("healthy-vkt2-fe-2"),
                                                  PlayedEnclosure("healthy-first")};
};

}  // namespace Tulvo::Tests

#endif
