#include "SrTePolicy/GribiPublishSm.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "tests/support/GribiAftWriter.h"
#include "tests/support/MachineTest.h"

namespace {

using namespace Gribi;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using testing::ElementsAre;
using testing::IsSupersetOf;

constexpr std::uint64_t maxWeight = ~0ull;
constexpr SrTePolicy::FecIdRange range{FecId(0x200000000), FecId(0x2ffffffff)};

FecId fecIdOf(std::uint32_t index) {
    return range.indexToFecId(index);
}
std::string text(FecId fecId) {
    auto const isOurs = fecId == fecIdOf(static_cast<std::uint32_t>(fecId.value()));
    return isOurs ? "fec" + std::to_string(fecId.value() & 0xFFFFFFFF) : fecId.stringValue();
}

using Members = std::vector<std::pair<std::uint64_t, std::uint64_t>>;  // next hop, weight

// Next hops get their lists and the lists their statuses by hand.
class GribiPublishSmTest : public RestartedTest, protected GribiAftWriter {
protected:
    GribiPublishSmTest() { Keel::activityClockIs(&clock); }
    ~GribiPublishSmTest() override { Keel::activityClockIs(nullptr); }
    void SetUp() override { restart(); }
    void restart() override {
        sm = nullptr;
        sm = publishSmFactory(range, afts->nhgAft, gribiStatus, status, nhToSl, slToNh, fwdStatus);
    }

    // A next hop with a usable list of the identity `id` + 100.
    void nextHop(std::uint64_t id,
                 SegmentListResolveError error = SegmentListResolveError::noError) {
        tables->notifyingSegmentListCollection()->uniqueIdIs(
            SegmentListId(static_cast<std::uint32_t>(id + 99)));
        auto const list =
            tables->segmentList(Wirex::pushOperation({16}), {}, SrTePolicy::DistinguisherId(id));
        status->statusIs(list->segmentListId(), error);
        nhToSl->nhToSlEntryIs({NextHopId(id), list});
        slToNh->slToNhEntryIs({list->segmentListId(), NextHopId(id)});
    }
    void resolved(std::uint32_t nextHopId, bool usable) {
        auto const id = SegmentListId(nextHopId + 100);
        usable ? status->statusIs(id, SegmentListResolveError::noError)
               : status->statusIs(id, SegmentListResolveError::zeroResolvedLabels);
    }

    // GROUP: FEC, then every FEC with its vias.
    std::string outputs() const override {
        std::string all;
        for (auto row = gribiStatus->nhgToFecEntry().begin(); row; row.next()) {
            all += row.key().stringValue() + ":" + text(row.value()) + " ";
        }
        for (auto row = fwdStatus->fec().begin(); row; row.next()) {
            all += "\n" + text(row.key()) + ":";
            for (auto const& via : row.value().vias()) {
                EXPECT_EQ(via, Pooltab::Fib::Via(via.tunnelId(), via.weight()));
                all += " " + std::to_string(via.tunnelId().index()) + "x" +
                       std::to_string(via.weight());
            }
        }
        return all;
    }

