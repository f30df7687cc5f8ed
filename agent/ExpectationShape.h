#pragma once

#include "agent/Shape.h"

namespace Agent {

/// An element of `expect`, as far as it can be judged by itself.
Shape expectationShape();

}  // namespace Agent
