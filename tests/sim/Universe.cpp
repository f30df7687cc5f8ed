#include "tests/sim/Universe.h"

#include <array>
#include <utility>

namespace Sim {

namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibViaType;
using Pooltab::Fib::FecId;
using SrTePolicy::Protocol;
using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::BoundedMplsLabelStack;
using Wirex::IntfId;
using Wirex::MplsLabel;
using Wirex::MplsLabelAction;

constexpr std::uint32_t noLabel = MplsLabel::null;

// The edges of the ranges of `srlbAt`, and one label that no packet carries.
constexpr std::array<std::uint32_t, CandidateContent::bsids> bsidLabels{
    100000, 100001, 100002, noLabel, 100009, 100010, 1048575, MplsLabel::entropyPlaceholder};

// Of segments first; the binding SIDs among them meet foreign routes.
constexpr std::array<std::uint32_t, labelCount> labels{
    16005, 16006, 16007, 24001, 24002, 100001, 0, 3, 1048575, 100000, 100002, 100009, 100010, 7};
constexpr std::uint32_t segmentLabelCount = 9;

Wirex::IpGenAddr address(char const* text) {
    return Wirex::IpGenAddr::parse(text).value();
}

Wirex::IpGenAddr const& endpointAt(std::uint32_t place) {
    static std::array<Wirex::IpGenAddr, endpointCount> const endpoints{
        address("192.0.2.5"), address("0.0.0.0"), address("2001:db8::5"), address("::")};
    return endpoints[place % endpointCount];
}

SrTePolicy::CandidateId const& candidateIdAt(std::uint32_t place) {
    static std::array<SrTePolicy::CandidateId, candidatesOfPolicy> const candidates{
        SrTePolicy::CandidateId{Protocol::config, address("0.0.0.0"), 0, 1},
        {Protocol::config, address("0.0.0.0"), 0, 2},
        {Protocol::bgp, address("192.0.2.9"), 65001, 1},
        {Protocol::bgp, address("192.0.2.9"), 65002, 1},
        {Protocol::bgp, address("2001:db8::9"), 65001, 1},
        {Protocol::pcep, address("192.0.2.9"), 65001, 7},
        {static_cast<Protocol>(25), address("192.0.2.9"), 65001, 7}};
    return candidates[place % candidatesOfPolicy];
}

SrTePolicy::Originator originatorAt(std::uint32_t place) {
    switch (place) {
        case 0: return {address("192.0.2.9"), 65001};
        case 1: return {address("192.0.2.8"), 65002};
        case 2: return {address("2001:db8::8"), 65001};
        default: return {address("::c000:209"), 65001};  // the number of 192.0.2.9
    }
}

BoundedMplsLabelStack randomStack(Random& random, std::uint32_t size) {
    BoundedMplsLabelStack stack;
    for (std::uint32_t i = 0; i < size; ++i) {
        // Few of them lead anywhere, and those most often.
        auto const place = random.percent(75) ? random(4) : random(segmentLabelCount);
        stack.push(MplsLabel(labels[place]));
    }
    return stack;
}

SrTePolicy::WeightedLabels randomList(Random& random) {
    SrTePolicy::WeightedLabels list;
    auto const size = random.percent(80) ? 1 + random(3) : 1 + random(8);
    list.labels = {MplsLabelAction::push, randomStack(random, size)};
    list.weight = random.percent(60) ? 1 : 2 + random(4);
    return list;
}

std::vector<SrTePolicy::WeightedLabels> listsAt(std::uint32_t set) {
    Random random(set * 977 + 1);
    std::vector<SrTePolicy::WeightedLabels> lists;
    if (set == 0) return lists;
    auto const count = random.percent(60) ? 1 : 2 + random(2);
    for (std::uint32_t i = 0; i < count; ++i) lists.push_back(randomList(random));
    auto& first = lists.front();
    switch (set) {
        case 1: first.labels.stack = {}; break;
        case 2: lists.push_back(first); break;
        case 3: first.labels.stack = randomStack(random, 9); break;
        case 4: first.labels.stack.push(MplsLabel(MplsLabel::entropyPlaceholder)); break;
        case 5: first.weight = 0; break;
        case 6:
            lists.push_back(first);
            lists.back().weight = 7;
            break;
        default: break;
    }
    return lists;
}

LfibMplsVia hop(std::uint32_t number, MplsLabelAction action, BoundedMplsLabelStack const& stack) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001 + number),
            IntfId::physical(number % 2 ? "et2" : "et1"),
            {action, stack}};
}

LfibMplsVia over(IntfId const& intf, BoundedMplsLabelStack const& stack,
                 MplsLabelAction action = MplsLabelAction::push) {
    return {{}, intf, {action, stack}};
}

IntfId tunnel(std::uint32_t place) {
    return IntfId::dynamicTunnel(tiLfaAt(place).value());
}

BoundedMplsLabelStack stackOf(std::uint32_t size) {
    BoundedMplsLabelStack stack;
    for (std::uint32_t i = 0; i < size; ++i) stack.push(MplsLabel(17000 + i));
    return stack;
}

