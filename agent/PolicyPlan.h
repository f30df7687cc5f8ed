#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/RouterView.h"

namespace Agent::Topohub {

/// A segment list that follows one path over its links' adjacency SIDs.
struct ExplicitList {
    std::string name;
    Path path;
    std::vector<Label> labels;
    std::int64_t weight = 1;
};

/// The policy for one demand. Its candidate `explicit` has these lists and is absent without one;
/// its candidate `shortest` has the destination's node SID. Both ask for the binding SID.
struct PlannedPolicy {
    Demand demand;
    Label bindingSid = 0;
    std::vector<ExplicitList> lists;
};

/// A path that would need more labels than a segment list may have.
struct LongPath {
    RouterIndex destination = 0;
    std::string list;
    std::size_t labels = 0;
};

/// The policies of a router and what could not be had.
struct PolicyPlan {
    std::vector<PlannedPolicy> policies;  ///< in the order of the demands

    std::vector<RouterIndex> withoutPath;
    std::vector<RouterIndex> withoutSecondPath;
    std::vector<RouterIndex> withoutBindingSid;  ///< the SRLB was used up
    std::vector<LongPath> longPaths;
};

/// A policy per demand that starts at the router.
PolicyPlan planPolicies(RouterView const& view);

/// How many explicit lists begin with each link of the router; links without a list are absent.
std::map<LinkIndex, std::size_t> listsByFirstLink(PolicyPlan const& plan);

/// The router's link that most explicit lists begin with, of equals the first in the file; none
/// when it has no link.
std::optional<LinkIndex> busiestLink(RouterView const& view, PolicyPlan const& plan);

}  // namespace Agent::Topohub
