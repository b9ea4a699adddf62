// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which requests a read takes, in which order, and what their answers tell.
#ifndef MODULE_VKT_VKT_ENCLOSURE_IMPL_PLAN_H
#define MODULE_VKT_VKT_ENCLOSURE_IMPL_PLAN_H

#include <cstdint>

#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/impl/pace.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Enclosures {

/// ReadEnclosure() over any transport. Of the source it tells what the transport knows.
Enclosure ReadOver(IpmiTransport& transport, Pace& pace, const Scope& scope, const Limits& limits);

/// SelectSupply() likewise.
Selection SelectOver(IpmiTransport& transport, Pace& pace, std::uint8_t number,
                     const Limits& limits);

}  // namespace Tulvo::Enclosures

#endif
