#include "SrTePolicy/GribiNhConfigSm.h"
#include "tests/support/MachineTest.h"

namespace {

using namespace Gribi;
using SrTePolicy::DistinguisherId;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using testing::ElementsAre;

constexpr std::uint64_t allOnes = NextHopId::invalid;

// Lists are resolved by hand: nothing below the machine gives them a status.
class GribiNhConfigSmTest : public RestartedTest {
protected:
    using Labels = std::vector<std::uint32_t>;

    void SetUp() override { start(); }
    void start() {
        sm = nhConfigSmFactory(afts->nhAft, tables, nhToSl, slToNh, tunnelMap, status, exported);
        sm->handleInitialized();
    }
    // Nobody hears of the end of the lists; they come back under their old identities.
    void restart() override {
        sm = nullptr;
        nhToSl = nexthopIdToSegmentListMapFactory();
        slToNh = segmentListIdToNexthopIdMapFactory();
        tables = SrTePolicy::coreDedupTablesFactory();
        auto const references = SrTePolicy::reinternSurvivingLists(tables, exported);
        start();
    }

    void nextHop(std::uint64_t id, Labels const& labels) {
        Wirex::MplsLabelOperation operation;
        for (auto const label : labels) operation.stack.append(Wirex::MplsLabel(label));
        afts->nhAft->nhAftEntryIs({NextHopId(id), operation});
        if (auto const* const list = nhToSl->segmentList(NextHopId(id))) exportList(*list);
    }
    void nextHopDel(std::uint64_t id) { afts->nhAft->nhAftEntryDel(NextHopId(id)); }
    void exportList(SrTePolicy::SegmentList const& list) {
        SrTePolicy::Export::SegmentList copy;
        copy.segmentListId = list.segmentListId();
        copy.policyId = list.policyId();
        copy.distinguisherId = list.distinguisherId();
        copy.size = list.size();
        for (std::uint32_t i = 0; i < list.size(); ++i) copy.segment[i] = list.segmentLabel(i);
        exported->segmentListIs(copy);
    }
    void resolved(std::uint32_t id, SegmentListResolveError error = {}) {
        status->statusIs(SegmentListId(id), error);
    }
    Quor::Ptr<SrTePolicy::SegmentList const> listOf(std::uint64_t id) {
        return nhToSl->segmentList(NextHopId(id));
    }

    // NH -> LIST or TUNNEL
    std::string lists() const {
        std::string text;
        for (auto row = nhToSl->nhToSlEntry().begin(); row; row.next()) {
            auto const id = row.value()->segmentListId();
            EXPECT_EQ(*slToNh->nextHopId(id), row.key());
            text += row.key().stringValue() + "->" + id.stringValue() + " ";
        }
        EXPECT_EQ(slToNh->slToNhEntry().size(), nhToSl->nhToSlEntry().size());
        return text;
    }
    std::string outputs() const override {
        std::string text;
        for (auto row = tunnelMap->nhToTunnelMap().begin(); row; row.next()) {
            text += row.key().stringValue() + "->" + row.value().stringValue() + " ";
        }
        return text;
    }

