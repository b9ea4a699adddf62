// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_FLEET_TEMPORARY_FOLDER_H
#define TESTS_FLEET_TEMPORARY_FOLDER_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/temporary_directory.h"

namespace Tulvo::Fleet {

/// A directory for files of the fleet, removed with them.
class TemporaryFolder
{
public:
    std::string Path(const std::string& name) const { return (directory_ / name).string(); }

    /// The path of a new file with this text.
    std::string Write(const std::string& name, const std::string& text, mode_t mode = 0600) const
    {
        std::string path = Path(name);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << text;
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }

private:
    TemporaryDirectory directory_;
};

/// A variable of the environment for a test.
class Variable
{
public:
    Variable(const char* name, const char* value) : name_(name)
    {
        const char* const before = std::getenv(name);
        hadValue_ = before != nullptr;
        before_ = hadValue_ ? before : "";
        Set(value);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { Set(hadValue_ ? before_.c_str() : nullptr); }

private:
    void Set(const char* value) const
    {
        if (value == nullptr) {
            unsetenv(name_);
        } else {
            setenv(name_, value, 1);
        }
    }

    const char* name_;
    std::string before_;
    bool hadValue_;
};

}  // namespace Tulvo::Fleet

#endif
