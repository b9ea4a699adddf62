// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What a log-in needs of this host: random numbers, the cryptographic library, and a sentence for
/// the case that either is not to be had.
#ifndef MODULE_IPMI_IPMI_CLIENT_LOCAL_HOST_H
#define MODULE_IPMI_IPMI_CLIENT_LOCAL_HOST_H

#include <unistd.h>

#include <optional>

#include "module/ipmi/ipmi_client/failure.h"

namespace Tulvo::Rmcp {

/// A step of the libraries below, which open files themselves and do not say why they fail.
Failure LocalFault(const char* step);

/// Once for the process; a failure is tried again by the next log-in.
std::optional<Failure> StartCryptography();

/// From the kernel itself: libfreeipmi opens a device for it, which a host without a descriptor to
/// spare cannot.
template <class Value>
bool Randomize(Value& value)
{
    return getentropy(&value, sizeof value) == 0;
}

}  // namespace Tulvo::Rmcp

#endif