    Quor::Ptr<GribiAfts> afts = gribiAftsFactory();
    Quor::Ptr<NhToTunnelMap> tunnelMap = nhToTunnelMapFactory();
    Quor::Ptr<SrTePolicy::SegmentListStatus> status = SrTePolicy::segmentListStatusFactory();
    Quor::Ptr<SrTePolicy::Export::SegmentListCollection> exported =
        SrTePolicy::Export::segmentListCollectionFactory();
    Quor::Ptr<SrTePolicy::CoreDedupTables> tables = SrTePolicy::coreDedupTablesFactory();
    Quor::Ptr<NexthopIdToSegmentListMap> nhToSl = nexthopIdToSegmentListMapFactory();
    Quor::Ptr<SegmentListIdToNexthopIdMap> slToNh = segmentListIdToNexthopIdMapFactory();
    Quor::Ptr<NhConfigSm> sm;
    Watch<NextHopId> watch{tunnelMap->nhToTunnelMap(), [this](auto const& id) {
                               wrote(tunnelMap->nhToTunnelMap().has(id), "", id.stringValue());
                           }};
};

TEST_F(GribiNhConfigSmTest, EveryNextHopHasAListOfItsOwnThatTheTunnelMapFollows) {
    nextHop(0, {16, 17});
    nextHop(7, {16, 17});
    nextHop(8, {});
    EXPECT_EQ(lists(), "0->1 7->2 8->3 ");
    EXPECT_EQ(outputs(), "");
    auto const list = listOf(7);
    EXPECT_EQ(list->distinguisherId(), DistinguisherId(7));
    EXPECT_EQ(list->policyId(), SrTePolicy::PolicyId::lowest({{}, 0}));
    EXPECT_EQ(list->segmentLabel(0), Wirex::MplsLabel(16));

    resolved(2, SegmentListResolveError::exceedsMsd);  // any status counts
    resolved(1, SegmentListResolveError::noError);
    resolved(9, SegmentListResolveError::noError);  // nobody's
    EXPECT_EQ(outputs(), "0->13-1 7->13-2 ");
    status->statusDel(SegmentListId(2));
    EXPECT_THAT(takeLog(), ElementsAre("+7", "+0", "-7"));
    EXPECT_EQ(dumpOf(*sm),
              "  Initialized: True \n"
              "  nhToSlMap #3 \n"
              "  nextHopId 0\n  segmentListId 1 \n"
              "  nextHopId 7\n  segmentListId 2 \n"
              "  nextHopId 8\n  segmentListId 3 \n"
              "  slToNhMap #3 \n"
              "  segmentListId 1 \n  nextHopId 0\n"
              "  segmentListId 2 \n  nextHopId 7\n"
              "  segmentListId 3 \n  nextHopId 8\n");
}

TEST_F(GribiNhConfigSmTest, ANextHopThatIsWrittenAgainGoesAndComesBackAsANewList) {
    nextHop(7, {16});
    nextHop(8, Labels(9, 16));
    resolved(1);
    std::vector<std::string> order;
    Watch<NextHopId> const maps(nhToSl->nhToSlEntry(), [&](auto const& id) {
        order.push_back(nhToSl->segmentList(id) ? "+nhToSl" : "-nhToSl");
    });
    Watch<SegmentListId> const inverse(slToNh->slToNhEntry(), [&](auto const& id) {
        order.push_back(slToNh->nextHopId(id) ? "+slToNh" : "-slToNh");
    });
    Watch<NextHopId> const tunnels(tunnelMap->nhToTunnelMap(),
                                   [&](auto const&) { order.push_back("tunnelMap"); });
    auto const& live = *tables->notifyingSegmentListCollection();
    Watch<SrTePolicy::NotifyingSegmentListCollection::NotifierPtr> const ends(
        live.notifierSubject(), [&](auto const& notifier) {
            order.push_back(live.segmentListNotifier(notifier) ? "+list" : "-list");
        });
    TraceLines traces("GribiNhConfigSm");
    nextHop(7, {16});
    EXPECT_EQ(lists(), "7->2 ");
    EXPECT_THAT(order, ElementsAre("-slToNh", "-nhToSl", "tunnelMap", "-list", "+list", "+nhToSl",
                                   "+slToNh"));
    nextHopDel(7);
    nextHopDel(8);
    EXPECT_THAT(traces.take(), ElementsAre("handleNhAftEntry id: 7", "Add/Update of NH id: 7",
                                           "handleNhAftEntry id: 7", "Delete of NH id: 7",
                                           "handleNhAftEntry id: 8", "Delete of NH id: 8"));
    EXPECT_EQ(lists(), "");
}

TEST_F(GribiNhConfigSmTest, OnlyTheCurrentListSpeaksForItsNextHop) {
    nextHop(7, {16});
    auto const first = listOf(7);  // somebody keeps it
    resolved(1);
    nextHop(7, {17});
    exportList(*first);
    EXPECT_EQ(outputs(), "");
    resolved(1, SegmentListResolveError::noError);
    EXPECT_EQ(outputs(), "");
    resolved(2);
    status->statusDel(SegmentListId(1));
    EXPECT_EQ(outputs(), "7->13-2 ");

    auto const kept = listOf(7);
    nextHop(7, {17});  // the same list: no status will be told
    EXPECT_EQ(lists(), "7->2 ");
    EXPECT_EQ(outputs(), "7->13-2 ");
    nextHopDel(7);
    resolved(2, SegmentListResolveError::noError);
    EXPECT_EQ(outputs(), "");
}

TEST_F(GribiNhConfigSmTest, WhatNoListCanHoldIsNotInterned) {
    Labels const bad[] = {{1, 2, 3, 4, 5, 6, 7, 8, 9}, Labels(20, 16), {16, 0x100000}, {0x100001}};
    std::uint64_t id = 1;
    for (auto const& labels : bad) nextHop(id++, labels);
    TraceLines traces("GribiNhConfigSm");
    nextHop(allOnes, {16});
    nextHopDel(allOnes);
    EXPECT_THAT(traces.take(), ElementsAre("handleNhAftEntry id: 18446744073709551615",
                                           "Received invalid NextHop Id : 18446744073709551615",
                                           "handleNhAftEntry id: 18446744073709551615",
                                           "Received invalid NextHop Id : 18446744073709551615"));
    EXPECT_EQ(lists(), "");
    EXPECT_EQ(tables->notifyingSegmentCollection()->uniqueId()().value(), 0u);

    nextHop(1, {1, 2, 3, 4, 5, 6, 7, 0xFFFFF});
    nextHop(allOnes - 1, {0});
    resolved(1);
    EXPECT_EQ(lists(), "1->1 18446744073709551614->2 ");
    nextHop(1, bad[0]);
    EXPECT_EQ(lists(), "18446744073709551614->2 ");
    EXPECT_EQ(outputs(), "");
}

TEST_F(GribiNhConfigSmTest, AStartKeepsARowOnlyIfItIsStillTrue) {
    for (std::uint32_t id = 1; id <= 4; ++id) {
        nextHop(id, {16});
        resolved(id);
    }
    sm = nullptr;
    nextHopDel(2);
    nextHop(3, {0x100000});
    status->statusDel(SegmentListId(4));
    tunnelMap->nhToTunnelMapIs(NextHopId(), SegmentListId(9).getTunnelId());
    log.clear();
    restart();
    EXPECT_EQ(outputs(), "1->13-1 ");
    EXPECT_THAT(takeLog(), ElementsAre("-4", "-2", "-3", "-18446744073709551615"));
}

TEST_F(GribiNhConfigSmTest, TheEndEmptiesTheMapsAndBeforeTheStartNothingHappens) {
    restartsHitless = false;
    nextHop(7, {16});
    resolved(1);
    TraceLines traces("GribiNhConfigSm");
    sm->handleDel();
    EXPECT_EQ(lists() + outputs(), "");
    EXPECT_THAT(traces.take(), ElementsAre("handleDel", "Deleting all Tunnel table entries"));
    nextHop(7, {16});
    EXPECT_EQ(lists(), "");
    sm = nhConfigSmFactory(afts->nhAft, tables, nhToSl, slToNh, tunnelMap, status, exported);
    nextHop(8, {16});
    EXPECT_EQ(lists(), "");
    sm->handleInitialized();
    EXPECT_EQ(lists(), "7->2 8->3 ");
}

}  // namespace
