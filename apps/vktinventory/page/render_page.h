// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_PAGE_RENDER_PAGE_H
#define APPS_VKTINVENTORY_PAGE_RENDER_PAGE_H

#include <string>
#include <vector>

#include "apps/vktinventory/page/entry.h"

namespace Tulvo::Cli {

/// One HTML file that needs no other; the worst enclosures first, equal ones in the order given.
/// @param entries of different hosts, at least one.
std::string RenderPage(std::vector<Entry> entries);

}  // namespace Tulvo::Cli

#endif
