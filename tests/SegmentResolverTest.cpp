#include <string>
#include <vector>

#include "Platform/Quor/RangeError.h"
#include "SrTePolicy/SrTePolicySegmentResolver.h"
#include "tests/support/Captures.h"
#include "tests/support/Routes.h"

namespace SrTePolicy {
namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibViaType;
using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::IntfId;

using Route = Mpls::ConsolidatedLfibRoute;

Route routeOf(LfibViaType viaType) {
    auto route = ::routeOver(16, {});
    route.viaType = viaType;
    return route;
}
Route routeOver(std::vector<LfibMplsVia> vias) {
    return ::routeOver(16, std::move(vias));
}
Route routeInto(FecId fecId) {
    return ::routeInto(16, fecId.value());
}
Route routeInto(AdjType type, std::uint64_t payload) {
    return routeInto(FecId::fecIdForAdjType(type, payload));
}
Route pseudowire() {
    auto route = routeOver({});
    route.type = Mpls::LfibRouteType::pseudowire;
    return route;
}

LfibMplsVia viaOn(IntfId intf) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001), std::move(intf), Wirex::pushOperation({100})};
}
LfibMplsVia plain(char const* name = "Et1") {
    return push(name, {100});
}
LfibMplsVia absent() {
    return {};
}
LfibMplsVia nhg() {
    return viaOn(IntfId::nextHopGroup(1));
}
LfibMplsVia over(TunnelType type) {
    return viaOn(IntfId::dynamicTunnel(TunnelId::make(type, 5).value()));
}
FecId tunnelFec(TunnelType type) {
    return FecId::fecIdForAdjType(AdjType::tunnel, TunnelId::make(type, 5).value());
}

class SegmentResolverTest : public testing::Test {
protected:
    Quor::Ptr<SegmentResolveResult const> resolve(Route const& route) {
        Mpls::LfibWriter(lfib).lfibRouteIs(route);
        return resolver->resolveSegmentMpls(Wirex::MplsLabel(16));
    }

    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<SegmentResolver> resolver = segmentResolverFactory(lfib);
};

TEST_F(SegmentResolverTest, ALabelWithoutARouteIsUnresolved) {
    TraceLines traces("SrTePolicySegmentResolver");
    for (std::uint32_t const label : {0u, 16u}) {
        auto const result = resolver->resolveSegmentMpls(Wirex::MplsLabel(label));
        EXPECT_EQ(result->state, SegmentResolveState::unresolved);
        EXPECT_EQ(result->viaInfo, nullptr);
    }
    EXPECT_THAT(traces.take(), testing::ElementsAre("LFIB route doesnt exist for label 0",
                                                    "LFIB route doesnt exist for label 16"));
    Mpls::LfibWriter(lfib).lfibRouteIs(::routeOver(0, {plain()}));
    EXPECT_EQ(resolver->resolveSegmentMpls(Wirex::MplsLabel(0))->state,
              SegmentResolveState::resolved);
}