std::vector<LfibMplsVia> viasAt(std::uint32_t kind, std::uint32_t more, MplsLabel label) {
    BoundedMplsLabelStack const same{label.value()};
    BoundedMplsLabelStack const implicitNull{3};
    switch (kind) {
        case 0: return {hop(more, MplsLabelAction::swap, same)};
        case 1:
            return {hop(0, MplsLabelAction::swap, same), hop(1, MplsLabelAction::swap, same),
                    hop(more % 3, MplsLabelAction::swap, same)};
        case 2: return {hop(more, MplsLabelAction::swap, implicitNull)};
        case 3: return {hop(0, MplsLabelAction::push, stackOf(more % 10))};
        case 4:
            return {more % 4 ? hop(0, MplsLabelAction::pop, stackOf(more % 3))
                             : over(IntfId::physical("et1"), {}, MplsLabelAction::pop)};
        case 5: return {over(tunnel(more), stackOf(more / 3 % 3))};
        case 6:
            return {over(tunnel(more), same), hop(0, MplsLabelAction::swap, same),
                    over(tunnel(more + 1), {}, MplsLabelAction::pop)};
        default: break;
    }
    auto const foreign = IntfId::dynamicTunnel(TunnelId::make(TunnelType(10), 77).value());
    std::vector<LfibMplsVia> vias{over(more % 2 ? foreign : IntfId::nextHopGroup(4), same)};
    if (more % 4 >= 2) vias.push_back(hop(1, MplsLabelAction::swap, same));
    if (more % 8 >= 4) vias.push_back(hop(2, MplsLabelAction::none, same));
    return vias;
}

FecId fecAt(std::uint32_t more) {
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

std::uint64_t Random::next() {
    state_ += 0x9E3779B97F4A7C15u;
    auto mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return mixed ^ (mixed >> 31);
}

CandidateContent::CandidateContent(std::uint32_t number) {
    auto const digit = [&number](std::uint32_t base) {
        auto const value = number % base;
        number /= base;
        return value;
    };
    bsid = digit(bsids);
    enlp = digit(enlps);
    preference = digit(preferences);
    originator = digit(originators);
    listSet = digit(listSets);
}

std::uint32_t CandidateContent::number() const {
    return bsid + bsids * (enlp + enlps * (preference +
                                           preferences * (originator + originators * listSet)));
}

Protocol protocolAt(std::uint32_t place) {
    constexpr std::array<Protocol, protocolCount> protocols{
        Protocol::config, Protocol::bgp, Protocol::pcep, static_cast<Protocol>(25)};
    return protocols[place % protocolCount];
}

SrTePolicy::PolicyId policyIdAt(std::uint32_t place) {
    auto const policy = place / candidatesOfPolicy % policyCount;
    return {{endpointAt(policy), 1 + policy / endpointCount}, candidateIdAt(place)};
}

SrTePolicy::PolicyInputEntry entryAt(std::uint32_t place, CandidateContent const& content) {
    SrTePolicy::PolicyInputEntry entry(policyIdAt(place));
    entry.bindingSid = MplsLabel(bsidLabels[content.bsid]);
    entry.segmentList = listsAt(content.listSet);
    entry.enlp = SrTePolicy::Enlp(content.enlp);
    entry.preference = SrTePolicy::Preference(100 * content.preference);
    entry.originator = originatorAt(content.originator);
    return entry;
}

Mpls::RouteKey routeKeyAt(std::uint32_t place) {
    return Mpls::RouteKey::fromLabel(MplsLabel(labels[place % labelCount]));
}

Mpls::ConsolidatedLfibRoute routeAt(std::uint32_t place, std::uint32_t content) {
    auto const kind = content % 12;
    auto const more = content / 12 % 16;
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

TunnelId tiLfaAt(std::uint32_t place) {
    return TunnelId::make(TunnelType::tiLfa, 1 + place % tunnelCount);
}

Tunnel::TunnelTable::TiLfaTunnelTableEntry tiLfaEntryAt(std::uint32_t place,
                                                        std::uint32_t content) {
    auto const action = content % 2 ? MplsLabelAction::swap : MplsLabelAction::push;
    auto const via = [&](std::uint32_t number, std::uint32_t size, bool withNull) {
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

Agent::Srlb srlbAt(std::uint32_t content) {
    switch (content % 8) {
        case 0: return {std::nullopt};
        case 1: return {Mpls::LabelRange(100000, 2)};
        case 2: return {Mpls::LabelRange(100001, 9)};
        case 3: return {Mpls::LabelRange(1048570, 16)};
        case 4: return {Mpls::LabelRange(100000, 0)};
        default: return {Mpls::LabelRange(100000, 10)};
    }
}

Agent::MaxSidDepth depthAt(std::uint32_t content) {
    constexpr std::array<std::uint8_t, 8> depths{0, 1, 2, 3, 4, 6, 10, 255};
    if (content % 10 >= depths.size()) return {};
    return {depths[content % 10]};
}

}  // namespace Sim
