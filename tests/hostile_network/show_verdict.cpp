// SPDX-License-Identifier: Apache-2.0
#include "tests/hostile_network/show_verdict.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

namespace Tulvo {
namespace {

using Cli::ExitCode;
using Json = nlohmann::json;

constexpr const char* kSuccess = "VKT_INVENTORY_SUCCESS";
constexpr const char* kFailures[] = {"VKT_INVENTORY_TRANSPORT_ERROR",
                                     "VKT_INVENTORY_CONNECT_FAILED", "VKT_INVENTORY_FAILED",
                                     "VKT_INVENTORY_NO_DATA"};

bool NamesAFailure(const std::string& result)
{
    return std::find(std::begin(kFailures), std::end(kFailures), result) != std::end(kFailures);
}

/// Whether a list is another one with some of its elements left out.
bool IsPartOf(const Json& part, const Json& whole)
{
    auto place = whole.begin();
    for (const Json& element : part) {
        place = std::find(place, whole.end(), element);
        if (place == whole.end()) {
            return false;
        }
        ++place;
    }
    return true;
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
                CheckWhole(ran);
                break;
            case ExitCode::kSomeQueriesFailed:
                verdict_.outcome = "some queries failed";
                CheckPart(ran);
                break;
            case ExitCode::kNoConnection:
                CheckRefusal("no connection", ran);
                break;
            case ExitCode::kRefused:
                CheckRefusal("refused", ran);
                break;
            default:
                Complain("exit code " + std::to_string(static_cast<int>(ran.code)));
        }
        CheckMessages(ran.error);
        if (!verdict_.complaints.empty()) {
            Complain("printed: " + ran.out + "said: " + ran.error);
        }
        return verdict_;
    }

private:
    void Complain(const std::string& text) { verdict_.complaints.push_back(text); }

    void CheckWhole(const Test::Ran& ran)
    {
        const Json queries = Json::parse(ran.out).at("queries");
        for (const auto& [name, answer] : whole_.at("queries").items()) {
            if (queries.at(name) != answer) {
                Complain(name + " is not whole, and no failure");
            }
        }
        if (!ran.error.empty()) {
            Complain("messages without a failure");
        }
    }

    void CheckPart(const Test::Ran& ran)
    {
        const Json document = Json::parse(ran.out);
        statusRead_ = document.at("moduleStatusRead").get<bool>();
        for (const auto& [name, answer] : whole_.at("queries").items()) {
            CheckAnswers(name, document.at("queries").at(name), answer);
        }
        // Without the module's status, one message tells that nothing is read.
        if ((statusRead_ ? failures_ : 1) !=
            static_cast<std::size_t>(std::count(ran.error.begin(), ran.error.end(), '\n'))) {
            Complain(std::to_string(failures_) + " failures have another number of messages");
        }
    }

    // A query that is asked for each node has a list of answers.
    void CheckAnswers(const std::string& name, const Json& answers, const Json& whole)
    {
        if (!whole.is_array()) {
            CheckAnswer(name, answers, whole);
            return;
        }
        if (answers.size() != (statusRead_ ? whole.size() : 0)) {
            Complain(name + " has another number of answers");
            return;
        }
        for (std::size_t i = 0; i < answers.size(); ++i) {
            CheckAnswer(name, answers.at(i), whole.at(i));
        }
    }

    void CheckAnswer(const std::string& name, const Json& answer, const Json& whole)
    {
        const std::string result = answer.at("result");
        const Json& data = answer.at("data");
        failures_ += result == kSuccess ? 0 : 1;
        if (result != kSuccess && !NamesAFailure(result)) {
            Complain(name + " has the unknown result " + result);
        }
        if (data.is_null() ? result == kSuccess : !IsRight(answer, whole)) {
            Complain(name + " has a wrong value");
        }
    }

    // A walk over the supplies that broke off gives those that it came to.
    static bool IsRight(const Json& answer, const Json& whole)
    {
        const Json& data = answer.at("data");
        return data == whole.at("data") || (data.is_array() && answer.at("result") != kSuccess &&
                                            IsPartOf(data, whole.at("data")));
    }

    void CheckRefusal(const std::string& outcome, const Test::Ran& ran)
    {
        verdict_.outcome = outcome;
        const bool oneLine = std::count(ran.error.begin(), ran.error.end(), '\n') == 1;
        if (!ran.out.empty() || !oneLine || ran.error.find(outcome + ": ") == std::string::npos) {
            Complain("not one line about " + outcome);
        }
    }

    void CheckMessages(const std::string& error)
    {
        std::istringstream lines(error);
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("vktinventory: ", 0) != 0 || line.size() < 30) {
                Complain("no message: " + line);
            }
        }
    }

    const Json whole_;
    Verdict verdict_;
    bool statusRead_ = false;
    std::size_t failures_ = 0;
};

}  // namespace

Verdict Judge(const Test::Ran& ran, const std::string& whole)
{
    return Judgement(whole).Of(ran);
}

}  // namespace Tulvo
