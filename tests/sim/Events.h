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

/// What can happen to a router. `place` and `content` of an event are numbers of the universe; the
/// rows of an input go by content 0.
enum class Kind : std::uint8_t {
    // Writes of rows.
    candidate,
    route,
    tiLfa,
    nextHop,
    group,
    label,
    policy,  ///< static configuration
    sbfd,    ///< the settings of a policy
    // Writes of one value each.
    srlb,
    depth,
    specifiedBsidOnly,
    coloredRib,
    coloredRibPreference,
    tieBreaking,
    bfd,  ///< global settings
    gribi,
    agent,
    // All else.
    source,   ///< of a protocol: emptied, removed, or replaced by an equal one
    peer,     ///< reported, or not any more
    counter,  ///< comes or goes
    clog,
    yield,  ///< after so many keys from now on; 0: never
    wait,   ///< 0.1, 1.0, 299.9 or 300.1 s
    crash,
    start,
    restart,
    stop,
    damage  ///< to a row that an agent left which is down now
};
inline constexpr std::uint32_t kindCount = 28;

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

/// "candidate 3 517; wait 0 2 /0": kind, place, content, and the steps unless all.
std::string text(Events const& events);
/// The reverse; nothing for any other text. Numbers that are left out are 0.
std::optional<Events> parseEvents(std::string_view text);
/// Any bytes, four to an event.
Events eventsFromBytes(std::span<std::uint8_t const> bytes);
/// What an event says, for people.
std::string describe(Event const& event);

/// Lets the event happen, and then the steps that it leaves to the agent.
void apply(Event const& event, World& world);

inline constexpr std::uint32_t damageCount = 30;
/// Spoils what an agent left, as a crash between any two writes could, and worse: a row of one
/// table is missing, or stands where there is no reason for it. `kind` says in which table, `pick`
/// which row.
void damage(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick);

/// Everything that a seed decides. There is a restart in every 40 events; of ten runs one yields at
/// each key and one is clogged most of the time.
Events generate(std::uint64_t seed, std::size_t count);

}  // namespace Sim
