// SPDX-License-Identifier: Apache-2.0
#include "fleet/host_folding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "fleet/number_runs.h"

namespace Tulvo::Fleet {
namespace {

/// So many steps of looking for boxes to join; then what is found is written down.
constexpr std::uint64_t kMostSteps = 50'000'000;

/// The numbers that stand in one place, in ClusterShell's order.
class Numbers
{
public:
    explicit Numbers(std::string number) : hash_(std::hash<std::string>()(number))
    {
        texts_.push_back(std::move(number));
    }

    std::size_t Size() const { return texts_.size(); }

    bool operator==(const Numbers& other) const
    {
        if (hash_ != other.hash_ || texts_.size() != other.texts_.size()) {
            return false;
        }
        Sort();
        other.Sort();
        return texts_ == other.texts_;
    }

    void Join(const Numbers& other)
    {
        texts_.insert(texts_.end(), other.texts_.begin(), other.texts_.end());
        hash_ += other.hash_;
        sorted_ = false;
    }

    const std::string& First() const
    {
        Sort();
        return texts_.front();
    }
    const std::string& Last() const
    {
        Sort();
        return texts_.back();
    }

    std::string Folded() const
    {
        std::string list;
        for (const NumberRun& run : RunsOf(texts_)) {
            list += list.empty() ? "" : ",";
            list += run.first;
            if (run.first != run.last) {
                list += '-';
                list += run.last;
            }
        }
        return texts_.size() > 1 ? '[' + list + ']' : list;
    }

private:
    void Sort() const
    {
        if (!sorted_) {
            std::sort(texts_.begin(), texts_.end(), StandsBefore);
            sorted_ = true;
        }
    }

    mutable std::vector<std::string> texts_;
    mutable bool sorted_ = true;
    std::size_t hash_;  ///< The same in any order.
};

/// A box of names: all combinations of the numbers in its places. Boxes never overlap.
using Box = std::vector<Numbers>;

std::size_t SizeOf(const Box& box)
{
    std::size_t size = 1;
    for (const Numbers& numbers : box) {
        size *= numbers.Size();
    }
    return size;
}

/// Larger boxes first; among equal ones by their places.
bool ComesBefore(const Box& one, const Box& other)
{
    const std::size_t sizeOfOne = SizeOf(one);
    const std::size_t sizeOfOther = SizeOf(other);
    if (sizeOfOne != sizeOfOther) {
        return sizeOfOne > sizeOfOther;
    }
    const auto key = [](const Numbers& numbers) {
        return std::tuple<std::size_t, const std::string&, const std::string&>(
            ~numbers.Size(), numbers.First(), numbers.Last());
    };
    for (std::size_t i = 0; i < one.size(); ++i) {
        if (key(one[i]) != key(other[i])) {
            return key(one[i]) < key(other[i]);
        }
    }
    return false;
}

/// Joins boxes that differ in one place only.
class Joiner
{
public:
    explicit Joiner(std::vector<Box> boxes) : boxes_(std::move(boxes)) {}

    /// Passes that look at neighbours only, as long as they help, then thorough ones.
    std::vector<Box> Join()
    {
        bool thorough = false;
        for (;;) {
            std::stable_sort(boxes_.begin(), boxes_.end(), ComesBefore);
            const bool joined = Pass(thorough);
            if (steps_ >= kMostSteps || (!joined && thorough)) {
                std::stable_sort(boxes_.begin(), boxes_.end(), ComesBefore);
                return std::move(boxes_);
            }
            thorough = thorough || !joined;
        }
    }

private:
    bool Pass(bool thorough)
    {
        bool joined = false;
        for (std::size_t i = 0; i < boxes_.size(); ++i) {
            std::size_t next = i + 1;
            // Those that stay behind move up to where a joined one has left room.
            std::size_t room = i + 1;
            bool looking = true;
            while (looking && next < boxes_.size() && ++steps_ < kMostSteps) {
                if (JoinInto(boxes_[i], boxes_[next])) {
                    joined = true;
                } else {
                    Move(next, room++);
                    looking = thorough;
                }
                ++next;
            }
            CloseGap(room, next);
        }
        return joined;
    }

