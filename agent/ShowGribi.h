#pragma once

#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// Whether gRIBI runs, and for every entry of a client, by table, what became of it or why not.
void showGribi(Host const& host, Rows& rows);

}  // namespace Agent
