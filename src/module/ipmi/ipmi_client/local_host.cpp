// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/local_host.h"

#include <fcntl.h>
#include <freeipmi/freeipmi.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <system_error>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Rmcp {
namespace {

bool HasSpareDescriptor()
{
    return FileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)).Valid();
}

Failure NoDescriptor()
{
    return {CONNECTION_FAILED, "no file can be opened on this host",
            "raise its limit of open files", std::generic_category().message(errno)};
}

}  // namespace

Failure LocalFault(const char* step)
{
    if (!HasSpareDescriptor()) {
        return NoDescriptor();
    }
    return {CONNECTION_FAILED, std::string(step) + " failed on this host", "report this"};
}

std::optional<Failure> StartCryptography()
{
    static std::mutex mutex;
    static bool ready = false;
    const std::lock_guard lock(mutex);
    // The cryptographic library ends the process when it cannot open a file as it starts up.
    if (!ready && !HasSpareDescriptor()) {
        return NoDescriptor();
    }
    // It also switches libgcrypt's secure memory off, in a host that initialised it, too. There is
    // no way around: the library's ciphers fail before this call, and libgcrypt cannot switch it on
    // again.
    ready = ready || ipmi_rmcpplus_init() == 0;
    return ready ? std::nullopt : std::optional(LocalFault("starting the cryptographic library"));
}

}  // namespace Tulvo::Rmcp
