// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/page/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>

#include "apps/vktinventory/page/bad_input.h"
#include "common/platform/file_descriptor.h"

namespace Tulvo::Cli {
namespace {

std::string Reason()
{
    return std::generic_category().message(errno);
}

bool WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

/// What a new file's mode is, which its creator alone can only ask for by changing it.
mode_t NewFilesMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

/// The file that the name stands for, through links.
std::string Target(const std::string& file)
{
    const std::unique_ptr<char, decltype(&std::free)> path(realpath(file.c_str(), nullptr),
                                                           std::free);
    return path ? path.get() : file;
}

bool WriteInto(const std::string& file, std::string_view text)
{
    const FileDescriptor output(open(file.c_str(), O_WRONLY | O_CLOEXEC));
    return output.Valid() && WriteAll(output.Get(), text);
}

bool Replace(const std::string& file, std::string_view text, mode_t mode)
{
    std::string temporary = file + ".XXXXXX";
    const FileDescriptor output(mkostemp(temporary.data(), O_CLOEXEC));
    if (!output.Valid()) {
        return false;
    }
    // On the disk before the name is: a machine that loses its power must not leave it empty.
    if (WriteAll(output.Get(), text) && fchmod(output.Get(), mode) == 0 &&
        fsync(output.Get()) == 0 && rename(temporary.c_str(), file.c_str()) == 0) {
        return true;
    }
    const int reason = errno;
    unlink(temporary.c_str());
    errno = reason;
    return false;
}

}  // namespace

std::string ReadWholeFile(const std::string& file, std::size_t most)
{
    const bool fromInput = file == "-";
    const FileDescriptor opened(fromInput ? -1 : open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fromInput && !opened.Valid()) {
        throw BadInput(file + " cannot be read: " + Reason());
    }
    const int descriptor = fromInput ? STDIN_FILENO : opened.Get();
    std::string text;
    std::array<char, 1U << 16U> block;
    for (;;) {
        const ssize_t got = read(descriptor, block.data(), block.size());
        if (got < 0 && errno != EINTR) {
            throw BadInput((fromInput ? "standard input" : file) + " cannot be read: " + Reason());
        }
        if (got == 0) {
            return text;
        }
        text.append(block.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        if (text.size() > most) {
            throw BadInput((fromInput ? "standard input" : file) + " holds more than " +
                           std::to_string(most >> 20U) + " MiB, which is too much for one page");
        }
    }
}

bool WriteWholeFile(const std::string& file, std::string_view text)
{
    struct stat there = {};
    const bool exists = stat(file.c_str(), &there) == 0;
    if (exists && !S_ISREG(there.st_mode)) {
        return WriteInto(file, text);
    }
    return Replace(Target(file), text, exists ? there.st_mode & 0777U : NewFilesMode());
}

}  // namespace Tulvo::Cli
