// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/run_many.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "apps/vktinventory/ask.h"
#include "apps/vktinventory/interrupt.h"
#include "apps/vktinventory/outcome.h"
#include "apps/vktinventory/output/destination.h"
#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/output/folded_messages.h"
#include "apps/vktinventory/output/progress.h"
#include "apps/vktinventory/output/renderer.h"
#include "apps/vktinventory/output/time_text.h"
#include "fleet/fan_out.h"
#include "fleet/refusals.h"

namespace Tulvo::Cli {
namespace {

using Clock = std::chrono::steady_clock;

class ManyRun
{
public:
    ManyRun(const Options& options, Targets& targets)
        : options_(options),
          targets_(targets),
          renderer_(RendererFor(options, targets.AreMany(), WantsColour())),
          gates_(targets.Count())
    {
    }

    ExitCode Run()
    {
        Print(renderer_->Begin());
        ExitCode worst = ExitCode::kEverythingRead;
        Clock::time_point beat = Clock::now();
        for (std::uint64_t round = 1;; ++round) {
            worst = std::max(worst, ReadRound(round));
            if (!WaitForRound(round + 1, beat) || !BeginAnotherRound()) {
                break;
            }
        }
        return End(worst);
    }

private:
    /// False when there is none.
    bool WaitForRound(std::uint64_t round, Clock::time_point& beat)
    {
        const auto& repetition = options_.repetition;
        if (!repetition || round - 1 == repetition->count) {
            return false;
        }
        WaitFor(NextBeat(beat, repetition->every));
        return !Stopped();
    }

    /// False when somebody has ended the command meanwhile.
    bool BeginAnotherRound()
    {
        refusals_.BeginRound();
        for (const std::string& line :
             targets_.Renew(std::exchange(refused_, {}), stop_.get_token())) {
            Complain(line + "; the password before stays in use");
        }
        return !Stopped();
    }

    /// Once stopped it only tells of all that they were cancelled, so that what was begun is
    /// closed.
    ExitCode ReadRound(std::uint64_t round)
    {
        if (options_.repetition && options_.format == Format::kTable) {
            Print(std::string(round == 1 ? "" : "\n")
                      .append(TimeText(std::chrono::system_clock::now()))
                      .append("\n"));
        }
        std::set<ExitCode> codes;
        FoldedMessages messages;
        {
            Progress progress(targets_.Count());
            const auto deliver = [&](std::size_t index, Enclosures::Enclosure&& enclosure) {
                Guarded([&] {
                    NoteRefusal(index, enclosure.error);
                    const Report report = ReportFrom(index, std::move(enclosure));
                    const ExitCode code = ExitCodeOf(report);
                    codes.insert(code);
                    progress.Count(code != ExitCode::kEverythingRead);
                    messages.Add(report);
                    Tell(report);
                    Print(renderer_->Add(index, report));
                });
            };
            FanOut(deliver);
        }
        if (fault_) {
            std::rethrow_exception(fault_);
        }
        Print(renderer_->End());
        for (const std::string& line : messages.Take()) {
            Complain(line);
        }
        return CommonCode(codes);
    }

    void FanOut(const Fleet::Deliver& deliver)
    {
        const auto job = [this](std::size_t index) { return JobFor(index); };
        const auto read = [this](const Enclosures::Target& target,
                                 const Enclosures::Limits& limits) {
            return Ask(options_, target, limits);
        };
        const auto shortage = Fleet::FanOut(targets_.Count(), job, read, deliver, guard_,
                                            {.width = options_.fanOut, .stop = stop_.get_token()});
        if (shortage) {
            Complain(shortage->message + "; " + shortage->advice);
        }
    }

    /// In the rounds of a repetition whoever refused is left alone for a while; called by many
    /// threads, for different indices.
    Fleet::Job JobFor(std::size_t index)
    {
        Fleet::Job job{targets_.Target(index), targets_.Timeout(index),
                       targets_.ConnectTimeout(index)};
        if (options_.repetition && !options_.keepGoing) {
            gates_[index] = std::make_shared<Fleet::Refusals::Gate>(
                refusals_, targets_.Member(index).name, job.target);
            job.gate = gates_[index];
        }
        return job;
    }

    void NoteRefusal(std::size_t index, const std::optional<Failure>& error)
    {
        const auto gate = std::exchange(gates_[index], nullptr);
        const bool refused = error && error->cause == Cause::kRefused;
        if (gate != nullptr ? gate->Ended(error) : refused) {
            refused_.insert(index);
        }
    }

    Report ReportFrom(std::size_t index, Enclosures::Enclosure&& enclosure) const
    {
        if (const auto wrong = WrongNumber(options_, enclosure.module); wrong && !enclosure.error) {
            enclosure.error = Failure{Cause::kLocal, *wrong, "", {}};
        }
        return ReportFor(options_, targets_.Member(index), std::move(enclosure));
    }

    void Tell(const Report& report) const
    {
        if (options_.verbosity > 0) {
            Complain(report.host + ": " + CostLine(report.enclosure));
        }
    }

    /// Without somewhere to print to there is no use in asking on.
    void Print(const std::string& text)
    {
        if (outputFailure_ == 0 && !WriteResult(text, options_.output)) {
            outputFailure_ = errno;
            stop_.request_stop();
        }
    }

    /// What is thrown in one of the threads that read is thrown where all of them have ended.
    template <class Work>
    void Guarded(Work work)
    {
        try {
            work();
        } catch (...) {
            fault_ = std::current_exception();
            stop_.request_stop();
        }
    }

    bool Stopped() const { return stop_.stop_requested(); }

    /// A beat that was missed is skipped.
    static Clock::time_point NextBeat(Clock::time_point& beat, std::chrono::seconds every)
    {
        const auto missed = (Clock::now() - beat) / every;
        beat += (missed + 1) * every;
        return beat;
    }

    void WaitFor(Clock::time_point time)
    {
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock lock(mutex);
        never.wait_until(lock, stop_.get_token(), time, [] { return false; });
    }

    ExitCode End(ExitCode worst) const
    {
        if (outputFailure_ != 0) {
            ComplainAboutResult(outputFailure_, options_.output);
            return ExitCode::kOutputFailed;
        }
        return Interrupted().value_or(worst);
    }

    const Options& options_;
    Targets& targets_;
    const std::unique_ptr<Renderer> renderer_;
    const Conversation conversation_{AtSignal::kPrintComplete};
    Fleet::AccountGuard guard_{options_.keepGoing};
    Fleet::Refusals refusals_;
    std::vector<std::shared_ptr<Fleet::Refusals::Gate>> gates_;  ///< By index.
    std::set<std::size_t> refused_;                              ///< In this round; indices.
    std::stop_source stop_;
    const std::stop_callback<std::function<void()>> passOn_{conversation_.StopToken(),
                                                            [this] { stop_.request_stop(); }};
    int outputFailure_ = 0;
    std::exception_ptr fault_;
};

}  // namespace

ExitCode RunMany(const Options& options, Targets& targets)
{
    return ManyRun(options, targets).Run();
}

}  // namespace Tulvo::Cli
