// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// How long a module is waited for.
#ifndef MODULE_IPMI_IPMI_CLIENT_WAITS_H
#define MODULE_IPMI_IPMI_CLIENT_WAITS_H

#include <algorithm>
#include <chrono>

namespace Tulvo::Rmcp {

using Clock = std::chrono::steady_clock;

struct Waits
{
    std::chrono::milliseconds limit{};         ///< For one answer, copies included.
    std::chrono::milliseconds copyInterval{};  ///< After that a copy of the message is sent.

    /// For a module that has just answered: a longer wait would only delay the caller.
    Waits Brief() const { return {std::min(limit, 2 * copyInterval), copyInterval}; }
    Waits WithLimit(std::chrono::milliseconds other) const { return {other, copyInterval}; }
};

}  // namespace Tulvo::Rmcp

#endif
