// SPDX-License-Identifier: Apache-2.0
/// @file
/// All that one run of the command found out; what table, JSON and exit code are made from.
#ifndef APPS_VKTINVENTORY_REPORT_H
#define APPS_VKTINVENTORY_REPORT_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/queries.h"

namespace Tulvo::Cli {

/// Which module was asked.
struct Target
{
    std::string interface;
    std::string address;
    std::uint16_t port = 0;
};

struct Answer
{
    std::uint64_t number = 0;  ///< Node or supply asked for; 0 where a query takes none.
    Reply reply;
    std::string detail;  ///< What the library last logged about a failure; may be empty.
};

/// One query and its answers: one, or one a node.
struct Asked
{
    const Query* query = nullptr;
    std::vector<Answer> answers;
};

struct Report
{
    const Command* command = nullptr;
    Target target;
    /// Whether the module told platform and counts when it was first asked. If not, nothing else
    /// was asked: some requests and all answers depend on them.
    bool moduleStatusRead = false;
    std::vector<Asked> asked;
};

/// What is known of a query beside what the library returns.
struct Diagnostics
{
    /// What the library last logged; called after each query.
    std::function<std::string()> detail;
    /// Whether the module can still be reached; called when a query makes one doubt it. The library
    /// would try each of the rest for as long as it tried that one.
    std::function<bool()> moduleIsThere;
    /// How many requests have been left without an answer until now.
    std::function<std::uint64_t()> unanswered;
};

/// Runs the command's queries, until the module is gone.
/// @param number what the command was given; 0 when it takes none.
Report Ask(VKTInventory& inventory, const Command& command, std::uint64_t number,
           const Diagnostics& diagnostics);

/// A line for each thing that could not be read; empty when everything was.
std::vector<std::string> Failures(const Report& report);

/// How messages and tables call one answer: "Serial number", "Node status of node 3".
std::string SubjectOf(const Query& query, const Answer& answer);

}  // namespace Tulvo::Cli

#endif
