#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tests/sim/Events.h"
#include "tests/sim/Model.h"

namespace Sim {

/// What came of a run.
struct Outcome {
    /// What did not hold, and after how many events it was found out; nothing when all held.
    std::optional<std::string> failure;
    std::size_t failedAfter = 0;

    std::uint64_t trace = 0;  ///< of every write and message
    std::uint64_t restarts = 0;
    std::uint64_t comparisons = 0;
    Rows rows;  ///< of the tables after the last event, once the agent was at rest
    Witnesses witnesses;
};

/// Lets the events happen, with everything checked at every step and compared with the model at
/// every rest. In the end the agent comes to rest, and then loses all its candidates.
Outcome simulate(Events const& events);

/// The shortest part of a failing run that was found to fail in the same way.
Events shrink(Events events);

/// A failed run for people: what failed, and its shrunk events, ready for `srte_sim --replay`.
std::string report(std::uint64_t seed, Events const& events, std::string const& failure);

}  // namespace Sim
