// SPDX-License-Identifier: Apache-2.0
#include "tests/endurance/played_enclosure.h"

#include <csignal>
#include <fstream>
#include <optional>

#include "module/vkt/vkt_inventory/vkt_inventory.h"
#include "tests/endurance/questions.h"

namespace Tulvo::Tests {

using nlohmann::json;

PlayedEnclosure::PlayedEnclosure(const std::string& scenario)
    : scenario_(json::parse(std::ifstream(SCENARIO_FOLDER "/" + scenario + ".json"))),
      process_({"--statistics", "--scenario", scenario}),
      endpoints_(process_.Endpoints())
{
}

TulvoConnection::ConnectionInfo PlayedEnclosure::Record(const Transport& transport) const
{
    const json& endpoint = endpoints_.at(transport.endpoint);
    TulvoConnection::ConnectionInfo record;
    record.address = endpoint.at("address");
    record.port = endpoint.at("port");
    record.userName = endpoint.at("user");
    record.password = endpoint.at("password");
    record.tlsVerification = TulvoConnection::kTlsVerifyPinnedKey;
    record.connectionType = transport.type;
    record.authentication = transport.authentication;
    return record;
}

std::vector<pid_t> PlayedEnclosure::Processes() const
{
    std::vector<pid_t> processes = process_.Children();
    processes.push_back(process_.Pid());
    return processes;
}

std::string PlayedEnclosure::End()
{
    process_.Signal(SIGTERM);
    const int openSessions = json::parse(process_.Line()).at("https").at("openSessions");
    const int exitCode = process_.ExitCode();
    if (exitCode != 0) {
        return "exit code " + std::to_string(exitCode) + ": " + process_.ErrorText();
    }
    return openSessions == 0 ? "" : std::to_string(openSessions) + " sessions left open";
}

std::string User::Ask(int count, int questionsPerFacade) const
{
    const auto& questions = Questions();
    std::optional<VKTInventory> inventory;
    for (int asked = 0; asked < count; ++asked) {
        if (asked % questionsPerFacade == 0) {
            inventory.emplace(enclosure.Record(transport));
        }
        const Question& question = questions[static_cast<std::size_t>(asked) % questions.size()];
        const std::string answer = question.ask(*inventory);
        if (answer != question.AnswerIn(enclosure.Scenario())) {
            return std::string(transport.name) + ", " + question.name + ": " + answer;
        }
    }
    return "";
}

}  // namespace Tulvo::Tests
