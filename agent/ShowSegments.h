#pragma once

#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// The segments in use, by label, and how each of them resolves.
void showSegments(Host const& host, Rows& rows);
/// The segment lists in use, by identity.
void showSegmentLists(Host const& host, Rows& rows);

/// Whether a list can be used by a policy, as selection sees it: with S-BFD where it is configured.
/// Of a list of gRIBI, which is no policy's, the key does not matter.
std::optional<SrTePolicy::SegmentListResolveError> listStatus(Tables const& tables,
                                                              SrTePolicy::PolicyKey const& key,
                                                              SrTePolicy::SegmentListId id);

/// The name of a list's state: "usable", "unresolved", "zero-labels", "exceeds-msd",
/// "backup-exceeds-msd", "sbfd-down". A list without a status is unresolved.
char const* listStateText(std::optional<SrTePolicy::SegmentListResolveError> status);

}  // namespace Agent
