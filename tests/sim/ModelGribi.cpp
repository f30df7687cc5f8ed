#include "tests/sim/Model.h"
#include "tests/sim/TableWalk.h"

namespace Sim::Expected {

namespace {

void takeNextHops(Outcome& outcome) {
    SrTePolicy::PolicyId const nobody{{{}, 0}, {SrTePolicy::Protocol::unknown, {}, 0, 0}};
    for (auto const& [id, nextHop] : each(outcome.inputs.gribiAfts->nhAft->nhAftEntry())) {
        auto const& stack = nextHop.labelOperation.stack;
        if (id.isInvalid() || !canBeInterned(stack)) continue;
        ListContent const content{nobody, stack, SrTePolicy::DistinguisherId(id.value())};
        auto& list = outcome.lists[content];
        list.content = content;
        resolve(list, outcome);
        outcome.nextHops[id] = &list;
    }
}

/// A FEC takes no more vias.
constexpr std::size_t maxMembers = 600;

void takeGroups(Outcome& outcome) {
    for (auto const& [id, group] : each(outcome.inputs.gribiAfts->nhgAft->nhgAftEntry())) {
        std::vector<Gribi::NextHopWeight> used;
        for (auto const& member : group.nextHop()) {
            auto const nextHop = outcome.nextHops.find(member.nextHopId);
            bool const usable = nextHop != outcome.nextHops.end() && nextHop->second->usable();
            if (usable && member.weight > 0 && used.size() < maxMembers) used.push_back(member);
        }
        if (!used.empty()) outcome.groups[id] = std::move(used);
    }
}

void takeLabels(Outcome& outcome) {
    for (auto const& [label, entry] : each(outcome.inputs.gribiAfts->mplsAft->mplsAftEntry())) {
        auto const group = entry.nextHopGroupId;
        if (label.isReal() && outcome.groups.contains(group)) outcome.gribiRoutes[label] = group;
    }
}

}  // namespace

void takeGribi(Outcome& outcome) {
    auto const& inputs = outcome.inputs;
    if (!inputs.agentStatus->enabled() || !inputs.gribiConfig->enabled()) return;
    takeNextHops(outcome);
    takeGroups(outcome);
    takeLabels(outcome);
}

}  // namespace Sim::Expected
