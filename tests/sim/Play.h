#pragma once

#include <functional>
#include <map>
#include <string>

#include "agent/Scenario.h"
#include "tests/sim/AgainstModel.h"
#include "tests/sim/World.h"

namespace Sim {

/// The scenarios of tests/golden, by their names.
std::map<std::string, Agent::Scenario> goldenScenarios();

/// Lets a scenario happen to a world. `settle` runs what there is to run: after the start, after
/// each event and whenever something comes due. An agent that runs comes to rest in the end.
void play(Agent::Scenario const& scenario, World& world, std::function<void()> const& settle);

}  // namespace Sim
