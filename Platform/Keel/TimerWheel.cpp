#include "Platform/Keel/TimerWheel.h"

#include <cmath>

#include "Platform/Quor/Assert.h"

namespace Keel {
namespace {

// Integers: sums of seconds as doubles are not exact, and a tick must not depend on that.
std::uint64_t nanoseconds(double seconds) {
    return static_cast<std::uint64_t>(std::llround(seconds * 1e9));
}

constexpr std::uint64_t nanosecondsPerMillisecond = 1'000'000;

}  // namespace

TimerWheel::TimerWheel(Clock const& clock, std::uint32_t tickMs, std::uint32_t slots,
                       std::uint32_t start, std::uint32_t hint)
    : clock_(clock),
      tick_(tickMs * nanosecondsPerMillisecond),
      slots_(slots),
      start_(start),
      hint_(hint) {
    QUOR_ASSERT(tickMs > 0, "tickMs > 0");
}

std::uint64_t TimerWheel::now() const {
    return start_ + nanoseconds(clock_.now()) / tick_;
}

std::uint64_t TimerWheel::tickAfter(double delay) const {
    QUOR_ASSERT(delay >= 0, "delay >= 0");
    auto const wait = nanoseconds(delay);
    QUOR_ASSERT(wait <= slots_ * tick_, "wait <= slots_ * tick_");
    return start_ + (nanoseconds(clock_.now()) + wait + tick_ - 1) / tick_;
}

}  // namespace Keel
