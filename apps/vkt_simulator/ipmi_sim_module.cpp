// SPDX-License-Identifier: Apache-2.0
// The enclosure as a module of ipmi_sim. Its options are the path of the scenario file and the
// descriptor of a channel over which it is given other files.
#include <OpenIPMI/serv.h>
extern "C" {  // this header does not say so itself
#include <OpenIPMI/mcserv.h>
}

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "apps/vkt_simulator/datagram_filter.h"
#include "apps/vkt_simulator/module_channel.h"
#include "apps/vkt_simulator/scenario.h"
#include "common/platform/export.h"

namespace Tulvo::Simulator {

// Algorithms by IPMI's numbers, 0 being none at all.
struct CipherSuite
{
    int authentication;
    int integrity;
    int confidentiality;
};

}  // namespace Tulvo::Simulator

// What ipmi_sim lets a log-in propose. No header of OpenIPMI has it, though its library exports it:
// one that did not would not load this module.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" Tulvo::Simulator::CipherSuite valid_cipher_suites[];

// Nor this: the handlers of RMCP+ payloads, by payload type.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" ipmi_payload_handler_cb payload_handlers[64];

namespace Tulvo::Simulator {

namespace {

constexpr unsigned char kControllerAddress = 0x20;
constexpr unsigned int kLanChannel = 1;
static_assert(kMaxSessions == MAX_SESSIONS);

// The module has one enclosure and ipmi_sim one thread, so what a request needs stands here.
struct Module
{
    explicit Module(Scenario scenario)
        : enclosure(std::move(scenario.enclosure), std::move(scenario.faults),
                    scenario.crashAtRequest),
          sessions(scenario.sessions),
          privilege(scenario.credentials.privilege)
    {
    }

    FaultyEnclosure enclosure;
    std::uint32_t sessions;
    int privilege;
    bool dropAnswer = false;
};

std::unique_ptr<Module> module;
lanserv_data_t* server = nullptr;
int changes = -1;  // the channel over which they come

std::unique_ptr<Module> ReadModule(const std::string& file)
{
    return std::make_unique<Module>(ParseScenario(ReadScenarioFile(file), file));
}

void Handle(lmc_data_t* /*controller*/, msg_t* message, unsigned char* answer,
            unsigned int* answerLength, void* /*unused*/)
{
    const Delivery delivery = module->enclosure.Serve(
        message->netfn, message->cmd, {message->data, message->data + message->len});
    if (delivery.crashed) {
        std::raise(SIGKILL);
    }
    // The server has one thread, as a small module has: while one answer is late, all are.
    std::this_thread::sleep_for(delivery.latency);
    module->dropAnswer = delivery.dropped;
    const std::vector<std::uint8_t>& bytes = delivery.answer.bytes;
    const std::size_t count = std::min<std::size_t>(bytes.size(), *answerLength - 1);
    answer[0] = delivery.answer.completionCode;
    std::copy_n(bytes.begin(), count, answer + 1);
    *answerLength = static_cast<unsigned int>(count + 1);
}

// Called for every answer just before it is sent; what is "handled" here is not sent.
int SwallowDropped(channel_t* /*channel*/, msg_t* /*message*/, rsp_msg_t* /*answer*/)
{
    return std::exchange(module->dropAnswer, false) ? 1 : 0;
}

// ipmi_sim lets every user have every level, whatever its configuration says of user and channel. A
// module has to see to it itself.
int RefuseHigherLevels(channel_t* channel, msg_t* message)
{
    constexpr unsigned char kApplication = 0x06;
    constexpr unsigned char kSetSessionPrivilege = 0x3B;
    if (message->netfn != kApplication || message->cmd != kSetSessionPrivilege ||
        message->len < 1 || (message->data[0] & 0x0F) <= module->privilege) {
        return 0;
    }
    std::array<std::uint8_t, 1> data = {0x81};  // requested level exceeds the user's limit
    rsp_msg_t answer = {kApplication | 1, kSetSessionPrivilege, data.size(), data.data()};
    channel->return_rsp(channel, message, &answer);
    return 1;
}

// A module with few sessions is one in which others hold most of them, for ever. Where fewer are
// free than they should hold, they take what there is.
void OccupySessions()
{
    static std::array<bool, kMaxSessions + 1> occupied = {};
    std::uint32_t wanted = kMaxSessions - module->sessions;
    for (std::uint32_t i = 1; i <= kMaxSessions; ++i) {
        session_t& session = server->sessions[i];
        const bool isFree = occupied[i] || session.active == 0;
        if (wanted > 0 && isFree) {
            --wanted;
            occupied[i] = true;
            session.active = 1;
            session.time_left = std::numeric_limits<unsigned int>::max();
        } else if (occupied[i]) {
            occupied[i] = false;
            session.active = 0;
        }
    }
}

// ipmi_sim accepts suite 0, which needs no password, whatever its configuration says. In a session
// of a suite that does not sign, anyone who guesses its id can send requests.
void OfferOnlyFullSuites()
{
    constexpr int kEndOfSuites = -1;
    constexpr int kMostSuites = 64;
    constexpr CipherSuite kNeverProposed = {0x100, 0x100, 0x100};  // a log-in has 6 bits for each
    int kept = 0;
    int count = 0;
    for (; count < kMostSuites && valid_cipher_suites[count].authentication != kEndOfSuites;
         ++count) {
        CipherSuite& suite = valid_cipher_suites[count];
        if (suite.authentication == 0 || suite.integrity == 0 || suite.confidentiality == 0) {
            suite = kNeverProposed;
        } else {
            ++kept;
        }
    }
    if (count == kMostSuites || kept == 0) {
        throw std::runtime_error(
            "the cipher suites of this version of OpenIPMI cannot be limited; 2.0.33 is known to "
            "work");
    }
}

// ipmi_sim 2.0.33 calls a function from beyond the end of a table when an unauthenticated datagram
// has an authentication type that it does not know (CVE-2024-42934). It has bound its port by now,
// and not read from it yet.
void FilterDatagrams()
{
    const std::vector<int> sockets = UdpSockets();
    if (sockets.empty()) {
        throw std::runtime_error(
            "ipmi_sim has not opened its UDP port yet, so no filter can be set");
    }
    for (const int socket : sockets) {
        AdmitOnlyRmcpPlus(socket);
    }
}

// A step of a log-in, which ipmi_sim serves by itself, as slow as the scenario has it.
template <unsigned int payloadType>
struct LogInStep
{
    static inline ipmi_payload_handler_cb serve = nullptr;

