// SPDX-License-Identifier: Apache-2.0
#include "tests/hostile_network/show_verdict.h"

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace Tulvo {
namespace {

using Cli::ExitCode;
using Json = nlohmann::json;

constexpr const char* kParts[] = {"identity", "power", "powerSupplies", "nodes"};

/// Of the JSON pointer to a value the object that notRead names: "/powerSupplies/2/fans/code" is of
/// PSU3.
std::string ObjectAt(const std::string& pointer)
{
    const auto numberOf = [&] {
        return std::to_string(std::stoi(pointer.substr(pointer.find('/', 1) + 1)) + 1);
    };
    if (pointer.starts_with("/powerSupplies/")) {
        return "PSU" + numberOf();
    }
    if (pointer.starts_with("/nodes/")) {
        return "Node " + numberOf();
    }
    return pointer.starts_with("/power/") ? "Chassis" : "Module";
}

class Judgement
{
public:
    explicit Judgement(const std::string& whole) : whole_(Json::parse(whole)) {}

    Verdict Of(const Test::Ran& ran)
    {
        switch (ran.code) {
            case ExitCode::kEverythingRead:
                verdict_.outcome = "everything read";
                break;
            case ExitCode::kSomeQueriesFailed:
                verdict_.outcome = "something not read";
                break;
            case ExitCode::kNoConnection:
                verdict_.outcome = "no connection";
                break;
            case ExitCode::kRefused:
                verdict_.outcome = "refused";
                break;
            default:
                Complain("exit code " + std::to_string(static_cast<int>(ran.code)));
        }
        CheckDocument(ran);
        CheckMessages(ran.error);
        if (!verdict_.complaints.empty()) {
            Complain("printed: " + ran.out + "said: " + ran.error);
        }
        return verdict_;
    }

private:
    void Complain(const std::string& text) { verdict_.complaints.push_back(text); }

    void CheckDocument(const Test::Ran& ran)
    {
        const Json document = Json::parse(ran.out);
        const bool complete = document.at("complete").get<bool>();
        if (complete != (ran.code == ExitCode::kEverythingRead) || complete != ran.error.empty()) {
            Complain("exit code, messages and \"complete\" do not agree");
        }
        if (!complete && document.at("health").at("status") == "ok") {
            Complain("what was not read is called ok");
        }
        for (const Json& missing : document.at("notRead")) {
            unread_.insert(missing.at("object").get<std::string>());
        }
        const bool told = !document.at("module").at("nodeCount").is_null();
        for (const char* const part : kParts) {
            if (told || !document.at(part).is_array() || !document.at(part).empty()) {
                CheckPart(part, document.at(part));
            }
        }
    }

    /// Each value is right, or null and told of.
    void CheckPart(const std::string& part, const Json& values)
    {
        const Json found = values.flatten();
        const Json whole = whole_.at(part).flatten();
        for (const auto& [pointer, right] : whole.items()) {
            std::string place = "/";
            place.append(part).append(pointer);
            if (!found.contains(pointer)) {
                Complain(place + " is left out");
            } else if (const Json& value = found.at(pointer); value != right) {
                if (!value.is_null() || !unread_.contains(ObjectAt(place))) {
                    Complain(place + " is " + value.dump());
                }
            }
        }
    }

    void CheckMessages(const std::string& error)
    {
        std::istringstream lines(error);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("vktinventory: ") || line.size() < 30) {
                Complain("no message: " + line);
            }
        }
    }

    const Json whole_;
    Verdict verdict_;
    std::set<std::string> unread_;
};

}  // namespace

Verdict Judge(const Test::Ran& ran, const std::string& whole)
{
    return Judgement(whole).Of(ran);
}

}  // namespace Tulvo
