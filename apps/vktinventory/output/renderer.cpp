// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/renderer.h"

#include <algorithm>
#include <utility>

#include "apps/vktinventory/outcome.h"
#include "apps/vktinventory/output/fleet_table.h"
#include "apps/vktinventory/output/in_order.h"
#include "apps/vktinventory/output/render_csv.h"
#include "apps/vktinventory/output/render_json.h"
#include "apps/vktinventory/output/render_table.h"
#include "apps/vktinventory/output/report_table.h"
#include "apps/vktinventory/page/make_page.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

class OneTable : public Renderer
{
public:
    explicit OneTable(bool colour) : colour_(colour) {}

    /// A table has no place for the reason why nothing was read.
    std::string Add(std::size_t, const Report& report) override
    {
        const ExitCode code = ExitCodeOf(report);
        const bool someRead =
            code == ExitCode::kEverythingRead || code == ExitCode::kSomeQueriesFailed;
        return someRead ? RenderTable(report, colour_) : "";
    }

private:
    bool colour_;
};

class OneJson : public Renderer
{
public:
    std::string Add(std::size_t, const Report& report) override { return RenderJson(report); }
};

class JsonArray : public Renderer
{
public:
    std::string Begin() override { return "["; }
    std::string Add(std::size_t index, const Report& report) override
    {
        std::string object = (index == 0 ? "\n" : ",\n") + RenderJson(report);
        object.pop_back();
        return order_.Take(index, std::move(object));
    }
    std::string End() override { return "\n]\n"; }

private:
    InOrder order_;
};

class JsonLines : public Renderer
{
public:
    std::string Add(std::size_t, const Report& report) override { return RenderJsonLine(report); }
};

class Csv : public Renderer
{
public:
    Csv(const Command& command, std::vector<std::string> fields)
        : table_(command, std::move(fields))
    {
    }

    std::string Begin() override { return table_.Header(); }
    std::string Add(std::size_t, const Report& report) override { return table_.Rows(report); }

private:
    CsvTable table_;
};

/// `show` of several: the table of each, below its name.
class Tables : public Renderer
{
public:
    explicit Tables(bool colour) : colour_(colour) {}

    std::string Add(std::size_t index, const Report& report) override
    {
        const Failure* const why = report.WhyNothingWasRead();
        return order_.Take(
            index, std::string(index == 0 ? "" : "\n")
                       .append(TitleOf(report))
                       .append(why == nullptr ? RenderTable(report, colour_)
                                              : RenderGrid({NotReadRow(WordsFor(*why))}, colour_)));
    }
    std::string End() override
    {
        order_.BeginAgain();
        return {};
    }

private:
    static std::string TitleOf(const Report& report)
    {
        const std::string group = report.group ? " (" + *report.group + ")" : "";
        return "=== " + Text::PrintableText(report.host + group) + " ===\n";
    }

    InOrder order_;
    bool colour_;
};

std::unique_ptr<Renderer> TableFor(const Command& command, bool many, bool colour)
{
    if (!many) {
        return std::make_unique<OneTable>(colour);
    }
    if (command.read == Enclosures::kEverything) {
        return std::make_unique<Tables>(colour);
    }
    return FleetTable(command, colour);
}

}  // namespace

std::optional<std::string> WhyNoSuchOutput(const Options& options)
{
    if (options.command->action == Action::kMakePage) {
        return WhyNoPage(options);
    }
    if (options.format != Format::kCsv) {
        return std::nullopt;
    }
    std::string command(options.command->name);
    if (!HasCsv(*options.command)) {
        return "--format csv: " + command + " has no rows of one kind; use jsonl";
    }
    const std::vector<std::string> known = CsvKeys(*options.command);
    for (const std::string& field : options.fields) {
        if (std::find(known.begin(), known.end(), field) == known.end()) {
            std::string all;
            for (const std::string& key : known) {
                all.append(all.empty() ? "" : ", ").append(key);
            }
            return "--fields: " + command.append(" has no \"").append(field).append("\"; it has ") +
                   all;
        }
    }
    return std::nullopt;
}

std::unique_ptr<Renderer> RendererFor(const Options& options, bool many, bool colour)
{
    if (options.command->action == Action::kMakePage) {
        return PageRenderer();
    }
    switch (options.format) {
        case Format::kJson:
            return many ? std::unique_ptr<Renderer>(std::make_unique<JsonArray>())
                        : std::make_unique<OneJson>();
        case Format::kJsonLines:
            return std::make_unique<JsonLines>();
        case Format::kCsv:
            return std::make_unique<Csv>(*options.command, options.fields);
        default:
            return TableFor(*options.command, many, colour);
    }
}

}  // namespace Tulvo::Cli
