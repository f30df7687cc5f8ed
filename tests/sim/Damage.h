#pragma once

#include <cstdint>

#include "agent/Tables.h"
#include "tests/sim/Services.h"

namespace Sim {

inline constexpr std::uint32_t damageCount = 18 + serviceDamageCount;

/// Spoils what an agent left, as a crash between any two writes could, and worse: a row of one
/// table is missing, or stands where there is no reason for it. `kind` says in which table, `pick`
/// which row.
void damage(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick);

}  // namespace Sim
