// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/page/make_page.h"

#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "apps/vktinventory/output/destination.h"
#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/output/render_json.h"
#include "apps/vktinventory/page/bad_input.h"
#include "apps/vktinventory/page/files.h"
#include "apps/vktinventory/page/readings.h"
#include "apps/vktinventory/page/render_page.h"

namespace Tulvo::Cli {
namespace {

std::string PageOf(std::string_view readings, const std::string& name)
{
    std::vector<Entry> entries = ReadingsIn(readings, name);
    if (const std::size_t older = KeepNewest(entries); older != 0) {
        Complain(name +
                 ": of hosts that were read more than once the newest reading is shown; left "
                 "out: " +
                 std::to_string(older));
    }
    return RenderPage(std::move(entries));
}

class Collector : public Renderer
{
public:
    std::string Add(std::size_t index, const Report& report) override
    {
        entries_[index] = std::move(ReadingsIn(RenderJsonLine(report), report.host).front());
        return {};
    }

    std::string End() override
    {
        std::vector<Entry> inOrder;
        for (auto& [index, entry] : entries_) {
            inOrder.push_back(std::move(entry));
        }
        entries_.clear();
        return inOrder.empty() ? "" : RenderPage(std::move(inOrder));
    }

private:
    std::map<std::size_t, Entry> entries_;
};

}  // namespace

std::optional<std::string> WhyNoPage(const Options& options)
{
    const bool toStandardOutput = IsStandardOutput(options.output);
    if (toStandardOutput && options.repetition) {
        return "--every makes the page anew each time; name the file that it is: -o FILE";
    }
    if (toStandardOutput && isatty(STDOUT_FILENO) != 0) {
        return "a page is for a browser, not for a terminal; name a file: -o FILE";
    }
    return std::nullopt;
}

ExitCode MakePageOfReadings(const Options& options)
{
    const std::string& input = options.pageFrom;
    try {
        const std::string page =
            PageOf(ReadWholeFile(input, kMostBytes), input == "-" ? "standard input" : input);
        if (WriteResult(page, options.output)) {
            return ExitCode::kEverythingRead;
        }
        ComplainAboutResult(errno, options.output);
        return ExitCode::kOutputFailed;
    } catch (const BadInput& reason) {
        Complain(reason.what());
        return ExitCode::kWrongUsage;
    }
}

std::unique_ptr<Renderer> PageRenderer()
{
    return std::make_unique<Collector>();
}

}  // namespace Tulvo::Cli
