#include "SrTePolicy/GribiNhConfigSm.h"
#include "tests/support/GribiAftWriter.h"
#include "tests/support/MachineTest.h"

namespace {

using namespace Gribi;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using testing::ElementsAre;

constexpr std::uint64_t allOnes = NextHopId::invalid;

// Lists are exported and resolved by hand.
class GribiNhConfigSmTest : public RestartedTest, protected GribiAftWriter {
protected:
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

    Quor::Ptr<SrTePolicy::SegmentList const> listOf(std::uint64_t id) const {
        return nhToSl->segmentList(NextHopId(id));
    }
    void resolved(std::uint64_t id) { resolved(*listOf(id)); }
    void resolved(SrTePolicy::SegmentList const& list,
                  SegmentListResolveError error = SegmentListResolveError::exceedsMsd) {
        SrTePolicy::Export::SegmentList copy;
        copy.segmentListId = list.segmentListId();
        copy.policyId = list.policyId();
        copy.distinguisherId = list.distinguisherId();
        copy.size = list.size();
        for (std::uint32_t i = 0; i < list.size(); ++i) copy.segment[i] = list.segmentLabel(i);
        exported->segmentListIs(copy);
        status->statusIs(list.segmentListId(), error);
    }
    // NH->LIST, both maps
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
    // NH->TUNNEL
    std::string outputs() const override {
        std::string text;
        for (auto row = tunnelMap->nhToTunnelMap().begin(); row; row.next()) {
            text += row.key().stringValue() + "->" + row.value().stringValue() + " ";
        }
        return text;
    }

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
    EXPECT_EQ(listOf(7)->distinguisherId(), SrTePolicy::DistinguisherId(7));
    EXPECT_EQ(listOf(7)->policyId(), SrTePolicy::PolicyId::lowest({{}, 0}));
    EXPECT_EQ(listOf(7)->segmentLabel(0), Wirex::MplsLabel(16));

    EXPECT_EQ(outputs(), "");
    resolved(7);  // any status counts
    resolved(0);
    EXPECT_EQ(outputs(), "0->13-1 7->13-2 ");
    status->statusDel(SegmentListId(2));
    EXPECT_THAT(takeLog(), ElementsAre("+7", "+0", "-7"));
    nextHopDel(8);
    EXPECT_EQ(dumpOf(*sm),
              "  Initialized: True \n"
              "  nhToSlMap #2 \n"
              "  nextHopId 0\n  segmentListId 1 \n"
              "  nextHopId 7\n  segmentListId 2 \n"
              "  slToNhMap #2 \n"
              "  segmentListId 1 \n  nextHopId 0\n"
              "  segmentListId 2 \n  nextHopId 7\n");
}

TEST_F(GribiNhConfigSmTest, OnlyTheCurrentListSpeaksForItsNextHop) {
    nextHop(7, {16});
    auto const first = listOf(7);  // somebody keeps it
    resolved(7);
    nextHop(7, {17});
    EXPECT_EQ(lists(), "7->2 ");
    EXPECT_EQ(outputs(), "");
    resolved(*first, SegmentListResolveError::noError);
    EXPECT_EQ(outputs(), "");
    resolved(7);
    status->statusDel(SegmentListId(1));
    EXPECT_EQ(outputs(), "7->13-2 ");

    auto const kept = listOf(7);
    nextHop(7, {17});  // the same list: no status will be told
    EXPECT_EQ(lists(), "7->2 ");
    EXPECT_EQ(outputs(), "7->13-2 ");
    nextHopDel(7);
    resolved(*kept, SegmentListResolveError::noError);
    EXPECT_EQ(outputs(), "");
}

TEST_F(GribiNhConfigSmTest, WhatNoListCanHoldIsNotInterned) {
    nextHop(1, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    nextHop(2, {16, 0x100000});
    nextHop(3, {0x100001});
    EXPECT_EQ(tables->notifyingSegmentCollection()->uniqueId()().value(), 0u);
    nextHop(1, {1, 2, 3, 4, 5, 6, 7, 0xFFFFF});
    nextHop(allOnes - 1, {0});
    resolved(1);
    EXPECT_EQ(lists(), "1->1 18446744073709551614->2 ");
    nextHop(1, {16, 0x100000});
    EXPECT_EQ(lists(), "18446744073709551614->2 ");
    EXPECT_EQ(outputs(), "");

    TraceLines traces("GribiNhConfigSm");
    nextHop(allOnes, {16});
    nextHop(4, {16});
    nextHopDel(allOnes);
    nextHopDel(1);
    EXPECT_THAT(traces.take(), ElementsAre("handleNhAftEntry id: 18446744073709551615",
                                           "Received invalid NextHop Id : 18446744073709551615",
                                           "handleNhAftEntry id: 4", "Add/Update of NH id: 4",
                                           "handleNhAftEntry id: 18446744073709551615",
                                           "Received invalid NextHop Id : 18446744073709551615",
                                           "handleNhAftEntry id: 1", "Delete of NH id: 1"));
    EXPECT_EQ(lists(), "4->3 18446744073709551614->2 ");
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
    EXPECT_THAT(takeLog(), ElementsAre("-4", "-2", "-3", "-18446744073709551615"));
}

}  // namespace
