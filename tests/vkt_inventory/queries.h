// SPDX-License-Identifier: Apache-2.0
/// @file
/// The queries that are one request and one answer, as a table.
#ifndef TESTS_VKT_INVENTORY_QUERIES_H
#define TESTS_VKT_INVENTORY_QUERIES_H

#include <string>
#include <vector>

#include "module/vkt/vkt_inventory/vkt_inventory.h"
#include "tests/vkt_inventory/bytes.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {

/// A query of a small first-generation enclosure.
struct Query
{
    const char* name;
    Outcome (*ask)(VKTInventory& inventory);
    const char* request;
    Bytes answer;
    Fields fields;          ///< What the answer says.
    Fields untouched;       ///< The output as it was before.
    const char* routine;    ///< Of the decoder.
    const char* overHttps;  ///< Record of a failed exchange over HTTPS, before its code.
    bool tracesEntryOverHttps;
};

const std::vector<Query>& SingleRequestQueries();

std::ostream& operator<<(std::ostream& stream, const Query& query);

}  // namespace Tulvo::Tests

#endif
