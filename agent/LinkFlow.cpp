#include "agent/LinkFlow.h"

#include <algorithm>
#include <deque>

namespace Agent::Topohub {

LinkFlow::LinkFlow(NetworkGraph const& graph, RouterIndex from, RouterIndex to)
    : graph_(graph), from_(from), to_(to), use_(graph.links().size(), Use::none) {}

/// The use of a link that carries a unit away from this end.
LinkFlow::Use LinkFlow::useFrom(LinkIndex link, RouterIndex end) const {
    return graph_.link(link).source == end ? Use::towardsTarget : Use::towardsSource;
}

/// The shortest ways from the start over what the links can still take: a free link costs its
/// length, a unit turned back gives its length back. No cycle is shorter than nothing, because the
/// flow so far is the shortest of its size, so the search ends although lengths are negative.
std::vector<std::optional<LinkFlow::Arrival>> LinkFlow::residualPaths() const {
    std::vector<std::optional<Arrival>> arrivals(graph_.routers());
    std::vector<bool> waiting(graph_.routers());
    std::deque<RouterIndex> queue{from_};

    arrivals[from_] = Arrival{0, 0};
    while (!queue.empty()) {
        auto const router = queue.front();
        queue.pop_front();
        waiting[router] = false;
        for (auto const link : graph_.linksOf(router)) {
            if (use_[link] == useFrom(link, router)) continue;  // full this way
            auto const length = graph_.link(link).length;
            auto const distance =
                arrivals[router]->distance + (use_[link] == Use::none ? length : -length);
            auto const next = graph_.link(link).otherEnd(router);
            if (arrivals[next] && arrivals[next]->distance <= distance) continue;

            arrivals[next] = Arrival{distance, link};
            if (!waiting[next]) queue.push_back(next);
            waiting[next] = true;
        }
    }
    return arrivals;
}

bool LinkFlow::addUnit() {
    auto const arrivals = residualPaths();
    if (!arrivals[to_]) return false;

    for (auto router = to_; router != from_;) {
        auto const link = arrivals[router]->link;
        auto const previous = graph_.link(link).otherEnd(router);
        use_[link] = use_[link] == Use::none ? useFrom(link, previous) : Use::none;
        router = previous;
    }
    return true;
}

/// A shortest flow has no cycle, so a walk along its links visits no router twice.
std::vector<Path> LinkFlow::paths() const {
    auto left = use_;
    std::vector<Path> paths;
    for (auto const first : graph_.linksOf(from_)) {
        if (left[first] != useFrom(first, from_)) continue;

        Path path;
        auto link = first;
        for (auto router = from_;;) {
            path.links.push_back(link);
            path.length += graph_.link(link).length;
            left[link] = Use::none;
            router = graph_.link(link).otherEnd(router);
            if (router == to_) break;
            auto const& links = graph_.linksOf(router);
            link = *std::find_if(links.begin(), links.end(), [&](LinkIndex candidate) {
                return left[candidate] == useFrom(candidate, router);
            });
        }
        paths.push_back(std::move(path));
    }
    return paths;
}

}  // namespace Agent::Topohub