    Keel::VirtualClock clock;
    Quor::Ptr<GribiStatus> gribiStatus = gribiStatusFactory();
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus =
        Quor::makePtr<Pooltab::Fib::ForwardingStatus>();
    Quor::Ptr<SrTePolicy::SegmentListStatus> status = SrTePolicy::segmentListStatusFactory();
    Quor::Ptr<SrTePolicy::CoreDedupTables> tables = SrTePolicy::coreDedupTablesFactory();
    Quor::Ptr<NexthopIdToSegmentListMap> nhToSl = nexthopIdToSegmentListMapFactory();
    Quor::Ptr<SegmentListIdToNexthopIdMap> slToNh = segmentListIdToNexthopIdMapFactory();
    Quor::Ptr<PublishSm> sm;
    Watch<FecId> fecWatch{fwdStatus->fec(),
                          [this](auto id) { wrote(fwdStatus->fec(id), "", text(id)); }};
    Watch<NextHopGroupId> statusWatch{
        gribiStatus->nhgToFecEntry(),
        [this](auto id) { wrote(gribiStatus->nhgToFecEntry(id), "nhg", id.stringValue()); }};
};

TEST_F(GribiPublishSmTest, AGroupIsOneFecOverItsUsableNextHops) {
    group(10, {{2, 3}, {1, 1}, {5, 9}});
    group(11, {{2, 1}});
    EXPECT_EQ(outputs(), "");
    nextHop(2);
    TraceLines traces("GribiPublishSm");
    nextHop(1);
    nextHop(3);
    EXPECT_THAT(
        traces.take(),
        ElementsAre("handleSegmentListStatusUpdate slId: 101", "reEvaluateNextHopGroups NH id: 1",
                    "Creating fecId: 0x0f00000200000000", "Adding tunnelId: 13-101",
                    "Adding tunnelId: 13-102", "handleSegmentListStatusUpdate slId: 103",
                    "reEvaluateNextHopGroups NH id: 3"));
    EXPECT_EQ(outputs(), "10:fec0 11:fec1 \nfec0: 101x1 102x3\nfec1: 102x1");
    EXPECT_THAT(takeLog(), ElementsAre("+fec0", "+nhg10", "+fec1", "+nhg11", "+fec0"));

    resolved(2, false);  // both groups are told; 11 lives on it alone
    EXPECT_EQ(outputs(), "10:fec0 \nfec0: 101x1");
    EXPECT_THAT(takeLog(), ElementsAre("+fec0", "-fec1", "-nhg11"));
    resolved(2, true);  // its identifier is held back
    EXPECT_EQ(outputs(), "10:fec0 11:fec2 \nfec0: 101x1 102x3\nfec2: 102x1");
    traces.take();
    groupDel(11);
    EXPECT_THAT(traces.take(), ElementsAre("handleNhgAftEntry id: 11", "Delete of nhgId: 11",
                                           "Delete of fecId: 0x0f00000200000002"));
    clock.advance(301);
    group(12, {{1, 7}});
    EXPECT_EQ(outputs(), "10:fec0 12:fec1 \nfec0: 101x1 102x3\nfec1: 101x7");
}

TEST_F(GribiPublishSmTest, OnlyPresentMembersAreFollowed) {
    restartsHitless = false;
    nextHop(1);
    nextHop(2);
    group(10, {{1, 1}, {4, 1}});
    group(11, {{1, 1}, {NextHopId::invalid, 1}});
    group(10, {{2, 1}, {4, 1}});
    EXPECT_EQ(dumpOf(*sm),
              "  Initialized: True \n"
              "  nhToNhgMap #3 \n"
              "  nextHopId 1\n  nextHopGroupId 11 \n"
              "  nextHopId 2\n  nextHopGroupId 10 \n"
              "  nextHopId 4\n  nextHopGroupId 10 \n");
    group(11, {{2, 5}});
    EXPECT_THAT(dumpOf(*sm), testing::HasSubstr("2\n  nextHopGroupId 10   nextHopGroupId 11 \n"));
    log.clear();
    resolved(1, false);
    EXPECT_THAT(takeLog(), ElementsAre());
    group(10, {});
    EXPECT_EQ(outputs(), "11:fec1 \nfec1: 102x5");

    TraceLines traces("GribiPublishSm");
    sm->handleDel();
    nextHop(3);
    EXPECT_THAT(traces.take(), IsSupersetOf({"Delete all FECs created by GribPublishSm",
                                             "Delete all entries in gribiStatus"}));
    EXPECT_EQ(outputs(), "");
    EXPECT_EQ(dumpOf(*sm), "  Initialized: False \n  nhToNhgMap #0 \n");
}

TEST_F(GribiPublishSmTest, WeightsAsAClientSendsThem) {
    for (std::uint32_t id = 1; id <= 3; ++id) nextHop(id);
    std::tuple<Members, char const*> const cases[] = {
        {{{1, 0}, {2, 5}}, "10:fec0 \nfec0: 102x5"},
        {{{1, 1ull << 32}, {3, maxWeight}},
         "10:fec0 \nfec0: 101x4294967296 103x18446744073709551615"},
        {{{1, 0}, {2, 0}}, ""},
    };
    for (auto const& [members, expected] : cases) {
        group(10, members);
        EXPECT_EQ(outputs(), expected);
    }
    TraceLines traces("GribiPublishSm");
    group(10, {{1, 0}});
    EXPECT_THAT(traces.take(), IsSupersetOf({"Skipping NH id: 1 of weight 0 in nhgId: 10"}));
}

// Tunnels in the reverse order of their next hops.
TEST_F(GribiPublishSmTest, OfTooManyNextHopsTheLowestIdsAreUsed) {
    Members members{{0, 0}};
    for (std::uint32_t id = 1; id <= 601; ++id) {
        members.emplace_back(id, id);
        nextHop(2000 - id);
        auto const list = nhToSl->nhToSlEntry().get(NextHopId(2000 - id));
        nhToSl->nhToSlEntryIs({NextHopId(id), list});
        slToNh->slToNhEntryIs({list->segmentListId(), NextHopId(id)});
    }
    nextHop(0);
    TraceLines traces("GribiPublishSm", 1u << 7);
    group(10, members);
    auto const vias = [this] { return fwdStatus->fec(fecIdOf(0))->vias(); };
    ASSERT_EQ(vias().size(), 600u);
    EXPECT_EQ(vias().front().weight(), 600u);
    EXPECT_EQ(vias().back().weight(), 1u);
    EXPECT_THAT(traces.take(), IsSupersetOf({"More than 600 next hops in nhgId: 10"}));
    status->statusDel(SegmentListId(2099));  // of next hop 1
    ASSERT_EQ(vias().size(), 600u);
    EXPECT_EQ(vias().front().weight(), 601u);
    EXPECT_EQ(vias().back().weight(), 2u);
    status->statusDel(SegmentListId(2098));
    EXPECT_EQ(vias().size(), 599u);
}

TEST_F(GribiPublishSmTest, ARestartKeepsWhatIsNamedAndSweepsTheRest) {
    nextHop(1);
    nextHop(2, SegmentListResolveError::exceedsMsd);
    for (std::uint32_t id = 10; id < 14; ++id) group(id, {{1, 1}});
    sm = nullptr;
    groupDel(10);
    group(11, {{2, 1}});
    fwdStatus->fecDel(fecIdOf(2));  // of 12: the crash hit between row and FEC
    auto const commit = [this](FecId id) { fwdStatus->fecCommit(Pooltab::Fib::Fec(id)); };
    commit(fecIdOf(9));                 // no row names it
    commit(FecId(0x0600000200000005));  // whatever its type
    commit(FecId(0x0f00000100000007));  // a policy's
    group(9, {{1, 1}});                 // new
    gribiStatus->nhgToFecEntryIs(NextHopGroupId(14), FecId(0x0f00000300000004));
    gribiStatus->nhgToFecEntryIs(NextHopGroupId(15), FecId(0x0f00000300000006));
    group(14, {{1, 4}});
    log.clear();
    TraceLines traces("GribiPublishSm", 1u << 7);
    restart();
    EXPECT_EQ(outputs(),
              "9:fec4 12:fec2 13:fec3 14:0x0f00000300000004 \n0x0f00000100000007:\n"
              "fec2: 101x1\nfec3: 101x1\nfec4: 101x1\n0x0f00000300000004: 101x4");
    EXPECT_THAT(takeLog(),
                ElementsAre("+fec4", "+nhg9", "-fec1", "-nhg11", "+fec2", "+0x0f00000300000004",
                            "-fec0", "-nhg10", "-nhg15", "-0x0600000200000005", "-fec9"));
    EXPECT_THAT(traces.take(), IsSupersetOf({"cleanupUnusedGribiStatus"}));
    groupDel(14);  // its number is not 9's to lose
    clock.advance(301);
    for (std::uint32_t id = 16; id < 19; ++id) group(id, {{1, 1}});
    EXPECT_EQ(text(*gribiStatus->nhgToFecEntry(NextHopGroupId(18))), "fec5");
}

}  // namespace
