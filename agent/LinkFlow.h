#pragma once

#include <vector>

#include "agent/NetworkGraph.h"

namespace Agent::Topohub {

/// A flow of whole units between two routers in which a link carries at most one unit, either way.
///
/// Every unit is added at the least extra length, turning units back on their links where that is
/// shorter (successive shortest paths, as in Suurballe's and Bhandari's algorithms): so after n
/// units the links used are those of the n disjoint paths with the smallest summed length. Taking
/// the shortest path first and searching the second one beside it would miss pairs that exist.
class LinkFlow {
public:
    /// `from` and `to` differ. The graph outlives the flow.
    LinkFlow(NetworkGraph const& graph, RouterIndex from, RouterIndex to);

    /// Adds a unit; false, and nothing changed, when no further one fits.
    bool addUnit();

    /// The flow taken apart into one path per unit.
    std::vector<Path> paths() const;

private:
    enum class Use { none, towardsTarget, towardsSource };
    struct Arrival {
        std::int64_t distance;
        LinkIndex link;
    };

    Use useFrom(LinkIndex link, RouterIndex end) const;
    std::vector<std::optional<Arrival>> residualPaths() const;

    NetworkGraph const& graph_;
    RouterIndex const from_;
    RouterIndex const to_;
    std::vector<Use> use_;
};

}  // namespace Agent::Topohub