    static void ServeLate(lanserv_data_t* lan, msg_t* message)
    {
        std::this_thread::sleep_for(module->enclosure.NextLogInLatency());
        OccupySessions();  // One may have been closed.
        serve(lan, message);
    }
    static void Install()
    {
        serve = std::exchange(payload_handlers[payloadType], ServeLate);
        if (serve == nullptr) {
            throw std::runtime_error(
                "the log-ins of this version of OpenIPMI cannot be slowed down; 2.0.33 is known to "
                "work");
        }
    }
};

void SlowDownLogIns()
{
    LogInStep<0x10>::Install();  // open session
    LogInStep<0x12>::Install();  // RAKP 1
    LogInStep<0x14>::Install();  // RAKP 3
}

// ipmi_sim does one thing at a time, so what it answers from here on is the new module's.
void ChangeModule(int /*changes*/, void* /*unused*/)
{
    const std::optional<FileDescriptor> file = ReceiveFile(changes);
    if (!file) {
        std::_Exit(0);  // The simulator has ended.
    }
    try {
        module = ReadModule("/proc/self/fd/" + std::to_string(file->Get()));
        OccupySessions();
        SendText(changes, std::string(kInputTaken));
    } catch (const std::exception& error) {
        SendText(changes, error.what());
    }
}

void AwaitChanges(sys_data_t& system)
{
    ipmi_io_t* ignored = nullptr;
    if (system.add_io_hnd(&system, changes, ChangeModule, nullptr, &ignored) != 0) {
        throw std::runtime_error("ipmi_sim does not wait for a new scenario");
    }
}

void RegisterHandlers()
{
    for (const RequestCode& request : ServedRequests()) {
        ipmi_emu_register_cmd_handler(request.netFn, request.command, Handle, nullptr);
    }
}

}  // namespace

}  // namespace Tulvo::Simulator

extern "C" {

VKT_EXPORT int ipmi_sim_module_print_version(sys_data_t* /*system*/, const char* /*options*/)
{
    std::puts("enclosure module");
    return 0;
}

VKT_EXPORT int ipmi_sim_module_init(sys_data_t* /*system*/, const char* options)
{
    using namespace Tulvo::Simulator;
    try {
        std::istringstream words(options);
        std::string file;
        words >> file >> changes;
        module = ReadModule(file);
        RegisterHandlers();
        OfferOnlyFullSuites();
        SlowDownLogIns();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

VKT_EXPORT int ipmi_sim_module_post_init(sys_data_t* system)
{
    using namespace Tulvo::Simulator;
    try {
        FilterDatagrams();
        AwaitChanges(*system);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        std::_Exit(1);  // what this function returns is ignored
    }
    channel_t* lan = system->mc_get_channelset(system->ipmb_addrs[kControllerAddress])[kLanChannel];
    lan->oem.oem_handle_rsp = SwallowDropped;
    lan->oem.oem_handle_msg = RefuseHigherLevels;
    server = static_cast<lanserv_data_t*>(lan->chan_info);
    OccupySessions();
    return 0;
}
}
