// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_FRONT_PAGE_H
#define APPS_VKT_EXPORTER_FRONT_PAGE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Tulvo::Exporter {

/// What a person sees who comes with a browser: what there is, and a field for one target.
/// @param hosts of the fleet file.
std::string FrontPageOf(std::size_t hosts);

/// The page runs and loads nothing.
std::vector<std::pair<std::string, std::string>> FrontPageHeaders();

}  // namespace Tulvo::Exporter

#endif
