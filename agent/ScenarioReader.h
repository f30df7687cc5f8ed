#pragma once

#include <iosfwd>
#include <string>

#include "agent/Scenario.h"

namespace Agent {

/// Reads a scenario from YAML or JSON. Throws InputError with everything that is wrong in it;
/// `fileName` is what the diagnostics call it.
Scenario readScenario(std::istream& input, std::string const& fileName);

}  // namespace Agent
