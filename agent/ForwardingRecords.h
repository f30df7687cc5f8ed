#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/Findings.h"
#include "agent/Scenario.h"

namespace Agent {

/// Numbers the TI-LFA tunnels of a file in the order in which they are first named.
class TiLfaNames {
public:
    Tunnel::TunnelTable::TunnelId tunnelId(std::string const& name);
    std::vector<std::string> const& names() const { return names_; }

private:
    std::vector<std::string> names_;  // that of the tunnel with index N at N - 1
    std::map<std::string, std::uint64_t> indexes_;
};

/// The route of `label` from its description; nothing, and a finding, when the description does not
/// make one.
std::optional<Mpls::ConsolidatedLfibRoute> routeRecord(std::string const& label, Node const& route,
                                                       TiLfaNames& names, Findings& findings);

/// The TI-LFA tunnel `name` likewise.
std::optional<Tunnel::TunnelTable::TiLfaTunnelTableEntry> tunnelRecord(std::string const& name,
                                                                       Node const& tunnel,
                                                                       TiLfaNames& names,
                                                                       Findings& findings);

/// The key that a route of `label` is written under.
Mpls::RouteKey routeKey(std::string const& label);

}  // namespace Agent
