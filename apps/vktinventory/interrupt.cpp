// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/interrupt.h"

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include <unistd.h>

#include "apps/vktinventory/input/password_prompt.h"
#include "apps/vktinventory/output/diagnostics.h"

namespace Tulvo::Cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
/// Ctrl-Z, and what a shell's fg and bg send.
constexpr int kJobSignals[] = {SIGTSTP, SIGCONT};
/// In the background, reads from the terminal fail and writes succeed instead of stopping the
/// process, in which a signal that is to end it would not be heard any more.
constexpr int kBackgroundSignals[] = {SIGTTIN, SIGTTOU};

/// What a shell reports for a program that a signal ended: this and the signal's number.
constexpr int kSignalBase = 128;

/// Every conversation bounds its own log-out by far less: this ends what a busy computer, or a
/// print that nobody reads, keeps from ending.
constexpr std::chrono::seconds kLogOutLimit{10};

/// Signals that follow within this time are the same request to end: timeout(1), and a shell whose
/// terminal is closed, send theirs twice.
constexpr std::chrono::seconds kSameRequest{1};

/// So often it is looked for another signal.
constexpr std::chrono::milliseconds kSlice{100};

struct Conversations
{
    std::mutex mutex;
    std::condition_variable ended;
    int count = 0;
    int printing = 0;  ///< Of them those with AtSignal::kPrintComplete.
    int signal = 0;    ///< That ends the process; 0 as long as none has come.
    std::stop_source stop;
};

/// Never destroyed: the thread that waits for signals may use it until the process is gone.
Conversations& All()
{
    static Conversations& all = *new Conversations;
    return all;
}

/// A signal that whoever started us switched off (nohup, a job in the background) stays off.
bool IsIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

template <std::size_t N>
void AddTo(sigset_t& set, const int (&signals)[N])
{
    for (const int signal : signals) {
        if (!IsIgnored(signal)) {
            sigaddset(&set, signal);
        }
    }
}

sigset_t WatchedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    AddTo(signals, kEndingSignals);
    AddTo(signals, kJobSignals);
    return signals;
}

void BlockInAllThreads(sigset_t signals)
{
    AddTo(signals, kBackgroundSignals);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// The signal's own effect, not SIGSTOP: a process that no shell looks after must not stop.
void Stop()
{
    ShowTyping();
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
    raise(SIGTSTP);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);
    HideTypingAgain();
}

bool AllHaveEnded(std::chrono::milliseconds within)
{
    Conversations& all = All();
    std::unique_lock lock(all.mutex);
    return all.ended.wait_for(lock, within, [&all] { return all.count == 0; });
}

/// Waits for the conversations' ends, unless the process is asked to end again.
/// @return the signal that asked last.
int WaitForLogOuts(int signal)
{
    sigset_t signals;
    sigemptyset(&signals);
    AddTo(signals, kEndingSignals);
    constexpr timespec kNow{};
    const auto begun = Clock::now();
    while (!AllHaveEnded(kSlice) && Clock::now() - begun < kLogOutLimit) {
        const int again = sigtimedwait(&signals, nullptr, &kNow);
        if (again > 0 && Clock::now() - begun >= kSameRequest) {
            return again;
        }
    }
    return signal;
}

[[noreturn]] void EndAt(int signal)
{
    ShowTyping();
    Conversations& all = All();
    bool printing = false;
    {
        const std::lock_guard lock(all.mutex);
        all.signal = signal;
        printing = all.printing > 0;
    }
    if (!printing) {
        EndOutput();
    }
    all.stop.request_stop();
    const int last = WaitForLogOuts(signal);
    EndOutput();
    _exit(kSignalBase + last);
}

[[noreturn]] void Watch(const sigset_t& signals)
{
    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0) {
            continue;
        }
        if (signal == SIGTSTP) {
            Stop();
        } else if (signal == SIGCONT) {
            HideTypingAgain();
        } else {
            EndAt(signal);
        }
    }
}

}  // namespace

Conversation::Conversation(AtSignal atSignal) : atSignal_(atSignal)
{
    const std::lock_guard lock(All().mutex);
    ++All().count;
    All().printing += atSignal_ == AtSignal::kPrintComplete ? 1 : 0;
}

Conversation::~Conversation()
{
    {
        const std::lock_guard lock(All().mutex);
        --All().count;
        All().printing -= atSignal_ == AtSignal::kPrintComplete ? 1 : 0;
    }
    All().ended.notify_all();
}

std::stop_token Conversation::StopToken() const
{
    return All().stop.get_token();
}

std::optional<ExitCode> Interrupted()
{
    const std::lock_guard lock(All().mutex);
    return All().signal == 0 ? std::nullopt
                             : std::optional(static_cast<ExitCode>(kSignalBase + All().signal));
}

void WatchForInterrupts()
{
    All();  // takes its memory as long as there is somebody to tell that there is none
    for (const int failedWrite : {SIGPIPE, SIGXFSZ}) {
        std::signal(failedWrite, SIG_IGN);
    }
    const sigset_t signals = WatchedSignals();
    BlockInAllThreads(signals);
    try {
        std::thread([signals] { Watch(signals); }).detach();
    } catch (const std::system_error& fault) {
        throw std::runtime_error(std::string("no thread can be started (") + fault.what() +
                                 "); free memory, or raise the limits of memory and processes");
    }
}

}  // namespace Tulvo::Cli
