#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/sim/World.h"

namespace Sim {

/// What can happen to a router. `place` and `content` of an event are numbers of the universe.
enum class Kind : std::uint8_t {
    candidate,  ///< written to its source
    candidateGone,
    source,  ///< of a protocol: emptied, removed, or replaced by an equal one
    policy,  ///< its static configuration comes or goes
    route,
    routeGone,
    tiLfa,
    tiLfaGone,
    srlb,
    depth,
    specifiedBsidOnly,
    coloredRib,
    coloredRibPreference,
    tieBreaking,
    clog,
    yield,  ///< after so many keys from now on; 0: never
    wait,   ///< 0.1, 1.0, 299.9 or 300.1 s
    crash,
    start,
    restart,
    stop,
    damage,  ///< to a row that an agent left which is down now
    sbfd,    ///< settings of a policy
    bfd,     ///< global settings
    peer,    ///< reported, or not any more
    counter,
    nextHop,
    nextHopGone,
    group,
    groupGone,
    label,
    labelGone,
    gribi,  ///< switched
    agent   ///< switched
};
inline constexpr std::uint32_t kindCount = 34;

/// One event, and how far the agent comes before the next one: so many steps, or all of them.
struct Event {
    static constexpr std::uint8_t allSteps = 255;

    Kind kind = Kind::wait;
    std::uint32_t place = 0;
    std::uint32_t content = 0;
    std::uint8_t steps = allSteps;

    friend bool operator==(Event const&, Event const&) = default;
};
using Events = std::vector<Event>;

/// "candidate 3 517; wait 0 2 /0": the numbers that are not zero, and the steps unless all.
std::string text(Events const& events);
/// The reverse; nothing for any other text.
std::optional<Events> parseEvents(std::string_view text);
/// Any bytes, four to an event.
Events eventsFromBytes(std::span<std::uint8_t const> bytes);
/// What an event says, for people.
std::string describe(Event const& event);

/// Lets the event happen, and then the steps that it leaves to the agent.
void apply(Event const& event, World& world);

/// Everything that a seed decides. There is a restart in every 40 events; of ten runs one yields at
/// each key and one is clogged most of the time.
Events generate(std::uint64_t seed, std::size_t count);

}  // namespace Sim
