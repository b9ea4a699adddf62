// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
#define TESTS_SUPPORT_TEMPORARY_DIRECTORY_H

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace Tulvo {

/// A new directory, removed with all that is in it.
class TemporaryDirectory
{
public:
    TemporaryDirectory()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "vkt_test_XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace Tulvo

#endif
