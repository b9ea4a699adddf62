// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/ipmi_sim_server.h"

#include <poll.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "apps/vkt_simulator/child_process.h"
#include "apps/vkt_simulator/ipmi_sim_config.h"
#include "apps/vkt_simulator/memory_file.h"
#include "apps/vkt_simulator/module_channel.h"
#include "apps/vkt_simulator/random_id.h"
#include "apps/vkt_simulator/udp_endpoint.h"

namespace Tulvo::Simulator {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kStartLimit = std::chrono::seconds(60);
constexpr int kProbeMilliseconds = 50;
constexpr std::size_t kStartedAtATime = 16;

// `ipmi_sim` insists on a folder for what it would remember. It has nothing to remember here, so
// the folder goes as soon as the server has looked at it.
class StateFolder
{
public:
    StateFolder()
    {
        std::error_code missing;
        const std::filesystem::path parent = std::filesystem::temp_directory_path(missing);
        std::string pattern = (parent / "vkt-sim-XXXXXX").string();
        if (missing || mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder " + pattern +
                                     "; set TMPDIR to a folder that can be written to");
        }
        path_ = pattern;
    }
    ~StateFolder() { Remove(); }
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    void Remove()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

PortReservation Reserve(const IpmiSimOptions& options)
{
    try {
        return PortReservation(SocketAddress(options.address, options.port));
    } catch (const std::system_error& fault) {
        if (fault.code() == std::errc::too_many_files_open) {
            throw;
        }
        throw CannotListen("UDP", options.address, options.port, fault.code(), "--port");
    }
}

IpmiSimOptions WithPort(IpmiSimOptions options, std::uint16_t port)
{
    options.port = port;
    return options;
}

}  // namespace

class IpmiSimServer::Impl
{
public:
    explicit Impl(const IpmiSimOptions& options) : guid_(RandomId()), reservation_(Reserve(options))
    {
        const FileDescriptor input = MakeMemoryFile("input", options.moduleInput);
        auto [own, modules] = MakeModuleChannel();
        IpmiSimOptions complete = WithPort(options, reservation_.Address().Port());
        if (!options.moduleInput.empty()) {
            complete.moduleOptions = PathOf(input) + ' ' + std::to_string(modules.Get());
            channel_ = std::move(own);
        }
        const FileDescriptor configuration =
            MakeMemoryFile("configuration", IpmiSimConfiguration(complete, guid_));
        const FileDescriptor commands = MakeMemoryFile("commands", IpmiSimCommands());
        process_.emplace(
            std::vector<std::string>{FindProgram("ipmi_sim", "openipmi"), "-n", "-c",
                                     PathOf(configuration), "-f", PathOf(commands), "-s",
                                     state_.Path()},
            std::vector<int>{input.Get(), modules.Get(), configuration.Get(), commands.Get()});
    }

    void WaitUntilReady(int cancel)
    {
        const SocketAddress address = reservation_.Address().Reachable();
        const auto deadline = Clock::now() + kStartLimit;
        // A port without a server is refused at once, so the loop needs a rest.
        constexpr int kRestMilliseconds = 2;
        for (int rest = 0;; rest = kRestMilliseconds) {
            std::array<pollfd, 2> events = {
                {{process_->ExitDescriptor(), POLLIN, 0}, {cancel, POLLIN, 0}}};
            poll(events.data(), events.size(), rest);
            if (events[0].revents != 0) {
                throw std::runtime_error("ipmi_sim ended while starting and said: " +
                                         process_->Output());
            }
            if (events[1].revents != 0) {
                throw std::runtime_error("the start of ipmi_sim was given up on request");
            }
            if (AnswersWithGuid(address, guid_, kProbeMilliseconds)) {
                break;
            }
            if (Clock::now() > deadline) {
                throw std::runtime_error("ipmi_sim does not answer on UDP port " +
                                         std::to_string(address.Port()) +
                                         " and said: " + process_->Output());
            }
        }
        state_.Remove();
    }

    const PortReservation& Reservation() const { return reservation_; }
    ChildProcess& Process() { return *process_; }
    int Channel() const { return channel_.Get(); }

private:
    std::string guid_;
    PortReservation reservation_;
    FileDescriptor channel_;
    // The process goes before its folder, which it could otherwise still be filling.
    StateFolder state_;
    std::optional<ChildProcess> process_;
};

IpmiSimServer::IpmiSimServer(const IpmiSimOptions& options) : IpmiSimServer(options, Start())
{
    impl_->WaitUntilReady(options.cancelDescriptor);
}

IpmiSimServer::IpmiSimServer(const IpmiSimOptions& options, Start /*only*/)
    : impl_(std::make_unique<Impl>(options))
{
}

// Most of a start is waiting.
std::vector<IpmiSimServer> IpmiSimServer::StartAll(const std::vector<IpmiSimOptions>& options)
{
    std::vector<IpmiSimServer> servers;
    std::size_t ready = 0;
    const auto waitForOne = [&] {
        servers[ready].impl_->WaitUntilReady(options[ready].cancelDescriptor);
        ++ready;
    };
    for (const IpmiSimOptions& one : options) {
        servers.push_back(IpmiSimServer(one, Start()));
        if (servers.size() >= ready + kStartedAtATime) {
            waitForOne();
        }
    }
    while (ready < servers.size()) {
        waitForOne();
    }
    return servers;
}

IpmiSimServer::IpmiSimServer(IpmiSimServer&&) noexcept = default;
IpmiSimServer::~IpmiSimServer() = default;

std::uint16_t IpmiSimServer::Port() const
{
    return impl_->Reservation().Address().Port();
}

pid_t IpmiSimServer::Pid() const
{
    return impl_->Process().Pid();
}

void IpmiSimServer::Kill()
{
    impl_->Process().Kill();
}

bool IpmiSimServer::Running()
{
    return impl_->Process().Running();
}

int IpmiSimServer::ExitDescriptor() const
{
    return impl_->Process().ExitDescriptor();
}

void IpmiSimServer::ChangeInput(const std::string& text)
{
    SendFile(impl_->Channel(), MakeMemoryFile("input", text));
}

int IpmiSimServer::ModuleDescriptor() const
{
    return impl_->Channel();
}

void IpmiSimServer::ConfirmInput()
{
    const std::string answer = ReceiveText(impl_->Channel());
    if (answer != kInputTaken) {
        throw std::runtime_error("ipmi_sim cannot play the new scenario" +
                                 (answer.empty() ? std::string(": it has ended") : ": " + answer));
    }
}

}  // namespace Tulvo::Simulator
