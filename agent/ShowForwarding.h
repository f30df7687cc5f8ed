#pragma once

#include "agent/Host.h"
#include "agent/PacketTrace.h"
#include "agent/ShowRows.h"

namespace Agent {

/// The merged LFIB, by label.
void showLfib(Host const& host, Rows& rows);
/// By FEC id.
void showFecs(Host const& host, Rows& rows);
/// TI-LFA tunnels, then those of segment lists, by tunnel id.
void showTunnels(Host const& host, Rows& rows);
/// How many tunnels are told to be each policy's, and how many of them nobody uses any more.
void showTunnelMap(Host const& host, Rows& rows);
/// The policies that routes of their color may resolve over.
void showColoredRib(Host const& host, Rows& rows);

/// The row of `trace` for a stack of labels: how such a packet leaves. None when it does not.
void showTrace(Host const& host, Rows& rows);

/// How traffic leaves: `if`, `nh`, `out` and `share` of each outcome.
Json pathsJson(Outcomes const& outcomes);

/// The labels of a stack, top first.
Json labelsJson(Wirex::BoundedMplsLabelStack const& stack);

/// A via's next hop, where it sends, and the labels that it writes.
Json viaJson(Host const& host, Wirex::IpGenAddr const& nextHop, Wirex::IntfId const& intf,
             Wirex::MplsLabelOperation const& operation);

}  // namespace Agent
