// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// How a step of a session ended, and the sentence for people that goes with it.
#ifndef MODULE_IPMI_IPMI_CLIENT_OUTCOME_H
#define MODULE_IPMI_IPMI_CLIENT_OUTCOME_H

#include <string>

#include "module/ipmi/ipmi_client/ipmi_client.h"

namespace Tulvo {

/// The text is empty on success; otherwise it says what came back and what to do, and never holds
/// the password.
struct Outcome
{
    CONNECTIONSTATE state = CONNECTION_CONNECTED;
    std::string text;

    bool Good() const { return state == CONNECTION_CONNECTED; }
};

}  // namespace Tulvo

#endif
