#include <string>
#include <vector>

#include "Platform/Mpls/LfibWriter.h"
#include "Platform/Quor/RangeError.h"
#include "SrTePolicy/SrTePolicySegmentResolver.h"
#include "tests/TraceLines.h"

namespace SrTePolicy {
namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibViaType;
using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::IntfId;
using State = SegmentResolveState;

using Route = Mpls::ConsolidatedLfibRoute;

Route routeOf(LfibViaType viaType, std::vector<LfibMplsVia> vias = {}) {
    Route route;
    route.key = Mpls::RouteKey::fromLabel(Wirex::MplsLabel(16));
    route.viaType = viaType;
    route.mplsVias = std::move(vias);
    return route;
}
Route routeOver(std::vector<LfibMplsVia> vias) {
    return routeOf(LfibViaType::mpls, std::move(vias));
}
Route routeInto(AdjType type, std::uint64_t payload) {
    auto route = routeOf(LfibViaType::extFec);
    route.extFecVia = Mpls::LfibExtFecVia::popInto(FecId::fecIdForAdjType(type, payload));
    return route;
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
    return viaOn(IntfId::physical(name));
}
LfibMplsVia absent() {
    return {};
}
LfibMplsVia nhg() {
    return viaOn(IntfId::nextHopGroup(1));
}
std::uint64_t tunnel(TunnelType type) {
    return TunnelId::make(type, 5).value();
}
LfibMplsVia over(TunnelType type) {
    return viaOn(IntfId::dynamicTunnel(tunnel(type)));
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
        EXPECT_EQ(result->state, State::unresolved);
        EXPECT_EQ(result->viaInfo, nullptr);
    }
    EXPECT_THAT(traces.take(), testing::ElementsAre("LFIB route doesnt exist for label 0",
                                                    "LFIB route doesnt exist for label 16"));
    auto route = routeOver({plain()});
    route.key = Mpls::RouteKey::fromLabel(Wirex::MplsLabel(0));
    Mpls::LfibWriter(lfib).lfibRouteIs(route);
    EXPECT_EQ(resolver->resolveSegmentMpls(Wirex::MplsLabel(0))->state, State::resolved);
}

TEST_F(SegmentResolverTest, StateAndForwardingByTheShapeOfTheRoute) {
    int const none = -1;  // no via info
    char const* const noVias = "Vias are empty for LFIB route 16";
    char const* const otherTunnel = "Skipping resolution via dynamic tunnel 16";
    struct {
        char const* shape;
        Route route;
        State state;
        int vias;
        std::vector<std::string> traces;
    } const cases[] = {
        {"pseudowire",
         pseudowire(),
         State::unresolved,
         none,
         {"Skipping resolution via pseudowire for label 16"}},
        {"no via set",
         routeOf(LfibViaType::unset),
         State::unresolved,
         none,
         {"ViaSet doesnt exist for LFIB route 16"}},
        {"another via type", routeOf(static_cast<LfibViaType>(4)), State::unresolved, 0, {}},

        {"one via", routeOver({plain()}), State::resolved, 1, {}},
        {"equal vias", routeOver({plain(), plain()}), State::resolved, 2, {}},
        {"an empty set", routeOver({}), State::incomplete, 0, {noVias}},
        {"a missing via",
         routeOver({absent(), plain()}),
         State::resolved,
         1,
         {"Via unavailable for label 16"}},
        {"missing vias only",
         routeOver({absent()}),
         State::incomplete,
         0,
         {"Via unavailable for label 16", noVias}},
        {"next-hop groups only",
         routeOver({nhg(), nhg()}),
         State::incomplete,
         0,
         {"Skipping resolution via NHG 16", "Skipping resolution via NHG 16", noVias}},
        {"a group and a via",
         routeOver({nhg(), plain()}),
         State::resolved,
         1,
         {"Skipping resolution via NHG 16"}},
        {"over TI-LFA", routeOver({over(TunnelType::tiLfa)}), State::resolvedOverTiLfa, 1, {}},
        {"plain and TI-LFA",
         routeOver({over(TunnelType::tiLfa), plain()}),
         State::resolvedOverTiLfa,
         2,
         {}},
        {"over a policy's tunnel",
         routeOver({over(TunnelType::srTePolicy)}),
         State::incomplete,
         0,
         {otherTunnel, noVias}},
        {"another tunnel and a via",
         routeOver({over(TunnelType::srTeSegmentList), plain()}),
         State::resolved,
         1,
         {otherTunnel}},
        {"a hierarchical FEC",
         routeOver({viaOn(IntfId::hierarchicalFec(7))}),
         State::resolved,
         1,
         {}},

        {"no FEC", routeOf(LfibViaType::extFec), State::incomplete, 0, {}},
        {"plain FEC", routeInto(AdjType::plain, 7), State::resolved, 0, {}},
        {"alternate FEC", routeInto(AdjType::plainAlternate, 7), State::resolved, 0, {}},
        {"a TI-LFA FEC",
         routeInto(AdjType::tunnel, tunnel(TunnelType::tiLfa)),
         State::resolvedOverTiLfa,
         0,
         {}},
        {"another tunnel's FEC",
         routeInto(AdjType::tunnel, tunnel(TunnelType::srTePolicy)),
         State::unresolved,
         0,
         {otherTunnel}},
        {"a policy's FEC",
         routeInto(AdjType::srTePolicy, 0x100000000),
         State::unresolved,
         0,
         {"Unresolvable adjacency type: 15"}},
        {"the last type",
         routeInto(static_cast<AdjType>(25), 7),
         State::unresolved,
         0,
         {"Unresolvable adjacency type: 25"}},
    };
    TraceLines traces("SrTePolicySegmentResolver");
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.shape);
        auto const result = resolve(expected.route);
        EXPECT_EQ(result->state, expected.state);
        EXPECT_EQ(traces.take(), expected.traces);
        if (expected.vias == none) {
            EXPECT_EQ(result->viaInfo, nullptr);
            continue;
        }
        ASSERT_NE(result->viaInfo, nullptr);
        EXPECT_EQ(result->viaInfo->viaType(), expected.route.viaType);
        EXPECT_EQ(static_cast<int>(result->viaInfo->mplsVia().size()), expected.vias);
        // Only a route that resolves leaves its FEC behind.
        bool const usable = expected.state != State::unresolved;
        EXPECT_EQ(result->viaInfo->extFecVia(),
                  usable ? expected.route.extFecVia : Mpls::LfibExtFecVia());
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

TEST_F(SegmentResolverTest, ViaInfosAreEditedByKey) {
    auto const info = segmentViaInfoFactory(LfibViaType::mpls);
    Mpls::LfibViaKey const first{{}, Mpls::LfibViaIndexRange(0)};
    Mpls::LfibViaKey const second{{}, Mpls::LfibViaIndexRange(1)};
    info->mplsViaIs(first, plain());
    info->mplsViaIs(second, plain());
    info->mplsViaIs(first, plain("Et9"));
    EXPECT_EQ(*info->mplsVia().find(first), plain("Et9"));
    info->mplsViaDel(first);
    EXPECT_EQ(info->mplsVia().size(), 1u);
    info->mplsViaDelAll();
    EXPECT_TRUE(info->mplsVia().empty());
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
    EXPECT_DEATH(resolve(routeInto(static_cast<AdjType>(26), 7)), "FecId::adjType");
}

}  // namespace
}  // namespace SrTePolicy
