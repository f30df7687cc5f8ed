#pragma once

#include <string>

#include "agent/ShowRows.h"
#include "agent/YamlTree.h"

namespace Agent {

/// A scalar as expectations compare it: text as it is, numbers in decimal, `true` or `false`.
std::string scalarText(Json const& scalar);

/// On one line, in the notation of scenario files: `{if: et1, out: [16005], share: 75 %}`.
std::string flowText(Json const& value);
std::string flowText(Node const& value);

}  // namespace Agent
