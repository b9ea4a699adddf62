// SPDX-License-Identifier: Apache-2.0
/// @file
/// An inventory over stand-ins of everything that it calls.
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

/// What is the same over both transports.
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
    TulvoConnection::ConnectionInfo connection;
    std::unique_ptr<VKTInventory> inventory;

    explicit Backend(std::int32_t connectionType)
    {
        connection.address = "10.0.0.9";
        connection.userName = "admin";
        connection.password = "secret";
        connection.port = 623;
        connection.connectionType = connectionType;
    }

    void Construct() { inventory = std::make_unique<VKTInventory>(connection); }

    /// Forgets what happened so far.
    void Forget()
    {
        journal.Clear();
        log.Clear();
        sleep.milliseconds = 0;
    }

    /// Every record names the file whose business it is, and a statement of it.
    void ExpectRecordsFromNoFileBut(const std::string& backend)
    {
        ExpectStatementsIn(backend, "vkt_inventory_parse_response", log);
    }
};

/// An inventory over RMCP+.
class Direct : public Backend
{
protected:
    Direct() : Backend(7) {}
    void TearDown() override { ExpectRecordsFromNoFileBut("vkt_inventory_ipmi_impl"); }

    /// Builds it for a module of that type and status, and forgets how.
    void Build(VKTIype type = VKT_TYPE_FIRST_GENERATION, const Bytes& status = kSmallEnclosure)
    {
        info.Tells(type);
        vkt.Answers(status);
        Construct();
        Forget();
    }

    /// Builds it for a module that cannot be reached.
    void BuildUnread()
    {
        info.Fails(VKT_INFO_TRANSPORT_ERROR);
        vkt.RefusesSession(CONNECTION_FAILED, 6);
        Construct();
        Forget();
    }

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

    LogLines OwnLines() const { return log.LinesOf("vkt_inventory_ipmi_impl"); }
};

/// An inventory over HTTPS.
class Https : public Backend
{
protected:
    Https() : Backend(9) { connection.port = 443; }
    void TearDown() override { ExpectRecordsFromNoFileBut("vkt_inventory_https_impl"); }

    void Build(VKTIype type = VKT_TYPE_FIRST_GENERATION, const Bytes& status = kSmallEnclosure)
    {
        info.Tells(type);
        service.Answers(status);
        Construct();
        Forget();
    }

    void BuildUnread()
    {
        info.Fails(VKT_INFO_TRANSPORT_ERROR);
        service.Fails(VKT_HTTPS_CONNECT_FAILED, 6);
        Construct();
        Forget();
    }

    LogLines OwnLines() const { return log.LinesOf("vkt_inventory_https_impl"); }
};

}  // namespace Tulvo::Tests

#endif
