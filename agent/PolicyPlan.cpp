#include "agent/PolicyPlan.h"

#include <algorithm>

#include "agent/Rounding.h"

namespace Agent::Topohub {

namespace {

constexpr std::size_t maxLabels = 8;

/// Makes lists of the disjoint paths; notes those that are too long in the plan.
std::vector<ExplicitList> explicitLists(RouterView const& view, RouterIndex destination,
                                        std::vector<Path> const& paths, PolicyPlan& plan) {
    std::vector<ExplicitList> lists;
    for (std::size_t index = 0; index < paths.size(); ++index) {
        auto const& path = paths[index];
        auto const name = "l" + std::to_string(index + 1);
        if (path.links.size() > maxLabels) {
            plan.longPaths.push_back({destination, name, path.links.size()});
            continue;
        }
        auto const weight = roundedQuotient(100 * paths.front().length, path.length);
        lists.push_back({name, path, view.adjacencySids(path), std::max<std::int64_t>(1, weight)});
    }
    return lists;
}

void planPolicy(RouterView const& view, Demand const& demand, PolicyPlan& plan) {
    auto const paths = view.graph().shortestDisjointPair(view.self(), demand.destination);
    if (paths.empty()) {
        plan.withoutPath.push_back(demand.destination);
        return;
    }
    auto const bindingSid = RouterView::firstBindingSid + static_cast<Label>(plan.policies.size());
    if (bindingSid > RouterView::lastBindingSid) {
        plan.withoutBindingSid.push_back(demand.destination);
        return;
    }
    if (paths.size() == 1) plan.withoutSecondPath.push_back(demand.destination);
    plan.policies.push_back(
        {demand, bindingSid, explicitLists(view, demand.destination, paths, plan)});
}

}  // namespace

PolicyPlan planPolicies(RouterView const& view) {
    PolicyPlan plan;
    for (auto const& demand : view.network().demands) {
        if (demand.source == view.self()) planPolicy(view, demand, plan);
    }
    return plan;
}

std::map<LinkIndex, std::size_t> listsByFirstLink(PolicyPlan const& plan) {
    std::map<LinkIndex, std::size_t> lists;
    for (auto const& policy : plan.policies) {
        for (auto const& list : policy.lists) ++lists[list.path.links.front()];
    }
    return lists;
}

std::optional<LinkIndex> busiestLink(RouterView const& view, PolicyPlan const& plan) {
    auto lists = listsByFirstLink(plan);
    std::optional<LinkIndex> busiest;
    for (auto const link : view.graph().linksOf(view.self())) {
        if (!busiest || lists[link] > lists[*busiest]) busiest = link;
    }
    return busiest;
}

}  // namespace Agent::Topohub
