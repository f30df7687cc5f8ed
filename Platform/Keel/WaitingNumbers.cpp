#include "Platform/Keel/WaitingNumbers.h"

#include <algorithm>

namespace Keel {

void WaitingNumbers::add(std::uint64_t number, std::uint64_t tick) {
    queue_.push_back({empty() ? tick : std::max(tick, queue_.back().tick), number});
}

std::optional<std::uint64_t> WaitingNumbers::takeDue(std::uint64_t now) {
    while (!empty() && queue_[begin_].tick <= now) {
        auto const number = queue_[begin_].number;
        dropFirst();
        auto const isVoid = withdrawn_.find(number);
        if (isVoid == withdrawn_.end()) return number;
        if (--isVoid->second == 0) withdrawn_.erase(isVoid);
    }
    return std::nullopt;
}

void WaitingNumbers::dropFirst() {
    ++begin_;
    // Half of the room at a time: leaving stays a constant cost per number.
    if (begin_ * 2 < queue_.size()) return;
    queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(begin_));
    begin_ = 0;
}

}  // namespace Keel
