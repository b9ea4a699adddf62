// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_CONFIG_CONFIG_FIXTURE_H
#define TESTS_CONFIG_CONFIG_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "common/log/log.h"
#include "tests/support/temporary_directory.h"

namespace Tulvo {

/// A configuration file of the test's own, and the warnings that were written. What a test sets in
/// the process stays, so every test has keys of its own.
class ConfigFixture : public testing::Test
{
protected:
    ConfigFixture()
    {
        SetLogLevel(4);
        SetLogSink([this](const LogRecord& record) {
            EXPECT_EQ(record.level, 2) << record.text;
            warnings_.push_back(record.text);
        });
        WriteFile("");
        UseFile(file);
    }
    ~ConfigFixture() override
    {
        SetLogSink({});
        unsetenv("VKT_CONFIG");
    }

    static void UseFile(const std::filesystem::path& path)
    {
        setenv("VKT_CONFIG", path.c_str(), 1);
    }
    void WriteFile(const std::string& content) const
    {
        std::ofstream(file, std::ios::binary) << content;
    }

    /// The warnings since the last call.
    std::vector<std::string> Warnings() { return std::exchange(warnings_, {}); }

    const TemporaryDirectory directory;
    const std::filesystem::path file = directory / "config.toml";

private:
    std::vector<std::string> warnings_;
};

}  // namespace Tulvo

#endif
