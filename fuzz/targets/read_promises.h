// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a conversation with a module promises, whatever it answered and over whatever transport.
#ifndef FUZZ_TARGETS_READ_PROMISES_H
#define FUZZ_TARGETS_READ_PROMISES_H

#include <cstdint>
#include <vector>

#include "common/failure/failure.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fuzz {

/// Instead of the only node that is read: a supply is selected.
inline constexpr std::uint8_t kSelects = 0x80;

/// What a conversation is for, and with which module.
struct Task
{
    /// Of an input's first three bytes: the scenario; the only node that is read, 0 for all, or
    /// kSelects and the supply that is selected; the sections.
    explicit Task(InputReader& reader);

    bool IsSelection() const { return (object & kSelects) != 0; }

    const Simulator::Scenario& scenario;
    std::uint8_t object;
    Enclosures::Sections sections;
};

/// Has the conversation, on the played clock. A value has an answer of the right length, everything
/// can be shown, what could not be read is named and never good, and what was not answered is not
/// selected; a failure is told in one printable line.
/// @param answers grows as the transport is answered.
/// @return all failures that were told.
std::vector<Failure> Converse(const Task& task, IpmiTransport& transport,
                              const Enclosures::Limits& limits, const GoodAnswers& answers);

}  // namespace Tulvo::Fuzz

#endif
