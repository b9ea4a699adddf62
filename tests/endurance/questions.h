// SPDX-License-Identifier: Apache-2.0
/// @file
/// Every query of the library, and where a scenario says what its answer is, so that an answer to
/// another user's query, or of another enclosure, is noticed.
#ifndef TESTS_ENDURANCE_QUESTIONS_H
#define TESTS_ENDURANCE_QUESTIONS_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Tests {

struct Question
{
    const char* name;
    /// One value of the answer as a text, or "result " and the number of a failure.
    std::string (*ask)(VKTInventory& inventory);
    /// JSON pointer to that value in a scenario; an array stands for the number of its elements.
    const char* place;

    std::string AnswerIn(const nlohmann::json& scenario) const;
};

const std::vector<Question>& Questions();

}  // namespace Tulvo::Tests

#endif
