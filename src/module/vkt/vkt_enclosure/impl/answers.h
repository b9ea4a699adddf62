// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the outcome of each request puts into the record.
#ifndef MODULE_VKT_VKT_ENCLOSURE_IMPL_ANSWERS_H
#define MODULE_VKT_VKT_ENCLOSURE_IMPL_ANSWERS_H

#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/impl/conversation.h"
#include "module/vkt/vkt_info/vkt_info.h"

namespace Tulvo::Enclosures {

/// An outcome, from a module of this generation.
struct Answer
{
    const Outcome& outcome;
    VKTIype vktType;
};

/// What an answer is about.
struct Subject
{
    Enclosure& enclosure;
    PowerSupply* supply;  ///< Of an answer about one supply.
    Node* node;           ///< Of an answer about one node.
};

/// The module's status; nothing can be asked for without it.
/// @return why it could not be read, or null.
SharedFailure TakeModuleStatus(const Outcome& outcome, Module& module);

// Each sets all readings that hang on the answer, whatever the outcome.

void TakeFirmwareVersion(const Subject& subject, const Answer& answer);
void TakeMachineType(const Subject& subject, const Answer& answer);
void TakeSerialNumber(const Subject& subject, const Answer& answer);
void TakeName(const Subject& subject, const Answer& answer);
void TakeConsumption(const Subject& subject, const Answer& answer);
void TakeCaps(const Subject& subject, const Answer& answer);
void TakeStatusBits(const Subject& subject, const Answer& answer);
void TakeFans(const Subject& subject, const Answer& answer);
void TakeVersion(const Subject& subject, const Answer& answer);
void TakeManufacturer(const Subject& subject, const Answer& answer);
void TakePosition(const Subject& subject, const Answer& answer);
void TakeNodeState(const Subject& subject, const Answer& answer);
void TakeNodePower(const Subject& subject, const Answer& answer);

/// As the generation was told; a first generation when it was not.
VKTIype TypeOf(const Module& module);

}  // namespace Tulvo::Enclosures

#endif
