#pragma once

#include "tests/sim/Events.h"

namespace Sim {

// S-BFD, the traffic counters and gRIBI: what can happen to them, and what must hold of them.

inline constexpr std::uint32_t nextHopCount = 7;
inline constexpr std::uint32_t groupCount = 3;
inline constexpr std::uint32_t incomingLabelCount = 8;
inline constexpr std::uint32_t settingCount = 9;
inline constexpr std::uint32_t serviceDamageCount = 8;

/// What an event of theirs writes through the host's own writer; empty for any other kind.
Agent::Step serviceStep(Event const& event);
/// What it writes to tables of other agents: the states of BFD's peers, and counters.
void applyToOtherAgents(Event const& event, World& world);
/// An event of theirs that a random number picks, without its steps.
Event serviceEvent(std::uint64_t number);

/// As `damage`, of the tables that these three write.
void damageService(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick);

// What holds whenever no task is running, once the machines concerned have started. Each throws the
// `Violation` that it is named after.
void gribiRoutesLeadToTheirGroups(Agent::Tables const& tables);
void combinedStatusesFollow(Agent::Tables const& tables);
void sessionsAreThoseOfTheConfiguration(Agent::Tables const& tables);
/// Nor is anything of gRIBI's, with gRIBI switched off.
void nothingIsLeftOfServices(Agent::SurvivingTables const& tables);

}  // namespace Sim
