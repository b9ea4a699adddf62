// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a read of an enclosure promises, whatever the module answered and over whatever transport.
#ifndef FUZZ_TARGETS_READ_PROMISES_H
#define FUZZ_TARGETS_READ_PROMISES_H

#include <cstdint>
#include <map>
#include <tuple>

#include "fuzz/target.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/vkt/vkt_enclosure/enclosure.h"

namespace Tulvo::Fuzz {

/// Network function, command and data.
using RequestBytes = std::tuple<std::uint8_t, std::uint8_t, Bytes>;

RequestBytes BytesOf(const IPMICOMMAND& request);

/// The last answer with completion code 0 to each request.
using GoodAnswers = std::map<RequestBytes, Bytes>;

/// A value has an answer of the right length, everything can be shown, and what could not be read
/// is named and never good.
void RequireHonestRecord(const Enclosures::Enclosure& record, const GoodAnswers& answers);

}  // namespace Tulvo::Fuzz

#endif
