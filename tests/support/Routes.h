#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibWriter.h"

inline Wirex::IpGenAddr address(char const* text) {
    return Wirex::IpGenAddr::parse(text).value_or(Wirex::IpGenAddr());
}
inline Mpls::RouteKey keyOf(std::uint32_t label) {
    return Mpls::RouteKey::fromLabel(Wirex::MplsLabel(label));
}
inline Tunnel::TunnelTable::TunnelId tiLfa(std::uint64_t index) {
    return Tunnel::TunnelTable::TunnelId::make(Tunnel::TunnelTable::TunnelType::tiLfa, index);
}

inline Mpls::LfibMplsVia push(char const* intf, Wirex::BoundedMplsLabelStack const& labels = {}) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001),
            Wirex::IntfId::physical(intf),
            {Wirex::MplsLabelAction::push, labels}};
}
inline Mpls::LfibMplsVia pushOver(Tunnel::TunnelTable::TunnelId tunnel,
                                  Wirex::BoundedMplsLabelStack const& labels = {}) {
    auto const intf = Wirex::IntfId::dynamicTunnel(tunnel.value());
    return {{}, intf, {Wirex::MplsLabelAction::push, labels}};
}
inline Mpls::ConsolidatedLfibRoute routeOver(std::uint32_t label,
                                             std::vector<Mpls::LfibMplsVia> vias) {
    Mpls::ConsolidatedLfibRoute route;
    route.key = keyOf(label);
    route.viaType = Mpls::LfibViaType::mpls;
    route.mplsVias = std::move(vias);
    return route;
}
inline Mpls::ConsolidatedLfibRoute routeInto(
    std::uint32_t label, std::uint64_t fecId,
    Wirex::MplsLabelAction action = Wirex::MplsLabelAction::pop) {
    Mpls::ConsolidatedLfibRoute route;
    route.key = keyOf(label);
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = {{}, Pooltab::Fib::FecId(fecId), action, {}};
    return route;
}

/// The LFIB of a router: another application's routes, gRIBI's and the policies', merged.
struct RouterLfib {
    void route(std::uint32_t label, std::vector<Mpls::LfibMplsVia> vias) {
        writer.lfibRouteIs(routeOver(label, std::move(vias)));
    }
    void routeDel(std::uint32_t label) { writer.lfibRouteDel(keyOf(label)); }

    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>(Mpls::EqualWrites::notify);
    Quor::Ptr<Mpls::LfibStatus> gribiLfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibStatus> policyLfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibMerge> merge = Quor::makePtr<Mpls::LfibMerge>(lfib, gribiLfib, policyLfib);
    Mpls::LfibWriter writer{lfib};
};
