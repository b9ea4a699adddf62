// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/writing.h"

#include <poll.h>
#include <unistd.h>

namespace Tulvo::Cli {

void WriteIfTaken(int descriptor, std::string_view text)
{
    pollfd stream = {descriptor, POLLOUT, 0};
    if (poll(&stream, 1, 0) == 1 && (stream.revents & POLLOUT) != 0) {
        [[maybe_unused]] const ssize_t written = write(descriptor, text.data(), text.size());
    }
}

}  // namespace Tulvo::Cli
