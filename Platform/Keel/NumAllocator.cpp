#include "Platform/Keel/NumAllocator.h"

#include <bit>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Quor/Assert.h"

namespace Keel {
namespace {

Fastlog::Facility traceFacility("NumAllocator");

constexpr std::uint64_t bitsPerWord = 64;
constexpr std::uint64_t allBits = ~std::uint64_t{0};

std::uint64_t indexOf(std::uint64_t number) {
    return number / bitsPerWord;
}

std::uint64_t bitOf(std::uint64_t number) {
    return std::uint64_t{1} << number % bitsPerWord;
}

/// The bits of the word at `index` that stand for no number of `range`.
std::uint64_t outside(Range const& range, std::uint64_t index) {
    if (index < indexOf(range.min) || index > indexOf(range.max)) return allBits;
    std::uint64_t bits = 0;
    if (index == indexOf(range.min)) bits |= bitOf(range.min) - 1;
    if (index == indexOf(range.max)) bits |= ~(bitOf(range.max) | (bitOf(range.max) - 1));
    return bits;
}

}  // namespace

NumAllocatorConfig::NumAllocatorConfig(Range range) : range_(range) {
    QUOR_ASSERT(range.min <= range.max, "range.min <= range.max");
    QUOR_ASSERT(range.max < NumAllocator::invalidNumber(),
                "range.max < NumAllocator::invalidNumber()");
}

bool NumAllocatorStatus::isInUse(std::uint64_t number) const {
    auto const [taken, waiting] = word(number);
    return taken & ~waiting & bitOf(number);
}

bool NumAllocatorStatus::isWaiting(std::uint64_t number) const {
    return word(number).waiting & bitOf(number);
}

NumAllocatorStatus::Word NumAllocatorStatus::word(std::uint64_t number) const {
    auto const found = words_.find(indexOf(number));
    return found == words_.end() ? Word() : found->second;
}

NumAllocator::NumAllocator(Quor::Ptr<NumAllocatorConfig const> config,
                           Quor::Ptr<NumAllocatorStatus> status, Quor::Ptr<TimerWheel const> clock)
    : config_(std::move(config)),
      status_(std::move(status)),
      clock_(std::move(clock)),
      frontier_(indexOf(config_->range().min)) {
    status_->waitingNumbers_.reserve(clock_->hint());
}

std::uint64_t NumAllocator::allocate() {
    endHoldBacks();

    auto const& range = config_->range();
    auto const end = indexOf(range.max) + 1;
    if (holes_.empty()) {
        while (frontier_ < end && full(frontier_)) ++frontier_;
        if (frontier_ == end) return invalidNumber();
    }
    auto const index = holes_.empty() ? frontier_ : *holes_.begin();
    auto const bit = std::countr_one(word(index).taken | outside(range, index));
    take(index, std::uint64_t{1} << bit);
    return index * bitsPerWord + static_cast<std::uint64_t>(bit);
}

void NumAllocator::reserveNumber(std::uint64_t number) {
    auto const& range = config_->range();
    if (number < range.min || number > range.max) {
        SRTE_TRACE(3, "reserveNumber: " << number << " is out of the range");
        return;
    }
    auto& neighbours = word(indexOf(number));
    auto const bit = bitOf(number);
    if (neighbours.waiting & bit) {
        neighbours.waiting &= ~bit;
        --status_->waiting_;
        ++status_->inUse_;
        status_->waitingNumbers_.withdraw(number);
    } else if (neighbours.taken & bit) {
        SRTE_TRACE(3, "reserveNumber: " << number << " is in use already");
    } else {
        take(indexOf(number), bit);
    }
}

void NumAllocator::releaseNumber(std::uint64_t number) {
    if (!status_->isInUse(number)) {
        SRTE_TRACE(3, "releaseNumber: " << number << " is not in use");
        return;
    }
    word(indexOf(number)).waiting |= bitOf(number);
    --status_->inUse_;
    ++status_->waiting_;
    status_->waitingNumbers_.add(number, clock_->tickAfter(config_->expiryTime()));
}

NumAllocator::Word& NumAllocator::word(std::uint64_t index) {
    if (index != lastIndex_) {
        lastWord_ = &status_->words_[index];
        lastIndex_ = index;
    }
    return *lastWord_;
}

bool NumAllocator::full(std::uint64_t index) {
    return (word(index).taken | outside(config_->range(), index)) == allBits;
}

void NumAllocator::endHoldBacks() {
    auto& waitingNumbers = status_->waitingNumbers_;
    if (!notification_ || waitingNumbers.empty()) return;

    auto const now = clock_->now();
    while (auto const number = waitingNumbers.takeDue(now)) {
        auto const index = indexOf(*number);
        auto& neighbours = word(index);
        neighbours.taken &= ~bitOf(*number);
        neighbours.waiting &= ~bitOf(*number);
        --status_->waiting_;
        if (index < frontier_ && !full(index)) holes_.insert(index);
    }
}

void NumAllocator::take(std::uint64_t index, std::uint64_t bit) {
    word(index).taken |= bit;
    ++status_->inUse_;
    if (index < frontier_ && full(index)) holes_.erase(index);
}

}  // namespace Keel
