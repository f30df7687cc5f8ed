#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "tests/sim/Simulation.h"

// Any bytes are events, and whatever happens, the agent's tables are those of the model at every
// rest and sound at every step.

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr std::size_t longest = 400;  // a hundred events: more take long and find no more
    auto const events = Sim::eventsFromBytes(std::span(data, std::min(size, longest)));
    auto const outcome = Sim::simulate(events);
    if (!outcome.failure) return 0;
    std::fputs(Sim::report(0, events, *outcome.failure).c_str(), stderr);
    std::abort();
}
