#include "agent/Writer.h"

#include <set>

#include "Platform/Mpls/LfibWriter.h"

namespace Agent {

namespace {

using Tunnel::TunnelTable::TunnelId;

/// Writes one router setting to where the machines read it.
class SettingWriter {
public:
    explicit SettingWriter(Inputs const& inputs) : inputs_(inputs) {}

    void operator()(AgentEnabled) const {}  // only gRIBI follows it
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

}  // namespace

void Writer::write(Step const& step) const {
    writeRouter(step.router);
    writeLfib(step.lfib);
    writeTiLfa(step.tiLfa);
    // Here follow the global BFD settings.
    writePolicies(step);
    // Here follows gRIBI.
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
