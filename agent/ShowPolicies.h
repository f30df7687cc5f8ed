#pragma once

#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// The policies of the file, then those that are published all the same. A stopped agent has none.
void showPolicies(Host const& host, Rows& rows);

/// Who holds each binding SID, and which policies wait for it.
void showBindingSids(Host const& host, Rows& rows);

}  // namespace Agent
