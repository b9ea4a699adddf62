// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/run.h"

#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/vktinventory/arguments.h"
#include "apps/vktinventory/connection_check.h"
#include "apps/vktinventory/diagnostics.h"
#include "apps/vktinventory/password.h"
#include "apps/vktinventory/password_prompt.h"
#include "apps/vktinventory/render_json.h"
#include "apps/vktinventory/render_table.h"
#include "common/config/global_config.h"
#include "common/connection/connection_values.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"

namespace Tulvo::Cli {
namespace {

using TulvoConnection::ConnectionInfo;

ExitCode Fail(ExitCode code, std::string_view message)
{
    Complain(message);
    return code;
}

ExitCode Print(std::string_view text, ExitCode code)
{
    if (WriteOut(text)) {
        return code;
    }
    return Fail(ExitCode::kOutputFailed, "the results cannot be written to standard output: " +
                                             std::generic_category().message(errno));
}

std::string PasswordFor(const Options& options, std::string given)
{
    switch (options.passwordSource) {
        case PasswordSource::kArgument:
            return given;
        case PasswordSource::kFile:
            return PasswordFromFile(options.passwordFile);
        case PasswordSource::kEnvironment:
            return PasswordFromEnvironment();
        default:
            return PasswordFromTerminal();
    }
}

/// A flag decides; without one a configured key does, even one that cannot be used.
TulvoConnection::TlsVerification TrustOf(const Options& options)
{
    if (options.insecure) {
        return TulvoConnection::kTlsVerifyNothing;
    }
    const bool pinned = !options.pin.empty() ||
                        (options.caFile.empty() &&
                         FindGlobalConfigText("HTTPS_PINNED_KEY").state != ConfigState::kUnset);
    return pinned ? TulvoConnection::kTlsVerifyPinnedKey : TulvoConnection::kTlsVerifyAuthority;
}

ConnectionInfo ConnectionOf(const Options& options, std::string password)
{
    ConnectionInfo connection;
    connection.address = options.host;
    connection.userName = options.user;
    connection.password = std::move(password);
    connection.port = options.port;
    connection.connectionType = options.interface;
    connection.tlsVerification = TrustOf(options);
    connection.authentication = options.authentication;
    return connection;
}

/// What ConnectionInfo has no field for. A flag that was not given leaves the configured value.
void Configure(const Options& options)
{
    if (options.cipherSuite) {
        SetGlobalConfigValue("IPMI_CIPHER_SUITE", *options.cipherSuite);
    }
    if (options.privilege) {
        SetGlobalConfigValue("IPMI_PRIVILEGE_LEVEL", *options.privilege);
    }
    if (!options.caFile.empty()) {
        SetGlobalConfigText("HTTPS_CA_FILE", options.caFile);
    }
    if (!options.pin.empty()) {
        SetGlobalConfigText("HTTPS_PINNED_KEY", options.pin);
    }
}

Target TargetOf(const Options& options)
{
    return {options.interface == TulvoConnection::kConnectOverHttps ? "https" : "lanplus",
            options.host, options.port};
}

/// Only the module knows how many nodes it has; a number above that is still wrong usage.
bool NodeIsOutOfRange(const Options& options, std::uint64_t nodeCount)
{
    return options.command->Runs(Section::kNodes) && nodeCount != 0 && options.number > nodeCount;
}

ExitCode PrintReport(const Report& report, Format format)
{
    const std::vector<std::string> failures = Failures(report);
    for (const std::string& failure : failures) {
        Complain(failure);
    }
    return Print(format == Format::kJson ? RenderJson(report) : RenderTable(report, WantsColour()),
                 failures.empty() ? ExitCode::kEverythingRead : ExitCode::kSomeQueriesFailed);
}

bool IsThere(const ConnectionInfo& connection)
{
    return CheckConnection(connection, kDefaultCipherSuite).code == ExitCode::kEverythingRead;
}

/// Hands the library what it would ask for once, and go without when the answer got lost: it would
/// read all answers as those of a first-generation module.
bool HandOver(const ConnectionCheck& check)
{
    if (check.generation) {
        SetGlobalConfigValue("MODULE_TYPE", *check.generation);
    }
    return check.generation.has_value();
}

/// Nothing when the module does not tell its generation though it tells its status.
std::unique_ptr<VKTInventory> OpenInventory(const ConnectionInfo& connection,
                                            const ConnectionCheck& check)
{
    const bool told = HandOver(check);
    auto inventory = std::make_unique<VKTInventory>(connection);
    EraseProgress();
    if (told || inventory->GetNodeNub() == 0) {
        return inventory;
    }
    // It has become ready while the library waited.
    const bool tellsNow = HandOver(CheckConnection(connection, kDefaultCipherSuite));
    return tellsNow ? std::make_unique<VKTInventory>(connection) : nullptr;
}

ExitCode AskModule(const Options& options, const ConnectionInfo& connection,
                   const ConnectionCheck& check)
{
    const std::unique_ptr<VKTInventory> opened = OpenInventory(connection, check);
    if (opened == nullptr) {
        return Fail(ExitCode::kNoConnection,
                    "no connection: the module did not tell its generation; try again");
    }
    VKTInventory& inventory = *opened;
    if (const std::uint64_t nodes = inventory.GetNodeNub(); NodeIsOutOfRange(options, nodes)) {
        return Fail(ExitCode::kWrongUsage, "node " + std::to_string(options.number) +
                                               ": this enclosure has nodes 1 to " +
                                               std::to_string(nodes));
    }
    Report report =
        Ask(inventory, *options.command, options.number,
            {TakeLogDetail, [&] { return IsThere(connection); }, IpmiClient::unansweredRequests});
    report.target = TargetOf(options);
    EraseProgress();
    return PrintReport(report, options.format);
}

ExitCode RunWith(const Options& options, std::string givenPassword)
{
    StartLogging(options.verbosity);
    Configure(options);
    try {
        const ConnectionInfo connection =
            ConnectionOf(options, PasswordFor(options, std::move(givenPassword)));
        const ConnectionCheck check = CheckConnection(connection, kDefaultCipherSuite);
        if (check.code != ExitCode::kEverythingRead) {
            return Fail(check.code, check.message);
        }
        return AskModule(options, connection, check);
    } catch (const NoPassword& reason) {
        return Fail(ExitCode::kWrongUsage, reason.what());
    }
}

ExitCode PrintEarlyExit(const EarlyExit& earlyExit)
{
    return earlyExit.code == ExitCode::kEverythingRead ? Print(earlyExit.text, earlyExit.code)
                                                       : Fail(earlyExit.code, earlyExit.text);
}

}  // namespace

ExitCode Run(int argc, char** argv)
{
    Arguments arguments = TakeArguments(argc, argv);
    const auto parsed = ParseCommandLine(arguments.words);
    if (const auto* const earlyExit = std::get_if<EarlyExit>(&parsed)) {
        return PrintEarlyExit(*earlyExit);
    }
    return RunWith(std::get<Options>(parsed), std::move(arguments.password));
}

}  // namespace Tulvo::Cli
