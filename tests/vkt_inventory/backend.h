// SPDX-License-Identifier: Apache-2.0
/// @file
/// An inventory over fakes of everything that it calls.
#ifndef TESTS_VKT_INVENTORY_BACKEND_H
#define TESTS_VKT_INVENTORY_BACKEND_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "module/vkt/vkt_inventory/vkt_inventory.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_ipmi_client.h"
#include "tests/fakes/fake_log.h"
#include "tests/fakes/fake_sleep.h"
#include "tests/fakes/fake_vkt_https.h"
#include "tests/fakes/fake_vkt_info.h"
#include "tests/fakes/journal.h"
#include "tests/vkt_inventory/bytes.h"
#include "tests/vkt_inventory/log_lines.h"
#include "tests/vkt_inventory/statements.h"

namespace Tulvo::Tests {

using Lines = std::vector<std::string>;

inline Lines operator+(Lines left, const Lines& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The module's status as it answers it: what the platform and the generation byte say, nothing
/// else.
inline Bytes Status(std::uint8_t platform, std::uint8_t generation)
{
    Bytes status(14);
    status.front() = platform;
    status.back() = generation;
    return status;
}

/// Two power-supply slots and four nodes.
inline const Bytes kSmallEnclosure = Status(0xFE, 0);
/// Nine slots and twelve nodes.
inline const Bytes kLargeEnclosure = Status(0xFD, 3);

/// An answer that the status queries take for none: too short, but not refused.
inline const Bytes kShortStatus = Bytes(13);

/// A transport, and the backend over it.
struct Transport
{
    const char* name;
    std::int32_t connectionType;
    const char* file;  ///< Of the backend.
};

inline constexpr Transport kDirect{"Direct", 7, "vkt_inventory_ipmi_impl"};
inline constexpr Transport kHttps{"Https", 9, "vkt_inventory_https_impl"};

inline const Bytes kAccepted = {0x00};

inline auto NameOf = [](const ::testing::TestParamInfo<Transport>& row) { return row.param.name; };

inline void PrintTo(const Transport& transport, std::ostream* out)
{
    *out << transport.name;
}

/// An inventory over one of them, and a module that plays a script over it.
class Backend : public ::testing::Test
{
protected:
    Fakes::Journal journal;
    Fakes::FakeLog log;
    Fakes::FakeConfig config;
    Fakes::FakeSleep sleep;
    Fakes::FakeVKTInfo info;
    Fakes::FakeIpmiClient vkt;
    Fakes::FakeVKTHttps service;
    const Transport transport;
    TulvoConnection::ConnectionInfo connection;
    std::unique_ptr<VKTInventory> inventory;

    explicit Backend(const Transport& over) : transport(over)
    {
        connection.address = "10.0.0.9";
        connection.userName = "admin";
        connection.password = "secret";
        connection.port = IsHttps() ? 443 : 623;
        connection.connectionType = transport.connectionType;
    }

    /// Every record names a statement of the backend or of the decoder.
    void TearDown() override
    {
        ExpectStatementsIn(transport.file, "vkt_inventory_parse_response", log);
    }

    bool IsHttps() const { return transport.connectionType == kHttps.connectionType; }

    void Answers(const Bytes& response, int times = 1) { Refuses(0, response, times); }
    void Refuses(std::uint8_t completionCode, const Bytes& response = {}, int times = 1)
    {
        IsHttps() ? service.Refuses(completionCode, response, times)
                  : vkt.Refuses(completionCode, response, times);
    }
    /// A request is not carried: CONNECT_FAILED over either transport.
    void CannotBeReached(int times = 1)
    {
        IsHttps() ? service.Fails(VKT_HTTPS_CONNECT_FAILED, times)
                  : vkt.RefusesSession(CONNECTION_FAILED, times);
    }

    void Construct() { inventory = std::make_unique<VKTInventory>(connection); }

    /// Builds it for a module of that type and status, and forgets how.
    void Build(VKTIype type = VKT_TYPE_FIRST_GENERATION, const Bytes& status = kSmallEnclosure)
    {
        info.Tells(type);
        Answers(status);
        Construct();
        Forget();
    }

    /// Builds it for a module that cannot be reached.
    void BuildUnread()
    {
        info.Fails(VKT_INFO_TRANSPORT_ERROR);
        CannotBeReached(6);
        Construct();
        Forget();
    }

    /// Forgets what happened so far.
    void Forget()
    {
        journal.Clear();
        log.Clear();
        sleep.milliseconds = 0;
    }

    /// What was done with the module, but for records.
    Lines Deeds() const { return journal.Of({"client", "https", "info", "config", "sleep"}); }

    LogLines OwnLines() const { return log.LinesOf(transport.file); }

    /// The backend's own records without those of requests and answers.
    LogLines OwnLinesButTraffic() const
    {
        LogLines lines = OwnLines();
        std::erase_if(lines, [](const LogLine& line) {
            return line.text.starts_with("Send impi") || line.text.starts_with("Response=");
        });
        return lines;
    }
};

/// What holds over both transports.
class EveryTransport : public Backend, public ::testing::WithParamInterface<Transport>
{
protected:
    EveryTransport() : Backend(GetParam()) {}
};

/// An inventory over RMCP+.
class Direct : public Backend
{
protected:
    Direct() : Backend(kDirect) {}

    /// All that one client does for one request.
    static Lines Exchange(int client, const std::string& request)
    {
        const std::string name = "client " + std::to_string(client);
        return {name + " made for 10.0.0.9 admin secret 623 3", name + " connect",
                name + " send " + request, name + " disconnect", name + " destroyed"};
    }

    /// All that one client does for a request when it gets no session.
    static Lines FutileAttempts(int client, int connects)
    {
        const std::string name = "client " + std::to_string(client);
        return Lines{name + " made for 10.0.0.9 admin secret 623 3"} +
               Lines(static_cast<std::size_t>(connects), name + " connect") +
               Lines{name + " destroyed"};
    }
};

/// An inventory over HTTPS.
class Https : public Backend
{
protected:
    Https() : Backend(kHttps) {}
};

}  // namespace Tulvo::Tests

#endif
