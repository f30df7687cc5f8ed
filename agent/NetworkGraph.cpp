#include "agent/NetworkGraph.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <queue>
#include <utility>

#include "agent/LinkFlow.h"

namespace Agent::Topohub {

namespace {

std::vector<LinkIndex> merged(std::vector<LinkIndex> const& one,
                              std::vector<LinkIndex> const& two) {
    std::vector<LinkIndex> both;
    std::set_union(one.begin(), one.end(), two.begin(), two.end(), std::back_inserter(both));
    return both;
}

/// Takes note of a path of `distance` that begins with `firstLinks`; true when none as short was
/// known.
bool improve(std::optional<Reach>& reach, std::int64_t distance,
             std::vector<LinkIndex> const& firstLinks) {
    if (!reach || distance < reach->distance) {
        reach = Reach{distance, firstLinks};
        return true;
    }
    if (distance == reach->distance) reach->firstLinks = merged(reach->firstLinks, firstLinks);
    return false;
}

}  // namespace

NetworkGraph::NetworkGraph(std::size_t routers, std::vector<Link> links)
    : links_(std::move(links)), linksOf_(routers) {
    for (LinkIndex link = 0; link < links_.size(); ++link) {
        linksOf_.at(links_[link].source).push_back(link);
        linksOf_.at(links_[link].target).push_back(link);
    }
}

std::vector<std::optional<Reach>> NetworkGraph::shortestPaths(
    RouterIndex from, std::optional<LinkIndex> failed) const {
    using Step = std::pair<std::int64_t, RouterIndex>;
    std::priority_queue<Step, std::vector<Step>, std::greater<>> frontier;
    std::vector<std::optional<Reach>> reaches(routers());

    reaches[from] = Reach{};
    frontier.emplace(0, from);
    while (!frontier.empty()) {
        auto const [distance, router] = frontier.top();
        frontier.pop();
        if (distance > reaches[router]->distance) continue;  // a shorter way was found meanwhile

        // Lengths are positive, so every equally short way to this router is known by now.
        for (auto const link : linksOf(router)) {
            if (link == failed) continue;
            auto const next = links_[link].otherEnd(router);
            auto const length = distance + links_[link].length;
            auto const firstLinks =
                router == from ? std::vector{link} : reaches[router]->firstLinks;
            if (improve(reaches[next], length, firstLinks)) frontier.emplace(length, next);
        }
    }
    return reaches;
}

std::vector<Path> NetworkGraph::shortestDisjointPair(RouterIndex from, RouterIndex to) const {
    LinkFlow flow(*this, from, to);
    for (int unit = 0; unit < 2 && flow.addUnit(); ++unit) continue;

    auto paths = flow.paths();
    std::stable_sort(paths.begin(), paths.end(),
                     [](Path const& a, Path const& b) { return a.length < b.length; });
    return paths;
}

}  // namespace Agent::Topohub
