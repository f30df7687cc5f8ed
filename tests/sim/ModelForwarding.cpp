#include "tests/sim/Model.h"

namespace Sim::Expected {

namespace {

using Mpls::LfibViaType;
using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListResolveError;
using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::BoundedMplsLabelStack;
using Wirex::IntfId;
using Wirex::MplsLabelAction;
using Wirex::MplsLabelOperation;

bool isTiLfa(std::uint64_t tunnelId) {
    return TunnelId(tunnelId).type() == TunnelType::tiLfa;
}

Segment overVias(std::vector<Mpls::LfibMplsVia> const& vias) {
    Segment segment{LfibViaType::mpls, {}, {}, false};
    for (auto const& via : vias) {
        bool const absent = via == Mpls::LfibMplsVia();
        bool const otherTunnel = via.intf.isDynamicTunnel() && !isTiLfa(via.intf.number());
        if (absent || via.intf.isNextHopGroup() || otherTunnel) continue;
        segment.vias.push_back(via);
        if (via.intf.isDynamicTunnel()) segment.overTiLfa = true;
    }
    return segment;
}

/// Only plain FECs and those of TI-LFA tunnels lead on; the FECs of policies, for one, do not.
Segment overFec(Mpls::LfibExtFecVia const& via) {
    Segment segment{LfibViaType::extFec, {}, {}, false};
    if (via == Mpls::LfibExtFecVia()) return segment;
    auto const type = via.fecId.adjType();
    bool const plain = type == AdjType::plain || type == AdjType::plainAlternate;
    segment.overTiLfa = type == AdjType::tunnel && isTiLfa(via.fecId.payload());
    if (plain || segment.overTiLfa) segment.extFecVia = via;
    return segment;
}

/// The labels that a TI-LFA tunnel imposes.
struct TunnelLabels {
    std::size_t primary = 0;
    std::size_t backup = 0;
};

std::size_t labelsOf(MplsLabelOperation const& operation) {
    auto const& stack = operation.stack;
    if (operation.action != MplsLabelAction::swap && operation.action != MplsLabelAction::push) {
        return stack.size();
    }
    for (std::size_t i = 0; i < stack.size(); ++i) {
        if (stack.label(i) == Wirex::MplsLabel::implicitNull()) return stack.size() - 1;
    }
    return stack.size();
}

TunnelLabels tunnelLabels(std::uint64_t tunnelId, Agent::Inputs const& inputs) {
    auto const* const tunnel = inputs.tiLfa->entry(TunnelId(tunnelId));
    if (!tunnel) return {};
    auto const& backup = tunnel->backupVia;
    return {labelsOf(tunnel->primaryVia.operation), backup ? labelsOf(backup->operation) : 0};
}

MplsLabelOperation egressOperation(MplsVia const& via, BoundedMplsLabelStack const& belowTop,
                                   bool overTiLfa) {
    auto egress = via.operation;
    switch (via.operation.action) {
        case MplsLabelAction::swap:
        case MplsLabelAction::push: egress.stack.append(belowTop); break;
        case MplsLabelAction::pop: {
            bool const adjacency = !via.nextHop.isEmpty() && !via.intf.isEmpty();
            if (egress.stack.empty() && (overTiLfa || adjacency)) {
                egress.stack.append(Wirex::MplsLabel::implicitNull());
            }
            break;
        }
        case MplsLabelAction::none: break;
    }
    return egress;
}

SegmentListResolveError stackError(std::size_t labels, TunnelLabels tunnel,
                                   Agent::Inputs const& inputs) {
    if (auto const msd = inputs.hardware->maxLabelPushDepth()) {
        if (*msd < labels + tunnel.primary) return SegmentListResolveError::exceedsMsd;
        if (*msd < labels + tunnel.backup) return SegmentListResolveError::backupExceedsMsd;
    }
    return labels == 0 ? SegmentListResolveError::zeroResolvedLabels
                       : SegmentListResolveError::noError;
}

/// The interface by which a tunnel enters a FEC.
IntfId fecInterface(FecId fecId) {
    return fecId.isTunnel() ? IntfId::dynamicTunnel(fecId.payload())
                            : IntfId::hierarchicalFec(fecId.forTunnel().value());
}

/// The vias below `top`; the one into a FEC has no interface yet.
std::vector<MplsVia> viasBelow(Segment const& top) {
    std::vector<MplsVia> vias;
    for (auto const& via : top.vias) vias.push_back({via.nextHop, via.intf, via.operation});
    if (top.viaType == LfibViaType::extFec)
        vias.push_back({{}, {}, {top.extFecVia.labelAction, {}}});
    return vias;
}

}  // namespace

std::optional<Segment> segmentOf(Mpls::ConsolidatedLfibRoute const* route) {
    if (!route || route->type == Mpls::LfibRouteType::pseudowire) return std::nullopt;
    switch (route->viaType) {
        case LfibViaType::unset: return std::nullopt;  // no via set
        case LfibViaType::mpls: return overVias(route->mplsVias);
        case LfibViaType::extFec: return overFec(route->extFecVia);
    }
    return Segment{route->viaType, {}, {}, false};
}

Resolution resolution(BoundedMplsLabelStack const& labels, Segment const& top,
                      Agent::Inputs const& inputs) {
    auto belowTop = labels;
    belowTop.pop();
    auto const fecId = top.extFecVia.fecId;

    Resolution result;
    std::set<MplsVia> distinct;
    for (auto via : viasBelow(top)) {
        auto const tunnelId = fecId.isNone() ? via.intf.number() : fecId.payload();
        bool const overTiLfa = fecId.isNone() ? via.intf.isDynamicTunnel() : fecId.isTunnel();
        auto const sizes = overTiLfa ? tunnelLabels(tunnelId, inputs) : TunnelLabels();
        via.operation = egressOperation(via, belowTop, overTiLfa);
        if (result.usable()) result.error = stackError(via.operation.stack.size(), sizes, inputs);
        if (!fecId.isNone()) via.intf = fecInterface(fecId);
        distinct.insert(via);
    }
    if (distinct.empty()) result.error = SegmentListResolveError::zeroResolvedLabels;
    if (result.usable()) result.tunnelVias.assign(distinct.begin(), distinct.end());
    return result;
}

}  // namespace Sim::Expected
