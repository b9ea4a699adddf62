// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/pins/run_pins.h"

#include <cerrno>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <utility>
#include <variant>

#include "apps/vktinventory/interrupt.h"
#include "apps/vktinventory/outcome.h"
#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/output/folded_messages.h"
#include "apps/vktinventory/output/in_order.h"
#include "apps/vktinventory/output/progress.h"
#include "fleet/fan_out.h"
#include "module/vkt/vkt_https/server_pin.h"

namespace Tulvo::Cli {
namespace {

constexpr const char* kShowsNoKey =
    "over lanplus a module shows no key; over HTTPS it shows one (see -I)";

class PinsRun
{
public:
    PinsRun(const Options& options, const Targets& targets) : options_(options), targets_(targets)
    {
    }

    ExitCode Run()
    {
        {
            Progress progress(targets_.Count());
            const auto shortage =
                Fleet::CallInThreads(targets_.Count(), options_.fanOut, [&](std::size_t index) {
                    auto pin = PinOf(index);
                    const std::lock_guard lock(taking_);
                    Take(index, std::move(pin), progress);
                });
            if (shortage) {
                Complain(shortage->message + "; " + shortage->advice);
            }
        }
        for (const std::string& line : messages_.Take()) {
            Complain(line);
        }
        if (outputFailure_ != 0) {
            ComplainAboutOutput(outputFailure_);
            return ExitCode::kOutputFailed;
        }
        return Interrupted().value_or(CommonCode(codes_));
    }

private:
    using Pin = std::variant<std::string, Failure>;

    /// Nothing for a module that is asked over RMCP+.
    std::optional<Pin> PinOf(std::size_t index) const
    {
        const Enclosures::Target& target = targets_.Target(index);
        if (!std::holds_alternative<Enclosures::Https>(target.transport)) {
            return std::nullopt;
        }
        const auto now = CallLimit::Clock::now();
        return ReadServerPin(target.host, target.port,
                             {.until = now + targets_.Timeout(index),
                              .stop = stop_.get_token(),
                              .firstAnswer = now + targets_.ConnectTimeout(index)});
    }

    void Take(std::size_t index, std::optional<Pin> shown, Progress& progress)
    {
        const std::string& host = targets_.Member(index).name;
        const std::string& place = targets_.Target(index).host;
        ExitCode code = ExitCode::kEverythingRead;
        std::string line;
        if (!shown) {
            code = ExitCode::kSomeQueriesFailed;
            messages_.Add(host, place, kShowsNoKey);
        } else if (const auto* const why = std::get_if<Failure>(&*shown)) {
            code = ExitCodeOf(*why);
            if (why->cause != Cause::kCancelled) {
                messages_.Add(host, place, NoConversation(*why, true));
            }
        } else {
            line = host + " " + std::get<std::string>(*shown) + "\n";
        }
        codes_.insert(code);
        progress.Count(code != ExitCode::kEverythingRead);
        Print(lines_.Take(index, std::move(line)));
    }

    /// Without somebody to print for there is no use in asking on.
    void Print(const std::string& line)
    {
        if (outputFailure_ == 0 && !WriteOut(line)) {
            outputFailure_ = errno;
            stop_.request_stop();
        }
    }

    const Options& options_;
    const Targets& targets_;
    const Conversation conversation_{AtSignal::kPrintComplete};
    std::stop_source stop_;
    const std::stop_callback<std::function<void()>> passOn_{conversation_.StopToken(),
                                                            [this] { stop_.request_stop(); }};
    std::mutex taking_;
    std::set<ExitCode> codes_;
    FoldedMessages messages_;
    InOrder lines_;
    int outputFailure_ = 0;
};

}  // namespace

ExitCode RunPins(const Options& options, const Targets& targets)
{
    return PinsRun(options, targets).Run();
}

}  // namespace Tulvo::Cli
