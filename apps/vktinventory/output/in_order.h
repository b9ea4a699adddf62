// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_OUTPUT_IN_ORDER_H
#define APPS_VKTINVENTORY_OUTPUT_IN_ORDER_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>

namespace Tulvo::Cli {

/// Texts in the order given: those that come too early wait.
class InOrder
{
public:
    /// @return `text`, and those behind it that have waited for it; or nothing yet.
    std::string Take(std::size_t index, std::string text)
    {
        waiting_.emplace(index, std::move(text));
        std::string ready;
        while (!waiting_.empty() && waiting_.begin()->first == next_) {
            ready += waiting_.extract(waiting_.begin()).mapped();
            ++next_;
        }
        return ready;
    }

    void BeginAgain() { next_ = 0; }

private:
    std::map<std::size_t, std::string> waiting_;
    std::size_t next_ = 0;
};

}  // namespace Tulvo::Cli

#endif
