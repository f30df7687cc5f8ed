#pragma once

#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// The segments in use, by label, and how each of them resolves.
void showSegments(Host const& host, Rows& rows);
/// The segment lists in use, by identity.
void showSegmentLists(Host const& host, Rows& rows);

/// The name of a list's state: "usable", "unresolved", "zero-labels", "exceeds-msd",
/// "backup-exceeds-msd", "sbfd-down". A list without a status is unresolved.
char const* listStateText(std::optional<SrTePolicy::SegmentListResolveError> status);

}  // namespace Agent
