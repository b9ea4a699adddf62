// SPDX-License-Identifier: Apache-2.0
#include "tests/endurance/crowd.h"

#include <cstddef>

#include "common/config/global_config.h"
#include "tests/support/run_in_threads.h"

namespace Tulvo::Tests {
namespace {

constexpr std::array kTransports = {kRmcp, kHttps, kRmcp, kHttpsInSessions};

}  // namespace

std::vector<std::string> Crowd::Ask(int questionsPerUser, int questionsPerFacade,
                                    const std::function<void()>& prepare) const
{
    std::vector<std::string> wrong(kUsers);
    RunInThreads(kUsers, [&](int user) {
        prepare();
        wrong[static_cast<std::size_t>(user)] = AskAs(user, questionsPerUser, questionsPerFacade);
    });
    return wrong;
}

std::string Crowd::AskAs(int user, int questions, int questionsPerFacade) const
{
    // Every user sets it, while others read it.
    SetGlobalConfigText("HTTPS_PINNED_KEY", enclosures_[0].Pin() + ';' + enclosures_[1].Pin());
    const auto number = static_cast<std::size_t>(user);
    const PlayedEnclosure& enclosure =
        enclosures_[number / kTransports.size() % enclosures_.size()];
    return User{enclosure, kTransports[number % kTransports.size()]}.Ask(questions,
                                                                         questionsPerFacade);
}

std::vector<pid_t> Crowd::Processes() const
{
    std::vector<pid_t> processes;
    for (const PlayedEnclosure& enclosure : enclosures_) {
        const std::vector<pid_t> some = enclosure.Processes();
        processes.insert(processes.end(), some.begin(), some.end());
    }
    return processes;
}

std::vector<std::string> Crowd::End()
{
    std::vector<std::string> wrong;
    for (PlayedEnclosure& enclosure : enclosures_) {
        wrong.push_back(enclosure.End());
    }
    return wrong;
}

}  // namespace Tulvo::Tests
