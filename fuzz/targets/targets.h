// SPDX-License-Identifier: Apache-2.0
/// @file
/// A pair of functions a target: one takes any input, the other gives the inputs to begin with. The
/// form of a target's input stands beside its seeds.
#ifndef FUZZ_TARGETS_TARGETS_H
#define FUZZ_TARGETS_TARGETS_H

#include "fuzz/target.h"
#include "tests/decoders/decoders.h"

namespace Tulvo::Fuzz {

/// Any answer of any module.
void RunDecoder(const Tests::DecoderRow& decoder, Input input);
std::vector<Bytes> DecoderSeeds();

/// Content of a 200 from an HTTPS server.
void RunHttpsReply(Input input);
std::vector<Bytes> HttpsReplySeeds();

/// Header lines, body and status of whatever an HTTPS server sends.
void RunHttpsHeader(Input input);
std::vector<Bytes> HttpsHeaderSeeds();

/// All that an HTTPS server does in the course of a read or a selection, with connections, TLS and
/// HTTP as much as with what it answers.
void RunHttpsConversation(Input input);
std::vector<Bytes> HttpsConversationSeeds();

void RunConfigFile(Input input);
std::vector<Bytes> ConfigFileSeeds();

/// The exporter's TLS and users.
void RunWebConfig(Input input);
std::vector<Bytes> WebConfigSeeds();

void RunScenarioFile(Input input);
std::vector<Bytes> ScenarioFileSeeds();

/// A record that holds whatever a module answered.
void RunLogText(Input input);
std::vector<Bytes> LogTextSeeds();

/// IPMI requests that the simulator's module receives.
void RunEnclosureRequest(Input input);
std::vector<Bytes> EnclosureRequestSeeds();

/// All that module and network do in the course of a read or a selection.
void RunConversation(Input input);
std::vector<Bytes> ConversationSeeds();

}  // namespace Tulvo::Fuzz

#endif
