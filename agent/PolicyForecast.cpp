#include "agent/PolicyForecast.h"

#include <algorithm>

#include "agent/Rounding.h"

namespace Agent::Topohub {

namespace {

/// The labels that a packet leaves with over a via of the top label's route.
std::vector<Label> wireLabels(std::vector<Label> labels, Via const& via) {
    if (via.out) {
        labels.front() = *via.out;
    } else {
        labels.erase(labels.begin());
    }
    return labels;
}

/// Adds the ways of one list: the vias of its top label's route share its weight equally. Lists of
/// one candidate begin with different links and the vias of a route differ in theirs, so no two
/// ways of a policy are the same.
void addList(std::vector<WireEntry>& wire, std::vector<Label> const& labels,
             std::vector<Via> const& vias, std::int64_t weight, std::int64_t allWeights) {
    auto const count = static_cast<std::int64_t>(vias.size());
    for (auto const& via : vias) {
        wire.push_back(
            {via.link, wireLabels(labels, via), percentText(weight, allWeights * count)});
    }
}

std::vector<WireEntry> explicitWire(PlannedPolicy const& policy, Routes const& routes) {
    std::int64_t allWeights = 0;
    for (auto const& list : policy.lists) {
        if (routes.contains(list.labels.front())) allWeights += list.weight;
    }
    std::vector<WireEntry> wire;
    for (auto const& list : policy.lists) {
        auto const route = routes.find(list.labels.front());
        if (route == routes.end()) continue;
        addList(wire, list.labels, route->second, list.weight, allWeights);
    }
    return wire;
}

}  // namespace

PolicyForecast forecast(RouterView const& view, PlannedPolicy const& policy, Routes const& routes) {
    PolicyForecast result;
    for (auto const& list : policy.lists) {
        result.listUsable.push_back(routes.contains(list.labels.front()));
    }
    auto const nodeSid = view.nodeSid(policy.demand.destination);
    result.shortestUsable = routes.contains(nodeSid);

    auto const& usable = result.listUsable;
    if (std::find(usable.begin(), usable.end(), true) != usable.end()) {
        result.active = PolicyForecast::Active::explicitPaths;
        result.wire = explicitWire(policy, routes);
    } else if (result.shortestUsable) {
        result.active = PolicyForecast::Active::shortest;
        addList(result.wire, {nodeSid}, routes.at(nodeSid), 1, 1);
    }
    std::sort(result.wire.begin(), result.wire.end(), [&](auto const& a, auto const& b) {
        return view.interface(a.link) < view.interface(b.link);
    });
    return result;
}

}  // namespace Agent::Topohub
