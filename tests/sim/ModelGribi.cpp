#include <algorithm>

#include "tests/sim/ModelOutcome.h"
#include "tests/sim/ModelRows.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

using Expected::Outcome;
using Gribi::NextHopId;

ListContent contentOf(Gribi::NhAftEntry const& nextHop) {
    auto const& stack = nextHop.labelOperation.stack;
    SrTePolicy::PolicyId const nobody{{{}, 0}, {SrTePolicy::Protocol::unknown, {}, 0, 0}};
    ListContent content{nobody, {}, SrTePolicy::DistinguisherId(nextHop.nextHopId.value())};
    for (std::size_t i = 0; i < stack.size(); ++i) content.labels.push_back(stack.label(i));
    return content;
}

void takeNextHops(Agent::Inputs const& inputs, Outcome& outcome) {
    for (auto row = inputs.gribiAfts->nhAft->nhAftEntry().begin(); row; row.next()) {
        auto const& nextHop = row.value();
        bool const fits = Expected::canBeInterned(nextHop.labelOperation.stack);
        if (row.key().isInvalid() || !fits) continue;
        auto const content = contentOf(nextHop);
        auto& list = outcome.lists[content];
        list.content = content;
        Expected::resolve(list, inputs, outcome);
        outcome.nextHops[row.key()] = &list;
    }
}

/// A FEC takes no more vias.
constexpr std::size_t maxMembers = 600;

void takeGroups(Agent::Inputs const& inputs, Outcome& outcome) {
    for (auto row = inputs.gribiAfts->nhgAft->nhgAftEntry().begin(); row; row.next()) {
        std::vector<Gribi::NextHopWeight> used;
        for (auto const& member : row.value().nextHop()) {
            auto const nextHop = outcome.nextHops.find(member.nextHopId);
            bool const usable = nextHop != outcome.nextHops.end() && nextHop->second->usable();
            if (usable && member.weight > 0 && used.size() < maxMembers) used.push_back(member);
        }
        if (!used.empty()) outcome.groups[row.key()] = std::move(used);
    }
}

void takeLabels(Agent::Inputs const& inputs, Outcome& outcome) {
    for (auto row = inputs.gribiAfts->mplsAft->mplsAftEntry().begin(); row; row.next()) {
        auto const group = row.value().nextHopGroupId;
        bool const hasFec = outcome.groups.contains(group);
        if (row.key().isReal() && hasFec) outcome.gribiRoutes[row.key()] = group;
    }
}

}  // namespace

void Expected::takeGribi(Agent::Inputs const& inputs, Outcome& outcome) {
    if (!inputs.agentStatus->enabled() || !inputs.gribiConfig->enabled()) return;
    takeNextHops(inputs, outcome);
    takeGroups(inputs, outcome);
    takeLabels(inputs, outcome);
}

void addGribiRows(Rows& rows, Outcome const& outcome) {
    for (auto const& [id, list] : outcome.nextHops) {
        if (list->resolution) rows.push_back(words("next hop", id.value(), "in", list->content));
    }
    for (auto const& [id, members] : outcome.groups) {
        rows.push_back(words("group", id.value()));
        std::set<std::string> vias;
        for (auto const& [nextHop, weight] : members) {
            vias.insert(words("", outcome.nextHops.at(nextHop)->content, weight, "-"));
        }
        rows.push_back(words("FEC of group", id.value()));
        for (auto const& via : vias) rows.back() += via;
    }
    // Source 1, metric 1, via type 10; the label is taken off (1) whatever lies below (5).
    for (auto const& [label, group] : outcome.gribiRoutes) {
        rows.push_back(
            words("route of gRIBI's", label, "1 1 10 1 5", words("FEC of group", group.value())));
    }
}

}  // namespace Sim
