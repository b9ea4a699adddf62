// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What a log-in makes and hands on to the session that follows it.
#ifndef MODULE_IPMI_IPMI_CLIENT_CONNECTION_H
#define MODULE_IPMI_IPMI_CLIENT_CONNECTION_H

#include <sys/types.h>
#include <unistd.h>

#include "common/interruption/interruption.h"
#include "module/ipmi/ipmi_client/session_state.h"
#include "module/ipmi/ipmi_client/udp_link.h"

namespace Tulvo::Rmcp {

struct Connection
{
    /// What fork() copies is not the child's to end: the parent goes on with the session.
    bool BelongsToThisProcess() const { return process == getpid(); }

    const pid_t process = getpid();
    Interruption::OpenSession counted;
    UdpLink link;
    SessionState state;
};

}  // namespace Tulvo::Rmcp

#endif
