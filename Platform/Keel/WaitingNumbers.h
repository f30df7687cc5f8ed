#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Keel {

/// Numbers that wait for a tick of a `TimerWheel`. They leave in the order in which they came, so
/// one that came with an earlier tick than the one before waits as long as that one.
class WaitingNumbers {
public:
    bool empty() const { return begin_ == queue_.size(); }
    void reserve(std::size_t count) { queue_.reserve(count); }

    /// `number` is not waiting yet.
    void add(std::uint64_t number, std::uint64_t tick);
    /// `number` is waiting.
    void withdraw(std::uint64_t number) { ++withdrawn_[number]; }
    /// Takes out the next number whose tick is `now` or earlier.
    std::optional<std::uint64_t> takeDue(std::uint64_t now);

private:
    struct Entry {
        std::uint64_t tick;
        std::uint64_t number;
    };

    void dropFirst();

    std::vector<Entry> queue_;  // ascending by tick; what lies before `begin_` has left
    std::size_t begin_ = 0;
    // How many entries of a number, its oldest ones, are void.
    std::unordered_map<std::uint64_t, std::size_t> withdrawn_;
};

}  // namespace Keel
