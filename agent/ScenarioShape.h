#pragma once

#include "agent/Shape.h"

namespace Agent {

/// Everything that a scenario file may contain: its keys, the form and the range of every value.
/// What only shows once an event's patch is applied, and what one part of the file says about
/// another, is not judged here.
Shape scenarioShape();

}  // namespace Agent
