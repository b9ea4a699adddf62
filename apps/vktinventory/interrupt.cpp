// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/interrupt.h"

#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include <unistd.h>

#include "apps/vktinventory/diagnostics.h"
#include "apps/vktinventory/password.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/vkt/vkt_https/vkt_https.h"

namespace Tulvo::Cli {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};
/// What a shell reports for a program that a signal ended: this and the signal's number.
constexpr int kSignalBase = 128;

/// How long a session may take to close; a module that does not answer keeps nobody waiting for
/// longer. Over HTTPS a request is left within a second, and the session deleted within two.
constexpr std::uint32_t kPatienceMilliseconds = 1000;
constexpr std::uint32_t kHttpsPatienceMilliseconds = 3000;

/// A signal that whoever started us switched off (nohup, a job in the background) stays off.
bool IsIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t EndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kEndingSignals) {
        if (!IsIgnored(signal)) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

[[noreturn]] void EndAt(const sigset_t& signals)
{
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    RestoreEcho();
    EndOutput();
    IpmiClient::interruptAll();
    VKTHttps::InterruptAll();
    IpmiClient::waitUntilAllClosed(kPatienceMilliseconds);
    VKTHttps::WaitUntilAllClosed(kHttpsPatienceMilliseconds);
    _exit(kSignalBase + signal);
}

}  // namespace

void WatchForInterrupts()
{
    for (const int failedWrite : {SIGPIPE, SIGXFSZ}) {
        std::signal(failedWrite, SIG_IGN);
    }
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        std::thread([signals] { EndAt(signals); }).detach();
    } catch (const std::system_error& fault) {
        throw std::runtime_error(std::string("no thread can be started (") + fault.what() +
                                 "); free memory, or raise the limits of memory and processes");
    }
}

}  // namespace Tulvo::Cli
