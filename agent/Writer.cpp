#include "agent/Writer.h"

#include <map>
#include <set>

#include "Platform/Mpls/LfibWriter.h"

namespace Agent {

namespace {

using Gribi::NextHopGroupId;
using Gribi::NextHopId;
using Tunnel::TunnelTable::TunnelId;
using Wirex::MplsLabel;

/// Writes one router setting to where the machines read it.
class SettingWriter {
public:
    explicit SettingWriter(Inputs const& inputs) : inputs_(inputs) {}

    void operator()(AgentEnabled enabled) const {
        inputs_.agentStatus->enabled.valueIs(enabled.value);
    }
    void operator()(Srlb srlb) const {
        if (srlb.value) {
            inputs_.mplsConfig->labelRangeIs("srlb", *srlb.value);
        } else {
            inputs_.mplsConfig->labelRangeDel("srlb");
        }
    }
    void operator()(MaxSidDepth depth) const {
        inputs_.hardware->maxLabelPushDepth.valueIs(depth.value);
    }
    void operator()(SpecifiedBsidOnly only) const {
        inputs_.config->specifiedBsidOnly.valueIs(only.value);
    }
    void operator()(ColoredRib rib) const { inputs_.config->coloredRib.valueIs(rib.value); }
    void operator()(ColoredRibPreference preference) const {
        inputs_.config->coloredRibPreference.valueIs(preference.value);
    }
    void operator()(TieBreaking tieBreaking) const {
        inputs_.config->tieBreaking.valueIs(tieBreaking.value);
    }

private:
    Inputs const& inputs_;
};

bool leadsOver(Mpls::ConsolidatedLfibRoute const& route, std::set<std::uint64_t> const& tunnels) {
    auto const& fecId = route.extFecVia.fecId;
    if (!fecId.isNone() && fecId.isTunnel()) return tunnels.contains(fecId.payload());
    for (auto const& via : route.mplsVias) {
        if (via.intf.isDynamicTunnel() && tunnels.contains(via.intf.number())) return true;
    }
    return false;
}

/// Writes the routes over `tunnels` again: nobody watches the tunnels themselves.
void touchRoutesOver(std::set<std::uint64_t> const& tunnels, Inputs const& inputs) {
    if (tunnels.empty()) return;
    Mpls::LfibWriter writer(inputs.otherLfib);
    for (auto row = inputs.otherLfib->rows().begin(); row; row.next()) {
        auto const& route = row.value()->route;
        if (leadsOver(route, tunnels)) writer.lfibRouteIs(Mpls::ConsolidatedLfibRoute(route));
    }
}

/// Labels beyond those that a stack holds would change nothing: it is too long for any list.
Gribi::NhAftEntry entryOf(GribiNextHop const& nextHop) {
    Gribi::NhAftEntry entry{NextHopId(nextHop.id), {Wirex::MplsLabelAction::push, {}}};
    auto& stack = entry.labelOperation.stack;
    for (auto const label : nextHop.pushedLabels) {
        if (stack.size() < stack.capacity) stack.append(MplsLabel(label));
    }
    return entry;
}

Gribi::NhgAftEntry entryOf(GribiNextHopGroup const& group) {
    Gribi::NhgAftEntry entry{NextHopGroupId(group.id)};
    std::map<std::uint64_t, std::uint64_t> const ascending(group.nextHopWeights.begin(),
                                                           group.nextHopWeights.end());
    for (auto const& [id, weight] : ascending) entry.nextHopIs(NextHopId(id), weight);
    return entry;
}

Gribi::MplsAftEntry entryOf(GribiMplsEntry const& mpls) {
    return {MplsLabel(mpls.label), NextHopGroupId(mpls.nextHopGroup)};
}

}  // namespace

void Writer::writeRouting(Step const& step) const {
    writeRouter(step.router);
    writeLfib(step.lfib);
    writeTiLfa(step.tiLfa);
    if (step.bfd) inputs_.bfdGlobal->timers.valueIs({step.bfd->interval, step.bfd->multiplier});
    writePolicies(step);
}

// Without a configuration gRIBI is enabled.
void Writer::writeGribi(GribiChanges const& changes) const {
    if (auto const& written = changes.configuration) {
        inputs_.gribiConfig->enabled.valueIs(written->value_or(GribiConfiguration()).enabled);
    }
    auto const& nextHops = inputs_.gribiAfts->nhAft;
    auto const& groups = inputs_.gribiAfts->nhgAft;
    auto const& labels = inputs_.gribiAfts->mplsAft;
    for (auto const& each : changes.nextHop.written) nextHops->nhAftEntryIs(entryOf(each));
    for (auto const& each : changes.nextHopGroup.written) groups->nhgAftEntryIs(entryOf(each));
    for (auto const& each : changes.mpls.written) labels->mplsAftEntryIs(entryOf(each));
    for (auto const label : changes.mpls.removed) labels->mplsAftEntryDel(MplsLabel(label));
    for (auto const id : changes.nextHopGroup.removed) groups->nhgAftEntryDel(NextHopGroupId(id));
    for (auto const id : changes.nextHop.removed) nextHops->nhAftEntryDel(NextHopId(id));
}

void Writer::writeRouter(std::vector<RouterSetting> const& settings) const {
    for (auto const& setting : settings) std::visit(SettingWriter(inputs_), setting);
}

void Writer::writeLfib(decltype(Step::lfib) const& changes) const {
    Mpls::LfibWriter writer(inputs_.otherLfib);
    for (auto const& route : changes.written) writer.lfibRouteIs(route);
    for (auto const& key : changes.removed) writer.lfibRouteDel(key);
}

void Writer::writeTiLfa(decltype(Step::tiLfa) const& changes) const {
    std::set<std::uint64_t> named;
    for (auto const& tunnel : changes.written) {
        inputs_.tiLfa->entryIs(tunnel);
        named.insert(tunnel.tunnelId.value());
    }
    for (auto const& tunnelId : changes.removed) {
        inputs_.tiLfa->entryDel(tunnelId);
        named.insert(tunnelId.value());
    }
    touchRoutesOver(named, inputs_);
}

void Writer::writePolicies(Step const& step) const {
    for (auto const& [policy, written] : step.policies.written) {
        inputs_.config->policyIs(policy.settings);
        for (auto const place : written) candidateIs(policy.candidates[place]);
    }
    for (auto const& id : step.removedCandidates) candidateDel(id);
    for (auto const& key : step.policies.removed) inputs_.config->policyDel(key);
}

void Writer::candidateIs(CandidateRecord const& candidate) const {
    auto const protocol = candidate.id().candidate.protocol;
    auto source = inputs_.sources->policyInput(protocol);
    if (!source) {
        source = SrTePolicy::policyInputFactory(protocol);
        inputs_.sources->policyInputIs(source);
    }
    source->policyInputEntryIs(candidate.entry);
}

void Writer::candidateDel(SrTePolicy::PolicyId const& id) const {
    if (auto const source = inputs_.sources->policyInput(id.candidate.protocol)) {
        source->policyInputEntryDel(id);
    }
}

}  // namespace Agent
