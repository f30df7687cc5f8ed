#pragma once

#include <optional>

#include "agent/Findings.h"
#include "agent/Scenario.h"

namespace Agent {

/// The expectation of a node whose form was checked; nothing, and a finding, when its members do
/// not go together.
std::optional<Expectation> readExpectation(Node const& node, Findings& findings);

}  // namespace Agent
