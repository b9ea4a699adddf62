// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "fuzz/target.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

/// A response has 255 bytes at most.
constexpr std::size_t kLongestAnswer = 3 + 255;

/// All but the decoders, each of which is a target of its own.
const std::vector<Target>& OtherTargets()
{
    static const std::vector<Target> targets = {
        {"HttpsReply", 1024, RunHttpsReply, HttpsReplySeeds},
        {"HttpsHeader", 1024, RunHttpsHeader, HttpsHeaderSeeds},
        {"HttpsConversation", 1024, RunHttpsConversation, HttpsConversationSeeds},
        {"ConfigFile", 20'000, RunConfigFile, ConfigFileSeeds},
        {"WebConfig", 4096, RunWebConfig, WebConfigSeeds},
        {"ScenarioFile", 20'000, RunScenarioFile, ScenarioFileSeeds},
        {"LogText", 512, RunLogText, LogTextSeeds},
        {"EnclosureRequest", 1024, RunEnclosureRequest, EnclosureRequestSeeds},
        {"Conversation", 1024, RunConversation, ConversationSeeds},
    };
    return targets;
}

std::vector<Target> MakeTargets()
{
    std::vector<Target> targets;
    for (const Tests::DecoderRow& decoder : Tests::DecoderTable()) {
        targets.push_back({decoder.routine, kLongestAnswer,
                           [&decoder](Input input) { RunDecoder(decoder, input); }, DecoderSeeds});
    }
    targets.insert(targets.end(), OtherTargets().begin(), OtherTargets().end());
    return targets;
}

}  // namespace

const std::vector<Target>& Targets()
{
    static const std::vector<Target> targets = MakeTargets();
    return targets;
}

const Target* FindTarget(std::string_view name)
{
    const auto& targets = Targets();
    const auto found = std::find_if(targets.begin(), targets.end(),
                                    [name](const Target& target) { return target.name == name; });
    return found == targets.end() ? nullptr : &*found;
}

}  // namespace Tulvo::Fuzz
