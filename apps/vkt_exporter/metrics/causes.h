// SPDX-License-Identifier: Apache-2.0
/// @file
/// The values of the label "cause".
#ifndef APPS_VKT_EXPORTER_METRICS_CAUSES_H
#define APPS_VKT_EXPORTER_METRICS_CAUSES_H

#include <string>
#include <vector>

#include "module/vkt/vkt_enclosure/enclosure.h"

namespace Tulvo::Exporter {

/// The word of every cause, in their order.
inline std::vector<std::string> CauseWords()
{
    std::vector<std::string> words;
    for (int cause = 0; cause <= static_cast<int>(Cause::kLocal); ++cause) {
        words.emplace_back(Enclosures::KeyOf(static_cast<Cause>(cause)));
    }
    return words;
}

}  // namespace Tulvo::Exporter

#endif
