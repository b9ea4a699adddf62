// SPDX-License-Identifier: Apache-2.0
/// @file
/// One value of an enclosure, or the reason why there is none. No default stands for a value that
/// was not read.
#ifndef MODULE_VKT_VKT_ENCLOSURE_READING_H
#define MODULE_VKT_VKT_ENCLOSURE_READING_H

#include <memory>
#include <utility>
#include <variant>

#include "common/failure/failure.h"

namespace Tulvo::Enclosures {

using Tulvo::Cause;
using Tulvo::Failure;

/// A value; or absent: the module says that there is none; or not asked; or not read, with the
/// failure. Values that hang on one answer share its failure.
template <class T>
class Reading
{
public:
    /// Not asked.
    Reading() = default;
    Reading(T value) : state_(std::move(value)) {}
    static Reading Absent() { return Reading(State(AbsentMark{})); }
    static Reading NotRead(std::shared_ptr<const Failure> failure)
    {
        return Reading(State(std::move(failure)));
    }

    /// The value, or null when there is none.
    const T* Get() const { return std::get_if<T>(&state_); }
    bool HasValue() const { return Get() != nullptr; }
    bool IsAbsent() const { return std::holds_alternative<AbsentMark>(state_); }
    bool WasAsked() const { return !std::holds_alternative<std::monostate>(state_); }
    /// Why it could not be read, or null when it was read, is absent or was not asked.
    const Failure* WhyNotRead() const
    {
        const auto* const failure = std::get_if<std::shared_ptr<const Failure>>(&state_);
        return failure == nullptr ? nullptr : failure->get();
    }

    /// The same state for what is derived from the value.
    template <class Derive>
    auto Map(Derive derive) const -> Reading<decltype(derive(std::declval<const T&>()))>
    {
        using Derived = Reading<decltype(derive(std::declval<const T&>()))>;
        if (const T* const value = Get()) {
            return Derived(derive(*value));
        }
        if (IsAbsent()) {
            return Derived::Absent();
        }
        const auto* const failure = std::get_if<std::shared_ptr<const Failure>>(&state_);
        return failure == nullptr ? Derived() : Derived::NotRead(*failure);
    }

private:
    struct AbsentMark
    {
    };
    using State = std::variant<std::monostate, T, AbsentMark, std::shared_ptr<const Failure>>;
    explicit Reading(State state) : state_(std::move(state)) {}

    State state_;
};

}  // namespace Tulvo::Enclosures

#endif
