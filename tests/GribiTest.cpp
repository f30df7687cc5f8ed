#include "SrTePolicy/GribiRootSm.h"
#include "tests/SegmentListFixture.h"
#include "tests/support/GribiAftWriter.h"

namespace {

using namespace Gribi;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using testing::ElementsAre;
using testing::IsSupersetOf;
using Wirex::MplsLabel;

constexpr std::uint64_t allOnes = ~0ull;
constexpr SrTePolicy::FecIdRange range{FecId(0x200000000), FecId(0x2ffffffff)};

constexpr std::string_view machines[] = {"GribiRootSm", "GribiNhConfigSm", "GribiPublishSm",
                                         "GribiLfibGenSm"};

// The whole of gRIBI over real segments and segment lists: labels 16 and 17 have routes.
class GribiTest : public SrTePolicy::SegmentListFixture, protected GribiAftWriter {
protected:
    void SetUp() override {
        SegmentListFixture::SetUp();
        root = newRoot();
        route(16, {push("et1", {100})});
        route(17, {push("et2", {100})});
    }
    Quor::Ptr<RootSm> newRoot() {
        return rootSmFactory(agentStatus, config, afts, gribiStatus, tunnelMap, tables, status,
                             exported, tunnels, gribiLfib, SrTePolicy::policyStatusFactory(),
                             fwdStatus, range);
    }
    void crash() {
        SegmentListFixture::crash();
        root = nullptr;
    }
    void restart() {
        crash();
        startAgain();
        run();
        root = newRoot();
    }

    void twoNextHops() {
        nextHop(1, {16});
        nextHop(2, {17, 18});
        group(10, {{1, 3}, {2, 1}});
        group(11, {{2, 1}});
        label(900, 10);
        label(901, 11);
    }

    static std::string fecText(FecId fecId) {
        auto const number = static_cast<std::uint32_t>(fecId.value());
        return fecId == range.indexToFecId(number) ? "fec" + std::to_string(number)
                                                   : fecId.stringValue();
    }
    // LABEL>FEC nhID>TUNNEL nhgID>FEC FEC(LISTxWEIGHT ...)
    std::string gribi() const {
        std::string text;
        for (auto row = gribiLfib->rows().begin(); row; row.next()) {
            text +=
                row.key().stringValue() + ">" + fecText(row.value()->route.extFecVia.fecId) + " ";
        }
        for (auto row = tunnelMap->nhToTunnelMap().begin(); row; row.next()) {
            text += "nh" + row.key().stringValue() + ">" + row.value().stringValue() + " ";
        }
        for (auto row = gribiStatus->nhgToFecEntry().begin(); row; row.next()) {
            text += "nhg" + row.key().stringValue() + ">" + fecText(row.value()) + " ";
        }
        for (auto row = fwdStatus->fec().begin(); row; row.next()) {
            text += fecText(row.key()) + "(";
            for (auto const& via : row.value().vias()) {
                text += " " + std::to_string(via.tunnelId().index()) + "x" +
                        std::to_string(via.weight());
            }
            text += ") ";
        }
        return text;
    }
    std::string outputs() const { return SegmentListFixture::outputs() + gribi(); }

