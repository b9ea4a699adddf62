// SPDX-License-Identifier: Apache-2.0
/// @file
/// Refusals in Redfish's form.
#ifndef APPS_VKT_SIMULATOR_REDFISH_ERROR_H
#define APPS_VKT_SIMULATOR_REDFISH_ERROR_H

#include <stdexcept>
#include <string>

#include "apps/vkt_simulator/https_message.h"

namespace Tulvo::Simulator {

/// Why a request gets no answer; `what()` is the message for whoever sent it.
class Refused : public std::runtime_error
{
public:
    Refused(int status, const std::string& message) : std::runtime_error(message), status_(status)
    {
    }
    int Status() const { return status_; }

private:
    int status_;
};

/// The reply with Redfish's error object, and with the header fields that belong to the status.
HttpsReply RedfishError(int status, const std::string& message);

}  // namespace Tulvo::Simulator

#endif
