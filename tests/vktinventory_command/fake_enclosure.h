// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure for tests of the command: the calls that it makes, replaced at link time by
/// what a test says. A test fills FakeEnclosure::Current() and runs the command against it.
#ifndef TESTS_VKTINVENTORY_COMMAND_FAKE_ENCLOSURE_H
#define TESTS_VKTINVENTORY_COMMAND_FAKE_ENCLOSURE_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "common/failure/failure.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "module/vkt/vkt_https/server_pin.h"

namespace Tulvo::Test {

/// Readings take it as the reason why they have no value.
class Unread
{
public:
    explicit Unread(Failure failure) : failure_(std::make_shared<const Failure>(std::move(failure)))
    {
    }
    Unread(Cause cause, const std::string& message) : Unread(Failure{cause, message, "", {}}) {}

    template <class T>
    operator Enclosures::Reading<T>() const
    {
        return Enclosures::Reading<T>::NotRead(failure_);
    }
    const Failure& Why() const { return *failure_; }

private:
    std::shared_ptr<const Failure> failure_;
};

struct FakeEnclosure
{
    static FakeEnclosure& Current();

    /// A small first-generation enclosure where all is well: 2 supplies, 4 nodes.
    static FakeEnclosure Healthy();

    /// Nothing at all is read, for that reason.
    void Refuse(const Failure& failure);
    /// Nothing at all is read of that host.
    void Refuse(const std::string& host, const Failure& failure);

    /// What a read of everything gives; of others the command gets what it asks for.
    Enclosures::Enclosure record;
    std::map<std::string, Enclosures::Enclosure> others = {};  ///< By host, where not `record`.
    std::optional<Failure> selectionFailure;
    std::function<void()> onRead = [] {};
    std::function<void(const Enclosures::Target&)> whileReading = [](const Enclosures::Target&) {};
    /// What a host shows of its key.
    std::function<std::variant<std::string, Failure>(const std::string& host, std::uint16_t port,
                                                     const CallLimit& limit)>
        pin;

    // What the command asked, of several the last.
    std::optional<Enclosures::Target> asked;
    Enclosures::Scope scope;
    Enclosures::Limits limits;
    int selected = 0;
};

}  // namespace Tulvo::Test

#endif
