#pragma once

#include <iosfwd>
#include <string>

#include "agent/Topohub.h"

namespace Agent {

/// The scenario of one router in a network of TopoHub: its label table, a policy for each demand
/// that starts there, the failure and the return of its busiest link, and what must hold meanwhile.
/// It is worked out on the network's graph, without any of the machines that will run it. The same
/// file, router and metric always give the same text.
///
/// `router` is an id or a name. Throws InputError when the file is no such network, has no such
/// router, or has more routers or links than there are labels for.
std::string importTopohub(std::istream& json, std::string const& fileName,
                          std::string const& router, Metric metric);

}  // namespace Agent
