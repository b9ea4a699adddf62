// SPDX-License-Identifier: Apache-2.0
/// @file
/// What reports become on standard output, one after the other as they arrive. Pure: texts come
/// back, and whoever asked prints them.
#ifndef APPS_VKTINVENTORY_OUTPUT_RENDERER_H
#define APPS_VKTINVENTORY_OUTPUT_RENDERER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "apps/vktinventory/input/command_line.h"
#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

class Renderer
{
public:
    Renderer() = default;
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;
    virtual ~Renderer() = default;

    /// Before everything else.
    virtual std::string Begin() { return {}; }
    /// An enclosure is complete.
    /// @param index its place in the order given, from 0; each comes once a round, in any order.
    virtual std::string Add(std::size_t index, const Report& report) = 0;
    /// All of a round are complete; the next begins at the first again.
    virtual std::string End() { return {}; }
};

/// Why the command's output has no such format or columns; nothing when it has.
std::optional<std::string> WhyNoSuchOutput(const Options& options);

/// @param many whether the enclosures were named in a way that may name several.
/// @param colour whether a table colours what needs attention.
std::unique_ptr<Renderer> RendererFor(const Options& options, bool many, bool colour);

}  // namespace Tulvo::Cli

#endif
