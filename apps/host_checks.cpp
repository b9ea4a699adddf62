// SPDX-License-Identifier: Apache-2.0
#include "apps/host_checks.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace Tulvo {
namespace {

struct Stream
{
    int descriptor;
    int wrongWay;  ///< How to open what stands in, so that every use of it fails.
};

constexpr Stream kStreams[] = {
    {STDIN_FILENO, O_WRONLY}, {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_RDONLY}};

void OccupyStandardStreams()
{
    for (const Stream& stream : kStreams) {
        const bool closed = fcntl(stream.descriptor, F_GETFD) < 0;
        // The lowest free number is taken, which is this one: those below it are occupied.
        if (closed && open("/dev/null", stream.wrongWay) != stream.descriptor) {
            throw std::system_error(errno, std::generic_category(),
                                    "/dev/null cannot stand in for a closed standard stream");
        }
    }
}

/// A run takes less than 1 MiB, and 8 MiB for the stack of each of two threads: one waits for
/// signals, the other looks up a name.
constexpr std::size_t kEnough = std::size_t{24} << 20U;

void CheckMemory()
{
    void* const memory =
        mmap(nullptr, kEnough, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no memory is left; free some, or raise this process's limit");
    }
    munmap(memory, kEnough);
}

/// libcurl writes the keys of every TLS connection into the file that it names.
void KeepTlsSecrets()
{
    unsetenv("SSLKEYLOGFILE");
}

}  // namespace

/// One byte, not none: the kernel takes 1 as "never", also where cores are piped to a program, for
/// which 0 would still be a yes. Where the limit may not be raised to it, the second line is
/// enough.
void ForbidCores()
{
    const rlimit limit{1, 1};
    setrlimit(RLIMIT_CORE, &limit);
    prctl(PR_SET_DUMPABLE, 0);
}

void CheckHost()
{
    KeepTlsSecrets();
    OccupyStandardStreams();
    CheckMemory();
}

}  // namespace Tulvo
