// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs the command in this process against FakeEnclosure::Current().
#ifndef TESTS_VKTINVENTORY_COMMAND_RUN_COMMAND_H
#define TESTS_VKTINVENTORY_COMMAND_RUN_COMMAND_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/vktinventory/run.h"

namespace Tulvo::Test {

struct Ran
{
    Cli::ExitCode code;
    std::string out;
    std::string error;
};

/// @param words the arguments behind the program's name.
inline Ran RunCommand(std::vector<std::string> words)
{
    words.insert(words.begin(), "vktinventory");
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const Cli::ExitCode code = Cli::Run(static_cast<int>(argv.size()), argv.data());
    const std::string error = testing::internal::GetCapturedStderr();
    return {code, testing::internal::GetCapturedStdout(), error};
}

/// With host and password, so that a test names only what it is about.
inline Ran RunConnected(std::vector<std::string> words)
{
    words.insert(words.begin(), {"-H", "10.0.0.5", "-U", "admin", "-P", "secret"});
    return RunCommand(std::move(words));
}

}  // namespace Tulvo::Test

#endif
