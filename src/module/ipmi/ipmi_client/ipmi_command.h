// SPDX-License-Identifier: Apache-2.0
/// @file
/// One raw IPMI request, as both transports carry it.
#ifndef MODULE_IPMI_IPMI_CLIENT_IPMI_COMMAND_H
#define MODULE_IPMI_IPMI_CLIENT_IPMI_COMMAND_H

#include <cstdint>
#include <vector>

namespace Tulvo {

/// A raw IPMI request. It carries no LUN, channel or target address: a transport talks to the
/// module itself.
struct IPMICOMMAND
{
    std::uint8_t cmd = 0;            ///< Command code.
    std::vector<std::uint8_t> data;  ///< Request data in wire order; may be empty.
    std::uint8_t netFn = 0;          ///< Network function, request form (even).
};

}  // namespace Tulvo

#endif
