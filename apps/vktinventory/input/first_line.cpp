// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/first_line.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace Tulvo::Cli {
namespace {

/// Far above any password; only keeps a wrong file (or device) from being read without end.
constexpr std::size_t kLongestLine = 4096;

}  // namespace

FirstLine ReadFirstLine(int descriptor)
{
    FirstLine line;
    while (line.text.size() < kLongestLine) {
        char byte = 0;
        const ssize_t got = read(descriptor, &byte, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0 || byte == '\n') {
            line.failed = got < 0;
            line.ended = got > 0 || !line.text.empty();
            return line;
        }
        line.text += byte;
    }
    return line;
}

}  // namespace Tulvo::Cli
