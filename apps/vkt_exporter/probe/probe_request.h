// SPDX-License-Identifier: Apache-2.0
/// @file
/// From a request for /probe to what it wants.
#ifndef APPS_VKT_EXPORTER_PROBE_PROBE_REQUEST_H
#define APPS_VKT_EXPORTER_PROBE_PROBE_REQUEST_H

#include <chrono>
#include <string>
#include <variant>

#include "apps/vkt_exporter/web/http_server.h"
#include "module/vkt/vkt_enclosure/enclosure.h"

namespace Tulvo::Exporter {

struct ProbeRequest
{
    std::string target;
    Enclosures::Sections sections = Enclosures::kEverything;
    bool debug = false;
    std::chrono::milliseconds time{};  ///< From the request's arrival to its answer.
};

/// What is wrong with a request, and what to do about it: a line of printable text.
struct BadRequest
{
    std::string text;
};

/// @param offset taken off the time that Prometheus says it waits, but at most half of that.
std::variant<ProbeRequest, BadRequest> ParseProbe(const HttpRequest& request,
                                                  std::chrono::milliseconds offset);

/// The words that collect[] takes, with commas between.
std::string SectionWords();

}  // namespace Tulvo::Exporter

#endif
