// SPDX-License-Identifier: Apache-2.0
/// @file
/// One value of an enclosure, or the reason why there is none. No default stands for a value that
/// was not read.
#ifndef MODULE_VKT_VKT_ENCLOSURE_READING_H
#define MODULE_VKT_VKT_ENCLOSURE_READING_H

#if __cplusplus < 202002L
#error "libvktenclosure needs C++20: compile with -std=c++20"
#endif

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <variant>

#include "common/failure/failure.h"

namespace Tulvo::Enclosures {

using Tulvo::Cause;
using Tulvo::Failure;

template <class T>
class Reading;

/// The reading of a value; of a reading itself.
template <class T>
struct ReadingOf
{
    using Type = Reading<T>;  ///< For any value.
};
/// A reading of a reading is one reading.
template <class T>
struct ReadingOf<Reading<T>>
{
    using Type = Reading<T>;  ///< The same.
};

/// A value; or absent: the module says that there is none; or not asked; or not read, with the
/// failure. Values that hang on one answer share its failure.
///
///     const Reading<std::uint16_t> average = enclosure.consumption.Map(&Consumption::average);
///     if (const std::uint16_t* number = average.Get()) { ... *number ... }
///     if (supply.present.Is(true)) { ... }  // Get() points to a value, and false is one
///
/// A plain value: it may be copied, and each copy used by a thread of its own. What Get() and
/// WhyNotRead() point to lives as long as the reading that they were asked of, unchanged.
template <class T>
class Reading
{
public:
    /// Not asked.
    Reading() = default;
    /// A value.
    Reading(T value) : state_(std::move(value)) {}
    /// The module says that there is none.
    static Reading Absent() { return Reading(State(AbsentMark{})); }
    /// Asked, and not read.
    /// @param failure why; not null.
    static Reading NotRead(std::shared_ptr<const Failure> failure)
    {
        return Reading(State(std::move(failure)));
    }

    /// The value, or null when there is none.
    const T* Get() const& { return std::get_if<T>(&state_); }
    /// Of a temporary it would not outlive the expression: keep the reading, or Map() it.
    const T* Get() const&& = delete;
    /// Whether there is a value, which may be false or 0.
    bool HasValue() const { return std::holds_alternative<T>(state_); }
    /// Whether there is a value, and it is this one.
    bool Is(const T& value) const
    {
        const T* const own = std::get_if<T>(&state_);
        return own != nullptr && *own == value;
    }
    /// Whether the module says that there is none.
    bool IsAbsent() const { return std::holds_alternative<AbsentMark>(state_); }
    /// Whether it was asked, whatever came of it.
    bool WasAsked() const { return !std::holds_alternative<std::monostate>(state_); }
    /// Why it could not be read, or null when it was read, is absent or was not asked.
    const Failure* WhyNotRead() const&
    {
        const auto* const failure = std::get_if<std::shared_ptr<const Failure>>(&state_);
        return failure == nullptr ? nullptr : failure->get();
    }
    /// As with Get().
    const Failure* WhyNotRead() const&& = delete;

    /// The same state for what is derived from the value: a part of it, by a pointer to a member,
    /// or what a function makes of it. Of a part that is a reading itself, that reading.
    template <class Derive>
    auto Map(Derive derive) const
    {
        using Part = std::remove_cvref_t<std::invoke_result_t<Derive, const T&>>;
        using Derived = typename ReadingOf<Part>::Type;
        if (const T* const value = Get()) {
            return Derived(std::invoke(derive, *value));
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