    Quor::Ptr<SrTePolicy::Status> agentStatus = SrTePolicy::statusFactory();
    Quor::Ptr<Config> config = configFactory();
    Quor::Ptr<GribiStatus> gribiStatus = gribiStatusFactory();
    Quor::Ptr<NhToTunnelMap> tunnelMap = nhToTunnelMapFactory();
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus =
        Quor::makePtr<Pooltab::Fib::ForwardingStatus>();
    Quor::Ptr<RootSm> root;

private:
    Watch<NextHopId> tunnelMapWatch_{
        tunnelMap->nhToTunnelMap(),
        [this](auto id) { wrote(tunnelMap->nhToTunnelMap().has(id), "nh", id.stringValue()); }};
    Watch<NextHopGroupId> statusWatch_{
        gribiStatus->nhgToFecEntry(),
        [this](auto id) { wrote(gribiStatus->nhgToFecEntry(id), "nhg", id.stringValue()); }};
    Watch<FecId> fecWatch_{fwdStatus->fec(),
                           [this](auto id) { wrote(fwdStatus->fec(id), "", fecText(id)); }};
    Watch<Mpls::RouteKey> routeWatch_{
        gribiLfib->rows(),
        [this](auto key) { wrote(gribiLfib->rows().has(key), "route", key.stringValue()); }};
};

TEST_F(GribiTest, ANextHopIsAListAGroupAFecAndALabelARoute) {
    TraceLines traces(machines);
    group(10, {{1, 3}, {5, 9}});
    label(900, 10);
    EXPECT_EQ(gribi(), "");
    traces.take();
    nextHop(1, {16, 17});
    EXPECT_EQ(outputs(), "1 [16 17] 1: et1(100 17)\n900>fec0 nh1>13-1 nhg10>fec0 fec0( 1x3) ");
    EXPECT_THAT(takeLog(), ElementsAre("+export 1", "+tunnel 1", "+status 1", "+fec0", "+nhg10",
                                       "+route900", "+nh1"));
    EXPECT_THAT(
        traces.take(),
        ElementsAre("handleNhAftEntry id: 1", "Add/Update of NH id: 1",
                    "handleSegmentListStatusUpdate slId: 1", "reEvaluateNextHopGroups NH id: 1",
                    "Creating fecId: 0x0f00000200000000", "Adding tunnelId: 13-1",
                    "Add or Update of nhgToFecEntry: nhgId= 10 fecId=0x0f00000200000000",
                    "Added the LFIB entry for label: 900"));

    auto expected = routeInto(900, range.indexToFecId(0).value(), Wirex::MplsLabelAction(1));
    expected.extFecVia.payloadType = static_cast<Mpls::LfibPayloadType>(5);
    expected.source = static_cast<Mpls::LFib::Source>(1);
    expected.metric = Mpls::RouteMetric(1);
    EXPECT_EQ(*gribiLfib->consolidatedRoute(keyOf(900)), expected);

    nextHopDel(1);
    EXPECT_EQ(outputs(), "");
    labelDel(900);
    groupDel(10);
    EXPECT_THAT(
        traces.take(),
        ElementsAre("handleNhAftEntry id: 1", "Delete of NH id: 1",
                    "reEvaluateNextHopGroups NH id: 1", "Delete of fecId: 0x0f00000200000000",
                    "Removing the LFIB entry with label: 900",
                    "handleSegmentListStatusUpdate slId: 1", "Delete of mplsAftEntry: label=900",
                    "Removing the LFIB entry with label: 900", "handleNhgAftEntry id: 10",
                    "Delete of nhgId: 10"));
}

TEST_F(GribiTest, AnUpdateOfANextHopTakesItOutAndPutsItBack) {
    twoNextHops();
    takeLog();
    nextHop(2, {17, 18});
    // The groups and the tunnel map let go before the list ends; 11 had nothing else.
    EXPECT_THAT(takeLog(),
                ElementsAre("+fec0", "-fec1", "-nhg11", "-route901", "-nh2", "-export 2",
                            "-tunnel 2", "-status 2", "+export 3", "+tunnel 3", "+status 3",
                            "+fec0", "+fec2", "+nhg11", "+route901", "+nh2"));
    Quor::Ptr<SrTePolicy::SegmentList const> const kept(
        tables->notifyingSegmentListCollection()->segmentList(SegmentListId(3)));
    nextHop(2, {17, 18});  // the same list, as somebody keeps it: no status will be told
    EXPECT_EQ(gribi(),
              "900>fec0 901>fec3 nh1>13-1 nh2>13-3 nhg10>fec0 nhg11>fec3 fec0( 1x3 3x1) "
              "fec3( 3x1) ");
}

TEST_F(GribiTest, OnlyItsOwnListSpeaksForANextHop) {
    nextHop(7, {16});
    auto another = *exported->segmentList(SegmentListId(1));
    another.segmentListId = SegmentListId(9);
    exported->segmentListIs(another);
    status->statusIs(SegmentListId(9), SegmentListResolveError::noError);
    EXPECT_EQ(gribi(), "nh7>13-1 ");
}

TEST_F(GribiTest, ALabelFollowsItsEntryToAnotherGroup) {
    twoNextHops();
    TraceLines traces(machines);
    label(900, 11);
    label(901, 12);
    label(MplsLabel::null, 10);
    labelDel(900);
    EXPECT_THAT(traces.take(), ElementsAre("Add or Update of mplsAftEntry: label=900",
                                           "Added the LFIB entry for label: 900",
                                           "Removing the LFIB entry with label: 901",
                                           "No route for mplsAftEntry: label=1048576",
                                           "Delete of mplsAftEntry: label=900",
                                           "Removing the LFIB entry with label: 900"));
}

TEST_F(GribiTest, OnlyPresentMembersAreFollowed) {
    auto const dump = [this] { return dumpOf(*root); };
    twoNextHops();
    group(10, {{2, 1}, {4, 1}});
    EXPECT_THAT(dump(), testing::HasSubstr("nhToNhgMap #2 \n  nextHopId 2\n  nextHopGroupId 10   "
                                           "nextHopGroupId 11 \n  nextHopId 4\n"));
    label(900, 11);
    EXPECT_THAT(dump(), testing::HasSubstr("nhgIdToLabelsMaps #1 \n  nhgId 11\n"));
    groupDel(10);  // its identifier is held back for 300 seconds
    EXPECT_THAT(dump(),
                testing::HasSubstr("nhToNhgMap #1 \n  nextHopId 2\n  nextHopGroupId 11 \n"));
    clock.advance(299);
    group(12, {{1, 7}});
    clock.advance(2);
    group(13, {{1, 7}});
    EXPECT_EQ(fecText(*gribiStatus->nhgToFecEntry(NextHopGroupId(12))), "fec2");
    EXPECT_EQ(fecText(*gribiStatus->nhgToFecEntry(NextHopGroupId(13))), "fec0");

    auto const ended = publishSmFactory(
        range, afts->nhgAft, gribiStatusFactory(), status, nexthopIdToSegmentListMapFactory(),
        segmentListIdToNexthopIdMapFactory(), Quor::makePtr<Pooltab::Fib::ForwardingStatus>());
    ended->handleDel();
    EXPECT_EQ(dumpOf(*ended), "  Initialized: False \n  nhToNhgMap #0 \n");
}

TEST_F(GribiTest, WhatAClientMaySend) {
    TraceLines traces(machines);
    nextHop(1, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    nextHop(2, {16, 0x100000});
    nextHop(allOnes, {16});
    EXPECT_THAT(traces.take(), ElementsAre("handleNhAftEntry id: 1", "Add/Update of NH id: 1",
                                           "No segment list for NH id: 1 Operation: 3 Stack Size: "
                                           "9 MPLS Label Stack: TOP ( 1 2 3 4 5 6 ELI 8 9 ) BOTTOM",
                                           "handleNhAftEntry id: 2", "Add/Update of NH id: 2",
                                           "No segment list for NH id: 2 Operation: 3 Stack Size: "
                                           "2 MPLS Label Stack: TOP ( 16 1048576 ) BOTTOM",
                                           "handleNhAftEntry id: 18446744073709551615",
                                           "Received invalid NextHop Id : 18446744073709551615"));
    EXPECT_EQ(tables->notifyingSegmentCollection()->uniqueId()().value(), 0u);
    nextHop(1, {16, 2, 3, 4, 5, 6, 7, 0xFFFFF});
    nextHop(2, {16});
    nextHop(allOnes - 1, {17});
    group(10, {{1, 0}, {2, 1ull << 32}, {allOnes - 1, allOnes}, {allOnes, 1}});
    EXPECT_THAT(traces.take(), IsSupersetOf({"Skipping NH id: 1 of weight 0 in nhgId: 10"}));
    EXPECT_EQ(gribi(),
              "nh1>13-1 nh2>13-2 nh18446744073709551614>13-3 nhg10>fec0 fec0( 2x4294967296 "
              "3x18446744073709551615) ");
    nextHop(1, {16, 0x100000});  // the list of before is of no use
    group(10, {{1, 7}});
    EXPECT_EQ(gribi(), "nh2>13-2 nh18446744073709551614>13-3 ");
}

TEST_F(GribiTest, OfTooManyNextHopsTheLowestIdsAreUsed) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> members{{0, 0}};
    for (std::uint64_t id = 601; id > 0; --id) {  // tunnels in the reverse order
        nextHop(id, {16});
        members.emplace_back(id, id);
    }
    nextHop(0, {16});
    TraceLines traces(machines);
    group(10, members);
    auto const vias = [this] { return fwdStatus->fec(range.indexToFecId(0))->vias(); };
    ASSERT_EQ(vias().size(), 600u);
    EXPECT_EQ(vias().front().weight(), 600u);
    EXPECT_EQ(vias().back().weight(), 1u);
    EXPECT_THAT(traces.take(), IsSupersetOf({"More than 600 next hops in nhgId: 10"}));
    nextHopDel(1);
    ASSERT_EQ(vias().size(), 600u);
    EXPECT_EQ(vias().front().weight(), 601u);
    nextHopDel(2);
    EXPECT_EQ(vias().size(), 599u);
}

TEST_F(GribiTest, EitherFlagStopsAndBothStart) {
    twoNextHops();
    takeLog();
    TraceLines traces(machines);
    agentStatus->enabled.valueIs(false);
    EXPECT_FALSE(root->running());
    EXPECT_THAT(takeLog(), ElementsAre("-route900", "-route901", "-fec0", "-fec1", "-nhg10",
                                       "-nhg11", "-nh1", "-nh2", "-export 1", "-tunnel 1",
                                       "-status 1", "-export 2", "-tunnel 2", "-status 2"));
    EXPECT_THAT(
        traces.take(),
        ElementsAre("stopping GribiRootSm", "handleDel",
                    "GribiLfibGenSm is getting deleted, cleanup LFIB entries",
                    "Delete all FECs created by GribPublishSm", "Delete all entries in gribiStatus",
                    "handleDel", "Deleting all Tunnel table entries"));
    config->enabled.valueIs(false);
    agentStatus->enabled.valueIs(true);
    EXPECT_EQ(outputs(), "");
    config->enabled.valueIs(true);
    EXPECT_EQ(gribi(),
              "900>fec0 901>fec1 nh1>13-3 nh2>13-4 nhg10>fec0 nhg11>fec1 fec0( 3x3 4x1) "
              "fec1( 4x1) ");
    traces.take();
    root->handleEnabled();
    EXPECT_THAT(traces.take(), ElementsAre());

    // With lists in the backlog.
    route(16, {push("et3", {100})});
    config->enabled.valueIs(false);
    config->enabled.valueIs(true);
    drain();
    EXPECT_THAT(outputs(),
                testing::StartsWith("5 [16] 1: et3(100)\n6 [17 18] 1: et2(100 18)\n900"));
    agentStatus = nullptr;
    config = nullptr;
}

// Rows that a crash left behind: of groups, next hops and labels that have gone, FECs that no row
// names, and rows whose FEC is missing or not in the range. A group has come meanwhile.
TEST_F(GribiTest, AStartRewritesInPlaceThenSweeps) {
    twoNextHops();
    group(12, {{1, 1}});
    label(902, 12);
    crash();
    groupDel(12);
    group(13, {{1, 1}});
    labelDel(902);
    fwdStatus->fecDel(range.indexToFecId(1));  // of group 11
    for (auto const stale : {range.indexToFecId(3), FecId(0x0600000200000009)}) {
        fwdStatus->fecCommit(Pooltab::Fib::Fec(stale));
    }
    FecId const policyFec(0x0f00000100000000);
    fwdStatus->fecCommit(Pooltab::Fib::Fec(policyFec));
    gribiStatus->nhgToFecEntryIs(NextHopGroupId(15), FecId(0x0f00000300000000));
    gribiStatus->nhgToFecEntryIs(NextHopGroupId(16), FecId(0x0f00000300000005));
    tunnelMap->nhToTunnelMapIs(NextHopId(), SegmentListId(9).getTunnelId());
    Mpls::LfibWriter(gribiLfib).lfibRouteIs(routeOver(16, {}));
    startAgain();
    run();
    takeLog();
    TraceLines traces(machines);
    root = newRoot();
    EXPECT_THAT(takeLog(), ElementsAre("-nh18446744073709551615", "+fec1", "+fec4", "+nhg13",
                                       "-fec2", "-nhg12", "-nhg15", "-nhg16", "-0x0600000200000009",
                                       "-fec3", "-route16", "-route902"));
    EXPECT_THAT(traces.take(),
                IsSupersetOf({"starting GribiRootSm", "handleInitialized",
                              "cleanupUnusedGribiStatus", "GribiLfibGenSm initialized",
                              "Cleanup stale LFIB entries", "Removed LFIB entry for label: 16"}));
    EXPECT_TRUE(fwdStatus->fecDel(policyFec));
    clock.advance(301);
    takeLog();
    for (auto const id : {17u, 18u, 19u}) group(id, {{1, 1}});
    EXPECT_THAT(takeLog(), ElementsAre("+fec2", "+nhg17", "+fec3", "+nhg18", "+fec5", "+nhg19"));
    for (auto const id : {13u, 17u, 18u, 19u}) groupDel(id);

    twoNextHops();
    crash();
    config->enabled.valueIs(false);
    takeLog();
    restart();
    EXPECT_THAT(takeLog(), ElementsAre("-route900", "-route901", "-fec0", "-fec6", "-nhg10",
                                       "-nhg11", "-nh1", "-nh2"));
    drain();
    EXPECT_EQ(outputs(), "");
}

TEST_F(GribiTest, TheProcessKnowsTheNewestRootThatIsStillThere) {
    auto const printed = [] {
        testing::internal::CaptureStdout();
        RootSm::dumpStateCallback();
        return testing::internal::GetCapturedStdout();
    };
    nextHop(1, {16});
    group(10, {{1, 1}});
    label(900, 10);
    auto const whole = printed();
    EXPECT_EQ(whole,
              "SrTePolicy GribiRootSm\n"
              "\n---------------------------------------------------\n"
              "  ------GribiRootSm------\n"
              "  \n------nhConfigSm------\n"
              "  Initialized: True \n"
              "  nhToSlMap #1 \n  nextHopId 1\n  segmentListId 1 \n"
              "  slToNhMap #1 \n  segmentListId 1 \n  nextHopId 1\n"
              "  \n------publishSm------\n"
              "  Initialized: True \n"
              "  nhToNhgMap #1 \n  nextHopId 1\n  nextHopGroupId 10 \n"
              "  \n------lfibGenSm------\n"
              "  nhgIdToLabelsMaps #1 \n  nhgId 10\n  label: 900\n"
              "\n---------------------------------------------------\n");
    std::string const none = "SrTePolicy GribiRootSm not found\n";
    {
        auto const disabled = configFactory();
        disabled->enabled.valueIs(false);
        auto const second = rootSmFactory(
            nullptr, disabled, gribiAftsFactory(), gribiStatusFactory(), nhToTunnelMapFactory(),
            tables, status, exported, tunnels, Quor::makePtr<Mpls::LfibStatus>(), nullptr,
            Quor::makePtr<Pooltab::Fib::ForwardingStatus>(), range);
        EXPECT_THAT(printed(), testing::HasSubstr("\n  ------GribiRootSm------\n\n---"));
    }
    EXPECT_EQ(printed(), none);
    restart();  // a crash
    EXPECT_EQ(printed(), whole);
    auto const third = newRoot();
    root->handleDel();
    root = nullptr;
    EXPECT_NE(printed(), none);
    third->handleDel();
    EXPECT_EQ(printed(), none);
    root = newRoot();
}

}  // namespace