TEST_F(SegmentResolverTest, StateViasAndTracesByTheShapeOfTheRoute) {
    using enum SegmentResolveState;
    int const noInfo = -1;
    std::string const isPseudowire = "Skipping resolution via pseudowire for label 16";
    std::string const noSet = "ViaSet doesnt exist for LFIB route 16";
    std::string const empty = "Vias are empty for LFIB route 16";
    std::string const missing = "Via unavailable for label 16";
    std::string const group = "Skipping resolution via NHG 16";
    std::string const tunnel = "Skipping resolution via dynamic tunnel 16";
    struct {
        Route route;
        SegmentResolveState state;
        int vias;
        std::vector<std::string> traces;
    } const cases[] = {
        {pseudowire(), unresolved, noInfo, {isPseudowire}},
        {routeOf(LfibViaType::unset), unresolved, noInfo, {noSet}},
        {routeOf(static_cast<LfibViaType>(4)), unresolved, 0, {}},

        {routeOver({plain()}), resolved, 1, {}},
        {routeOver({plain(), plain()}), resolved, 2, {}},
        {routeOver({}), incomplete, 0, {empty}},
        {routeOver({absent(), plain()}), resolved, 1, {missing}},
        {routeOver({absent()}), incomplete, 0, {missing, empty}},
        {routeOver({nhg(), nhg()}), incomplete, 0, {group, group, empty}},
        {routeOver({nhg(), plain()}), resolved, 1, {group}},
        {routeOver({over(TunnelType::tiLfa)}), resolvedOverTiLfa, 1, {}},
        {routeOver({over(TunnelType::tiLfa), plain()}), resolvedOverTiLfa, 2, {}},
        {routeOver({over(TunnelType::srTePolicy)}), incomplete, 0, {tunnel, empty}},
        {routeOver({over(TunnelType::srTeSegmentList), plain()}), resolved, 1, {tunnel}},
        {routeOver({viaOn(IntfId::hierarchicalFec(7))}), resolved, 1, {}},

        {routeOf(LfibViaType::extFec), incomplete, 0, {}},
        {routeInto(AdjType::plain, 7), resolved, 0, {}},
        {routeInto(AdjType::plainAlternate, 7), resolved, 0, {}},
        {routeInto(tunnelFec(TunnelType::tiLfa)), resolvedOverTiLfa, 0, {}},
        {routeInto(tunnelFec(TunnelType::srTePolicy)), unresolved, 0, {tunnel}},
        {routeInto(AdjType(15), 7), unresolved, 0, {"Unresolvable adjacency type: 15"}},
        {routeInto(AdjType(25), 7), unresolved, 0, {"Unresolvable adjacency type: 25"}},
    };
    TraceLines traces("SrTePolicySegmentResolver");
    for (auto const& expected : cases) {
        SCOPED_TRACE(&expected - cases);
        auto const result = resolve(expected.route);
        EXPECT_EQ(result->state, expected.state);
        EXPECT_EQ(traces.take(), expected.traces);
        ASSERT_EQ(result->viaInfo == nullptr, expected.vias == noInfo);
        if (!result->viaInfo) continue;
        EXPECT_EQ(result->viaInfo->viaType(), expected.route.viaType);
        EXPECT_EQ(static_cast<int>(result->viaInfo->mplsVia().size()), expected.vias);
        // Only a route that resolves leaves its FEC behind.
        EXPECT_EQ(result->viaInfo->extFecVia(),
                  expected.state == unresolved ? Mpls::LfibExtFecVia() : expected.route.extFecVia);
    }
}

TEST_F(SegmentResolverTest, AcceptedViasKeepTheirKeysAndTheInfoPrintsThem) {
    auto bottom = plain("Et2");
    bottom.nextHop = Wirex::IpGenAddr();
    bottom.operation = {Wirex::MplsLabelAction::swap, {7, 0x100001}};
    auto const result = resolve(routeOver({plain(), nhg(), bottom}));
    auto via = result->viaInfo->mplsVia().begin();
    EXPECT_EQ(via.key().index.value(), 0);
    via.next();
    EXPECT_EQ(via.key().index.value(), 2);
    EXPECT_EQ(via.value(), bottom);
    EXPECT_EQ(result->viaInfo->stringValue(),
              "ViaType: 1, Vias:  nh: 10.0.0.1 intf: Et1 stack: Operation: 3 Stack Size: 1 MPLS "
              "Label Stack: TOP ( 100 ) BOTTOM, nh:  intf: Et2 stack: Operation: 2 Stack Size: 2 "
              "MPLS Label Stack: TOP ( ELI EL ) BOTTOM");
    EXPECT_EQ(resolve(routeInto(AdjType::plain, 7))->viaInfo->stringValue(),
              "ViaType: 10, Ext-FEC: 0x0000000000000007, action: 1");
}

TEST_F(SegmentResolverTest, NumbersOutOfTheirRange) {
    auto const tunnelId = testing::ThrowsMessage<Quor::RangeError>(
        "TunnelId::value < TunnelId::minValue or > TunnelId::maxValue not allowed");
    auto const beyond = TunnelId::maxValue + 1;
    EXPECT_THAT([&] { resolve(routeOver({viaOn(IntfId::dynamicTunnel(beyond))})); }, tunnelId);
    EXPECT_THAT([&] { resolve(routeInto(AdjType::tunnel, beyond)); }, tunnelId);
    EXPECT_EQ(resolve(routeOver(std::vector(600, plain())))->viaInfo->mplsVia().size(), 600u);
    EXPECT_THAT([&] { resolve(routeOver(std::vector(601, plain()))); },
                testing::ThrowsMessage<Quor::RangeError>(
                    "LfibViaIndexRange::value < LfibViaIndexRange::min or > "
                    "LfibViaIndexRange::max not allowed"));
    EXPECT_DEATH(resolve(routeInto(AdjType(26), 7)), "FecId::adjType");
}

}  // namespace
}  // namespace SrTePolicy
