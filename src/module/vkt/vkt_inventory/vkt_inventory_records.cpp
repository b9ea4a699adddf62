// SPDX-License-Identifier: Apache-2.0
/// @file
/// The records' special members: ordinary, member by member. They stand here, not in the header,
/// so that the library exports them and a record's copying has one home across compilers.
#include "module/vkt/vkt_inventory/vkt_inventory_records.h"

// NOLINTBEGIN(bugprone-macro-parentheses): a type's name cannot stand in parentheses
#define VKT_TEXT_RECORD(Record)                             \
    Record::Record() = default;                             \
    Record::Record(const Record&) = default;                \
    Record::Record(Record&&) noexcept = default;            \
    Record& Record::operator=(const Record&) = default;     \
    Record& Record::operator=(Record&&) noexcept = default; \
    Record::~Record() = default
// NOLINTEND(bugprone-macro-parentheses)

namespace Tulvo {

VKT_TEXT_RECORD(ChassisPowerCap);
VKT_TEXT_RECORD(ChassisPowerCon);
VKT_TEXT_RECORD(NodeStatus);
VKT_TEXT_RECORD(PSUFanSpeed);
VKT_TEXT_RECORD(PSUFwInfo);
VKT_TEXT_RECORD(PSUStatus);

/// A status that was never read names no known platform, which has two supplies.
VKTStatus::VKTStatus() : platformId(0xFE), psuCount(2)
{
}
VKTStatus& VKTStatus::operator=(const VKTStatus&) = default;
VKTStatus& VKTStatus::operator=(VKTStatus&&) noexcept = default;

}  // namespace Tulvo