    void Move(std::size_t from, std::size_t to)
    {
        if (from != to) {
            boxes_[to] = std::move(boxes_[from]);
        }
    }

    void CloseGap(std::size_t from, std::size_t to)
    {
        if (from != to) {
            steps_ += boxes_.size() - to;
            boxes_.erase(boxes_.begin() + static_cast<std::ptrdiff_t>(from),
                         boxes_.begin() + static_cast<std::ptrdiff_t>(to));
        }
    }

    static bool JoinInto(Box& box, const Box& other)
    {
        std::size_t differing = box.size();
        for (std::size_t i = 0; i < box.size(); ++i) {
            if (box[i] == other[i]) {
                continue;
            }
            if (differing != box.size()) {
                return false;
            }
            differing = i;
        }
        box[differing].Join(other[differing]);
        return true;
    }

    std::vector<Box> boxes_;
    std::uint64_t steps_ = 0;
};

/// Where all boxes differ in the same place only, they are one.
bool JoinAll(std::vector<Box>& boxes)
{
    std::size_t differing = boxes.front().size();
    for (const Box& box : boxes) {
        for (std::size_t i = 0; i < box.size(); ++i) {
            if (i != differing && !(box[i] == boxes.front()[i])) {
                if (differing != box.size()) {
                    return false;
                }
                differing = i;
            }
        }
    }
    for (std::size_t i = 1; i < boxes.size(); ++i) {
        boxes.front()[differing].Join(boxes[i][differing]);
    }
    boxes.erase(boxes.begin() + 1, boxes.end());
    return true;
}

/// A name's texts, in which each number has its place.
using Texts = std::vector<std::string_view>;

struct Name
{
    Texts texts;
    Box numbers;
};

/// The address in brackets of "[::1]:623" is text: ranges cannot stand within it.
Name Divided(std::string_view host)
{
    Name name;
    std::size_t textStart = 0;
    std::size_t at = host.starts_with('[') ? std::min(host.find(']'), host.size()) : 0;
    while (at < host.size()) {
        const std::size_t start = std::min(host.find_first_of(kDigits, at), host.size());
        at = std::min(host.find_first_not_of(kDigits, start), host.size());
        if (at > start && at - start <= kMostDigits) {
            name.texts.push_back(host.substr(textStart, start - textStart));
            name.numbers.emplace_back(std::string(host.substr(start, at - start)));
            textStart = at;
        }
    }
    name.texts.push_back(host.substr(textStart));
    return name;
}

/// How ClusterShell writes such a name without its numbers, which is what it sorts by.
std::string SortKey(const Texts& texts)
{
    std::string key;
    for (const std::string_view text : texts) {
        for (const char character : text) {
            key += character;
            if (character == '%') {
                key += '%';
            }
        }
        key += "%s";
    }
    key.resize(key.size() - 2);
    return key;
}

void Append(std::string& list, const Texts& texts, const Box& box)
{
    list += list.empty() ? "" : ",";
    for (std::size_t i = 0; i < box.size(); ++i) {
        list += texts[i];
        list += box[i].Folded();
    }
    list += texts.back();
}

}  // namespace

std::string FoldHosts(std::span<const std::string> hosts)
{
    std::vector<std::string_view> names(hosts.begin(), hosts.end());
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    struct Alike
    {
        Texts texts;
        std::vector<Box> boxes;
    };
    std::map<std::string, Alike> all;
    for (const std::string_view host : names) {
        Name name = Divided(host);
        Alike& alike = all[SortKey(name.texts)];
        alike.texts = std::move(name.texts);
        alike.boxes.push_back(std::move(name.numbers));
    }
    std::string list;
    for (auto& [key, alike] : all) {
        if (alike.boxes.size() > 1 && !JoinAll(alike.boxes)) {
            alike.boxes = Joiner(std::move(alike.boxes)).Join();
        }
        for (const Box& box : alike.boxes) {
            Append(list, alike.texts, box);
        }
    }
    return list;
}

}  // namespace Tulvo::Fleet
