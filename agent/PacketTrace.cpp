#include "agent/PacketTrace.h"

#include <map>

namespace Agent {

namespace {

using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::IntfId;
using Wirex::MplsLabel;

/// Deeper nesting of tunnels and FECs than any packet meets: they form a loop.
constexpr int maxDepth = 16;

/// Part of the traffic on its way through the tables.
struct Packet {
    std::vector<std::uint32_t> labels;
    Fraction share;
    int depth = 0;

    Packet part(Natural const& weight, Natural const& total) const {
        return {labels, share.part(weight, total), depth + 1};
    }
    /// An implicit null on top of `stack` is never sent.
    void push(Wirex::BoundedMplsLabelStack const& stack) {
        std::vector<std::uint32_t> pushed;
        for (std::size_t i = 0; i < stack.size(); ++i) {
            if (i == 0 && stack.label(i) == MplsLabel::implicitNull()) continue;
            pushed.push_back(stack.label(i).value());
        }
        labels.insert(labels.begin(), pushed.begin(), pushed.end());
    }
    void push(MplsLabel label) {
        if (!label.isNull()) labels.insert(labels.begin(), label.value());
    }
};

/// One walk; what no step goes on with is lost.
class Walk {
public:
    explicit Walk(Tables const& tables) : tables_(tables) {}

    void route(Mpls::ConsolidatedLfibRoute const& route, Packet const& packet) {
        if (route.viaType == Mpls::LfibViaType::extFec) return fec(route.extFecVia.fecId, packet);
        if (route.viaType == Mpls::LfibViaType::mpls) spread(route.mplsVias, packet);
    }
    void fec(FecId fecId, Packet const& packet) {
        if (fecId.isTunnel()) return tunnel(fecId.fecIdToTunnelId(), packet);
        auto const* const entry = tables_.forwarding->fec(fecId);
        if (!entry) return;
        Natural total;
        for (auto const& via : entry->vias()) total = total + via.weight();
        for (auto const& via : entry->vias()) {
            auto part = packet.part(via.weight(), total);
            part.push(via.label());
            tunnel(via.tunnelId(), part);
        }
    }
    Outcomes outcomes() const { return {outcomes_.begin(), outcomes_.end()}; }

private:
    template <class Vias>
    void spread(Vias const& vias, Packet const& packet) {
        for (auto const& via : vias) hop(via, packet.part(1, vias.size()));
    }

    template <class Via>
    void hop(Via const& via, Packet packet) {
        packet.push(via.operation.stack);
        switch (via.intf.kind()) {
            case IntfId::Kind::none:
            case IntfId::Kind::physical:
                outcomes_[{via.intf.stringValue(), via.nextHop, packet.labels}].add(packet.share);
                break;
            case IntfId::Kind::dynamicTunnel: tunnel(TunnelId(via.intf.number()), packet); break;
            case IntfId::Kind::hierarchicalFec: fec(FecId(via.intf.number()), packet); break;
            case IntfId::Kind::nextHopGroup: break;
        }
    }

    void tunnel(TunnelId tunnelId, Packet const& packet) {
        if (packet.depth > maxDepth) return;
        switch (tunnelId.type()) {
            case TunnelType::tiLfa:
                if (auto const* const entry = tables_.tiLfa->entry(tunnelId)) {
                    hop(entry->primaryVia, packet.part(1, 1));
                }
                break;
            case TunnelType::srTeSegmentList:
                if (auto const* const entry = tables_.segmentListTunnels->entry(tunnelId)) {
                    spread(entry->vias(), packet);
                }
                break;
            case TunnelType::srTePolicy:
                if (tables_.policyTunnels->entry(tunnelId)) {
                    fec(FecId::fecIdForAdjType(AdjType::srTePolicy, tunnelId.index()),
                        packet.part(1, 1));
                }
                break;
        }
    }

    Tables const& tables_;
    std::map<Outcome, Share> outcomes_;
};

}  // namespace

Outcomes tracePacket(Tables const& tables, std::vector<std::uint32_t> const& labels) {
    auto const key = Mpls::RouteKey::fromLabel(MplsLabel(labels.front()));
    Walk walk(tables);
    if (auto const* const route = tables.lfib().consolidatedRoute(key)) {
        walk.route(*route, {{labels.begin() + 1, labels.end()}, {}, 0});
    }
    return walk.outcomes();
}

Outcomes traceFec(Tables const& tables, FecId fecId) {
    Walk walk(tables);
    walk.fec(fecId, {});
    return walk.outcomes();
}

}  // namespace Agent
