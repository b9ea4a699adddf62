// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a peer is going to do, step by step.
#ifndef TESTS_FAKES_SCRIPT_H
#define TESTS_FAKES_SCRIPT_H

#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Tulvo::Fakes {

/// Steps in the order in which they are played. Code that asks for more than was scripted fails
/// the test, and so does code that leaves a step unplayed.
template <class Step>
class Script
{
public:
    explicit Script(std::string peer) : peer_(std::move(peer)) {}
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script()
    {
        EXPECT_TRUE(steps_.empty()) << peer_ << ": " << steps_.size() << " scripted steps unplayed";
    }

    void Add(const Step& step, int times = 1)
    {
        steps_.insert(steps_.end(), static_cast<std::size_t>(times), step);
    }

    /// The step that comes next, or null.
    const Step* Next() const { return steps_.empty() ? nullptr : &steps_.front(); }

    /// Takes the next step for `deed`.
    std::optional<Step> Play(std::string_view deed)
    {
        if (steps_.empty()) {
            ADD_FAILURE() << peer_ << ": nothing scripted for " << deed;
            return std::nullopt;
        }
        std::optional<Step> step(std::move(steps_.front()));
        steps_.pop_front();
        return step;
    }

private:
    std::string peer_;
    std::deque<Step> steps_;
};

}  // namespace Tulvo::Fakes

#endif
