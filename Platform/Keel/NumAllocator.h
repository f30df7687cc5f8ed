#pragma once

#include <cstdint>
#include <set>
#include <unordered_map>

#include "Platform/Export.h"
#include "Platform/Keel/TimerWheel.h"
#include "Platform/Keel/WaitingNumbers.h"
#include "Platform/Quor/Ptr.h"

namespace Keel {

/// The numbers from `min` to `max`, both included.
struct Range {
    std::uint64_t min = 0;
    std::uint64_t max = 0;

    friend bool operator==(Range const&, Range const&) = default;
};

/// What an allocator hands out, and how long a released number is held back.
class SRTE_EXPORT NumAllocatorConfig final : public Quor::PtrInterface {
public:
    explicit NumAllocatorConfig(Range range);

    Range const& range() const { return range_; }
    /// Seconds, 0 unless set; holds for later releases.
    double expiryTime() const { return expiryTime_; }
    void expiryTimeIs(double seconds) { expiryTime_ = seconds; }

private:
    Range const range_;
    double expiryTime_ = 0;
};

/// Which numbers are not free: in use, or waiting for the end of their hold-back; never both.
/// Written by its `NumAllocator` alone. A wait that is over ends when the allocator is next asked
/// for a number.
class SRTE_EXPORT NumAllocatorStatus final : public Quor::PtrInterface {
public:
    std::uint64_t inUse() const { return inUse_; }
    std::uint64_t waiting() const { return waiting_; }
    bool isInUse(std::uint64_t number) const;
    bool isWaiting(std::uint64_t number) const;

private:
    friend class NumAllocator;

    /// 64 neighbours, one bit each. A waiting number is a taken one, too.
    struct Word {
        std::uint64_t taken = 0;
        std::uint64_t waiting = 0;
    };

    Word word(std::uint64_t number) const;

    std::unordered_map<std::uint64_t, Word> words_;  // by number / 64; absent: all free
    std::uint64_t inUse_ = 0;
    std::uint64_t waiting_ = 0;
    WaitingNumbers waitingNumbers_;
};

/// Hands out the lowest free number of a range. A number that was released is held back for the
/// configured time, so that readers of tables which still name it do not meet it with a new
/// meaning. Numbers that someone names already are reserved first.
class SRTE_EXPORT NumAllocator final : public Quor::PtrInterface {
public:
    /// Goes on from `status`. One allocator at a time writes a status; `clock` counts as the one of
    /// its predecessor did.
    NumAllocator(Quor::Ptr<NumAllocatorConfig const> config, Quor::Ptr<NumAllocatorStatus> status,
                 Quor::Ptr<TimerWheel const> clock);

    /// What `allocate` returns when no number is free; it is in no range.
    static constexpr std::uint64_t invalidNumber() { return ~std::uint64_t{0}; }

    std::uint64_t allocate();
    /// Puts a number in use, also one that is held back. One that is in use or out of the range is
    /// ignored with a trace.
    void reserveNumber(std::uint64_t number);
    /// Begins the hold-back. A number that is not in use is ignored with a trace.
    void releaseNumber(std::uint64_t number);

    /// While off, no hold-back ends: an allocator that was replaced but is still known to somebody
    /// leaves the numbers to its successor. On at construction.
    bool notification() const { return notification_; }
    void notificationIs(bool on) { notification_ = on; }

    Quor::Ptr<NumAllocatorConfig const> const& config() const { return config_; }
    Quor::Ptr<NumAllocatorStatus> const& status() const { return status_; }
    Quor::Ptr<TimerWheel const> const& clock() const { return clock_; }

private:
    using Word = NumAllocatorStatus::Word;

    Word& word(std::uint64_t index);
    bool full(std::uint64_t index);
    void endHoldBacks();
    void take(std::uint64_t index, std::uint64_t bit);

    Quor::Ptr<NumAllocatorConfig const> const config_;
    Quor::Ptr<NumAllocatorStatus> const status_;
    Quor::Ptr<TimerWheel const> const clock_;
    bool notification_ = true;

    // Below the frontier, the words with a free number are the holes.
    std::uint64_t frontier_;
    std::set<std::uint64_t> holes_;

    // The word that was used last. Words stay where they are.
    std::uint64_t lastIndex_ = invalidNumber();
    Word* lastWord_ = nullptr;
};

}  // namespace Keel
