#include <array>
#include <utility>

#include "tests/sim/Universe.h"

namespace Sim {

namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibViaType;
using Pooltab::Fib::FecId;
using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::BoundedMplsLabelStack;
using Wirex::IntfId;
using Wirex::MplsLabel;
using Wirex::MplsLabelAction;

// Of segments first; the binding SIDs among them meet foreign routes.
constexpr std::array<std::uint32_t, labelCount> labels{
    16005, 16006, 16007, 24001, 24002, 100001, 0, 3, 1048575, 100000, 100002, 100009, 100010, 7};

LfibMplsVia hop(Number number, MplsLabelAction action, BoundedMplsLabelStack const& stack) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001 + number),
            IntfId::physical(number % 2 ? "et2" : "et1"),
            {action, stack}};
}

LfibMplsVia over(IntfId const& intf, BoundedMplsLabelStack const& stack,
                 MplsLabelAction action = MplsLabelAction::push) {
    return {{}, intf, {action, stack}};
}

IntfId tunnel(Number place) {
    return IntfId::dynamicTunnel(tiLfaAt(place).value());
}

BoundedMplsLabelStack stackOf(Number size) {
    BoundedMplsLabelStack stack;
    for (Number i = 0; i < size; ++i) stack.push(MplsLabel(17000 + i));
    return stack;
}

std::vector<LfibMplsVia> viasAt(Number kind, Number more, MplsLabel label) {
    BoundedMplsLabelStack const same{label.value()};
    BoundedMplsLabelStack const implicitNull{3};
    switch (kind) {
        case 0: return {hop(more, MplsLabelAction::swap, same)};
        case 1:
            return {hop(0, MplsLabelAction::swap, same), hop(1, MplsLabelAction::swap, same),
                    hop(more % 3, MplsLabelAction::swap, same)};
        case 2: {
            auto via = hop(more, MplsLabelAction::swap, implicitNull);
            if (more % 8 == 7) via.intf = {};
            return {via};
        }
        case 3: return {hop(0, MplsLabelAction::push, stackOf(more % 10))};
        case 4:
            return {more % 4 ? hop(0, MplsLabelAction::pop, stackOf(more % 3))
                             : over(IntfId::physical("et1"), {}, MplsLabelAction::pop)};
        case 5: return {over(tunnel(more), stackOf(more / 3 % 3))};
        case 6: {
            std::vector<LfibMplsVia> vias{over(tunnel(more), same),
                                          hop(0, MplsLabelAction::swap, same),
                                          over(tunnel(more + 1), {}, MplsLabelAction::pop)};
            if (more % 2) std::swap(vias[0], vias[1]);
            return vias;
        }
        default: break;
    }
    auto const foreign = IntfId::dynamicTunnel(TunnelId::make(TunnelType(10), 77).value());
    std::vector<LfibMplsVia> vias{over(more % 2 ? foreign : IntfId::nextHopGroup(4), same)};
    if (more % 4 >= 2) vias.push_back(hop(1, MplsLabelAction::swap, same));
    if (more % 8 >= 4) vias.push_back(hop(2, MplsLabelAction::none, same));
    return vias;
}

FecId fecAt(Number more) {
    using Pooltab::Fib::AdjType;
    auto const otherTunnel = TunnelId::make(TunnelType(10), 77).value();
    switch (more % 6) {
        case 0: return FecId::fecIdForAdjType(AdjType::plain, 42);
        case 1: return FecId::fecIdForAdjType(AdjType::plainAlternate, 43);
        case 2: return FecId::fecIdForAdjType(AdjType::tunnel, tiLfaAt(more / 6).value());
        case 3: return FecId::fecIdForAdjType(AdjType::tunnel, otherTunnel);
        case 4: return FecId::fecIdForAdjType(AdjType::srTePolicy, 0x300000000);
        default: return FecId::fecIdForAdjType(AdjType(9), 44);
    }
}

}  // namespace

Mpls::RouteKey routeKeyAt(Number place) {
    return Mpls::RouteKey::fromLabel(MplsLabel(labels[place % labelCount]));
}

Mpls::ConsolidatedLfibRoute routeAt(Number place, Number content) {
    auto const kind = content / 16 % 12;
    auto const more = content % 16;
    Mpls::ConsolidatedLfibRoute route;
    route.key = routeKeyAt(place);
    route.source = Agent::otherApplication;
    route.viaType = LfibViaType::mpls;
    if (kind < 8) {
        route.mplsVias = viasAt(kind, more, route.key.topLabel());
    } else if (kind < 10) {
        route.viaType = LfibViaType::extFec;
        route.extFecVia = Mpls::LfibExtFecVia::popInto(fecAt(more));
        if (more / 6) route.extFecVia.labelAction = MplsLabelAction::push;
    } else if (kind == 10) {
        route.type = Mpls::LfibRouteType::pseudowire;
        route.mplsVias = viasAt(0, more, route.key.topLabel());
    } else {
        constexpr std::array types{LfibViaType::mpls, LfibViaType::unset, LfibViaType::extFec,
                                   LfibViaType(4)};
        route.viaType = types[more % types.size()];
        if (more / 4 % 2) route.mplsVias = {LfibMplsVia()};
    }
    return route;
}

TunnelId tiLfaAt(Number place) {
    return TunnelId::make(TunnelType::tiLfa, 1 + place % tunnelCount);
}

Tunnel::TunnelTable::TiLfaTunnelTableEntry tiLfaEntryAt(Number place, Number content) {
    using enum MplsLabelAction;
    constexpr std::array actions{push, swap, push, swap, push, pop, none};
    auto const action = actions[content % actions.size()];
    auto const via = [&](Number number, Number size, bool withNull) {
        auto stack = stackOf(size);
        if (withNull) stack.push(MplsLabel::implicitNull());
        return MplsVia{
            Wirex::IpGenAddr::ipv4(0x0A000101 + number), IntfId::physical("et3"), {action, stack}};
    };
    Tunnel::TunnelTable::TiLfaTunnelTableEntry entry{
        tiLfaAt(place), via(0, content / 2 % 2, content % 3 == 0), {}};
    if (content / 4 % 3) entry.backupVia = via(1, content / 4 % 3 * 2, content % 5 == 0);
    return entry;
}

}  // namespace Sim
