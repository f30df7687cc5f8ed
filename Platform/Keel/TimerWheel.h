#pragma once

#include <cstdint>

#include "Platform/Export.h"
#include "Platform/Keel/Clock.h"
#include "Platform/Quor/Ptr.h"

namespace Keel {

/// A clock in ticks, for those who make many things wait: they keep a queue of ticks and look at it
/// when they run anyway, instead of arming a timer for each.
class SRTE_EXPORT TimerWheel final : public Quor::PtrInterface {
public:
    /// `clock` outlives the wheel. `tickMs` is the length of a tick in milliseconds, `slots` the
    /// longest delay in ticks, `start` the number of the clock's tick 0, and `hint` for how many
    /// waiting things its user makes room at once.
    explicit TimerWheel(Clock const& clock, std::uint32_t tickMs = 10, std::uint32_t slots = 30000,
                        std::uint32_t start = 0, std::uint32_t hint = 1024);

    /// The current tick.
    std::uint64_t now() const;
    /// The first tick that is not earlier than `delay` seconds from now.
    std::uint64_t tickAfter(double delay) const;

    std::uint32_t hint() const { return hint_; }

private:
    Clock const& clock_;
    std::uint64_t const tick_;  // in nanoseconds
    std::uint32_t const slots_;
    std::uint32_t const start_;
    std::uint32_t const hint_;
};

}  // namespace Keel
