// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/connection_check.h"

#include <string_view>
#include <vector>

#include "apps/vktinventory/command_line.h"
#include "common/connection/connection_values.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/vkt/vkt_https/vkt_https.h"

namespace Tulvo::Cli {
namespace {

using TulvoConnection::ConnectionInfo;

/// What a failed exchange means to the person who started it. The transport's own reason names the
/// configuration's keys; `flags` are this command's for the same things.
template <class Result>
struct Meaning
{
    Result result;
    ExitCode code;
    std::string_view what;
    std::string_view flags;
};

constexpr Meaning<CONNECTIONSTATE> kIpmiMeanings[] = {
    {CONNECTION_REFUSED, ExitCode::kRefused, "refused", "see -U, -f, -L and -C"},
    {CONNECTION_TRY_AGAIN, ExitCode::kNoConnection, "no connection", "see -H and -p"},
    {CONNECTION_FAILED, ExitCode::kNoConnection, "no connection", "see -H and -p"},
};

constexpr Meaning<VKTHttpsErrorCode> kHttpsMeanings[] = {
    {VKT_HTTPS_TLS_ERROR, ExitCode::kRefused, "not trusted", "see --ca-file and --pin"},
    {VKT_HTTPS_AUTHENTICATION_FAILED, ExitCode::kRefused, "refused", "see -U and -f"},
    {VKT_HTTPS_TIMEOUT, ExitCode::kNoConnection, "no connection", "see -H and -p"},
    {VKT_HTTPS_HTTP_ERROR, ExitCode::kNoConnection, "no service", "see -H and -p"},
    {VKT_HTTPS_MALFORMED_REPLY, ExitCode::kNoConnection, "no service", "see -H and -p"},
    {VKT_HTTPS_NO_DATA, ExitCode::kNoConnection, "no service", "see -H and -p"},
    {VKT_HTTPS_CONNECT_FAILED, ExitCode::kNoConnection, "no connection", "see -H and -p"},
    {VKT_HTTPS_INTERNAL_ERROR, ExitCode::kNoConnection, "no connection", "see -H and -p"},
};

template <class Result, std::size_t N>
ConnectionCheck Explain(const Meaning<Result> (&meanings)[N], Result result,
                        const std::string& reason)
{
    const Meaning<Result>* meaning = &meanings[N - 1];
    for (const Meaning<Result>& each : meanings) {
        meaning = each.result == result ? &each : meaning;
    }
    return {meaning->code,
            std::string(meaning->what) + ": " + reason + " (" + std::string(meaning->flags) + ")",
            std::nullopt};
}

/// The module's completion code for a session whose privilege is too low.
constexpr std::uint8_t kInsufficientPrivilege = 0xD4;

/// Get Device ID, which every management controller answers and which changes nothing.
IPMICOMMAND HarmlessRequest()
{
    return {.cmd = 0x01, .data = {}, .netFn = 0x06};
}

/// The module's status: the first of the requests that the library will send.
IPMICOMMAND FirstRequest()
{
    return {.cmd = 0xA8, .data = {}, .netFn = 0x32};
}

template <class Transport>
std::optional<VKTIype> GenerationOver(Transport& transport)
{
    VKTIype generation = VKT_TYPE_UNKNOWN;
    const bool told = VKTInfo(&transport).GetVktType(generation) == VKT_INFO_SUCCESS;
    return told ? std::optional(generation) : std::nullopt;
}

/// Only the privilege is judged: a request that fails otherwise is the library's to repeat.
template <class Transport>
ConnectionCheck Judge(std::uint8_t completionCode, Transport& transport)
{
    if (completionCode != kInsufficientPrivilege) {
        return {ExitCode::kEverythingRead, "", GenerationOver(transport)};
    }
    return {ExitCode::kRefused,
            "refused: the module allows its inventory to a higher privilege only (completion code "
            "0xd4); log in with a higher one (see -U and -L)",
            std::nullopt};
}

ConnectionCheck TryIpmi(const ConnectionInfo& connection, std::uint64_t cipherSuite)
{
    IpmiClient client(connection.address, connection.userName, connection.password,
                      std::to_string(connection.port), cipherSuite);
    if (const CONNECTIONSTATE state = client.connect(); state != CONNECTION_CONNECTED) {
        return Explain(kIpmiMeanings, state, client.lastError());
    }
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0;
    client.send(FirstRequest(), response, completionCode);
    client.disconnect();
    return Judge(completionCode, client);
}

ConnectionCheck TryHttps(const ConnectionInfo& connection)
{
    VKTHttps transport(connection);
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0;
    const VKTHttpsErrorCode result =
        transport.SendIpmiCmdOverHttps(HarmlessRequest(), response, completionCode);
    if (result != VKT_HTTPS_SUCCESS) {
        return Explain(kHttpsMeanings, result, transport.LastError());
    }
    transport.SendIpmiCmdOverHttps(FirstRequest(), response, completionCode);
    return Judge(completionCode, transport);
}

}  // namespace

ConnectionCheck CheckConnection(const ConnectionInfo& connection, std::uint64_t cipherSuite)
{
    if (connection.connectionType == TulvoConnection::kConnectOverHttps) {
        return TryHttps(connection);
    }
    return TryIpmi(connection, cipherSuite);
}

}  // namespace Tulvo::Cli
