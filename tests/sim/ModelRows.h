#pragma once

#include "tests/sim/Model.h"
#include "tests/sim/ModelOutcome.h"

/// The expected rows of single subsystems.
namespace Sim {

/// A list has a combined status while it has one at all: S-BFD only takes away what is usable.
void addSbfdRows(Rows& rows, Agent::Inputs const& inputs, Expected::List const& list);

/// The tunnel of a list is its policy's; one that has been is so while it has a counter.
void addTunnelMapRows(Rows& rows, Agent::Inputs const& inputs, Expected::Outcome const& outcome,
                      Witnesses const& witnesses);

void addGribiRows(Rows& rows, Expected::Outcome const& outcome);

}  // namespace Sim
