#include "tests/SegmentListFixture.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SegmentListSmTest = SegmentListFixture;

TEST_F(SegmentListSmTest, AListLivesFromItsFirstHolderToItsLast) {
    route(16, {push("Et1", {100}), push("Et2", {})});
    TraceLines traces("SrTePolicySegmentListSm");
    hold({16, 17, 18});
    EXPECT_EQ(outputs(), "1 [16 17 18] 1: Et1(100 17 18) Et2(17 18)\n") << "without the task";
    EXPECT_THAT(log, ElementsAre("+export 1", "+tunnel 1", "+status 1"));
    EXPECT_THAT(traces.take(),
                ElementsAre("handleSegmentList for segmentList: segmentListId: 1, size: 3, "
                            "segmentIds: 1 2 3",
                            "Update the Segment List Status for SlId:1",
                            "Add new status for SegmentList: 1",
                            "Update Tunnel Table TID 13-1 With 2 vias fecId 0x0000000000000000",
                            "Update Tunnel Table with TID: 13-1"));
    log.clear();
    release({16, 17, 18});
    EXPECT_EQ(outputs(), "");
    EXPECT_THAT(log, ElementsAre("-export 1", "-tunnel 1", "-status 1"));
    EXPECT_THAT(traces.take(),
                ElementsAre("handleSegmentList for segmentList: segmentListId: 1, size: 3, "
                            "segmentIds: 1 2 3",
                            "removeSegmentListStatusById for id: 1"));
}

TEST_F(SegmentListSmTest, AListFollowsTheRouteOfItsTop) {
    hold({16, 17});
    EXPECT_EQ(outputs(), "1 [16 17] -\n");
    log.clear();
    route(16, {push("Et1", {100})});
    EXPECT_THAT(log, IsEmpty()) << "until the task runs";
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 1: Et1(100 17)\n");
    EXPECT_THAT(takeLog(), ElementsAre("+tunnel 1", "+status 1"));

    TraceLines traces("SrTePolicySegmentListSm");
    route(16, {push("Et1", {100})});  // touched
    route(17, {push("Et7", {})});     // below the top: of no weight
    run();
    EXPECT_THAT(log, IsEmpty());
    EXPECT_THAT(traces.take(),
                ElementsAre("Update the Segment List Status for SlId:1",
                            "Update existing status for SegmentList: 1",
                            "Update Tunnel Table TID 13-1 With 1 vias fecId 0x0000000000000000",
                            "Update Tunnel Table with TID: 13-1",
                            "Processed 1 segment lists, delay task: 0"));
    route(16, {push("Et2", {100})});
    run();
    EXPECT_THAT(takeLog(), ElementsAre("+tunnel 1")) << "replaced in place";
    route(16, {});
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 2\n");
    traces.take();
    routeDel(16);
    run();
    EXPECT_EQ(outputs(), "1 [16 17] -\n");
    EXPECT_THAT(takeLog(), ElementsAre("-tunnel 1", "+status 1", "-status 1"));
    EXPECT_THAT(traces.take(), ElementsAre("Remove the Segment List Status for SlId:1",
                                           "removeSegmentListStatusById for id: 1",
                                           "Processed 1 segment lists, delay task: 0"));
}

TEST_F(SegmentListSmTest, ASegmentFollowsTheRouteOfItsLabel) {
    TraceLines traces("SrTePolicySegmentSm");
    hold({16});
    route(16, {push("Et1")});
    route(17, {push("Et1")});  // nobody's label
    EXPECT_THAT(dumpOf(*segmentSm),
                testing::StartsWith("  statuses #1 \n    segmentId: 1, viaInfo: "));
    release({16});
    EXPECT_TRUE(segmentStatus->status().empty());
    EXPECT_THAT(traces.take(),
                ElementsAre("handleSegment: Id: 1, Type: mplsLabel, Label: 16",
                            "handleLFibRoute: label: 16", "handleLFibRoute: label: 17",
                            "handleSegment: Id: 1, Type: mplsLabel, Label: 16",
                            "Deleting segment Status: 1"));
    route(16, {push("Et2")});
    hold({16});
    segmentSm->handleDel();
    EXPECT_TRUE(segmentStatus->status().empty());
    crash();
    create();
    segmentStatus->statusIs(Quor::makePtr<SegmentResolve>(SegmentId(99), nullptr));
    segmentSm->handleInitialized();
    EXPECT_TRUE(segmentStatus->status().empty());
    auto const lame =
        segmentSmFactory(tables->notifyingSegmentCollection(), nullptr, merge->lfibTrackingStatus(),
                         segmentStatus, tables, segmentResolverFactory(nullptr));
    EXPECT_DEATH(lame->handleInitialized(), "lfib\\(\\)");
}

TEST_F(SegmentListSmTest, TheListsOfASegmentAreResolvedOnceEach) {
    for (std::uint32_t below = 20; below < 32; ++below) hold({16, below, 16});
    TraceLines traces("SrTePolicySegmentListSm");
    route(16, {push("Et1", {100})});
    route(16, {push("Et2", {100})});
    release({16, 25, 16});  // while it waits
    run();
    EXPECT_THAT(traces.take(), testing::Contains("Processed 11 segment lists, delay task: 0"));
}

TEST_F(SegmentListSmTest, WithoutHardwareNoDepthIsChecked) {
    route(16, {push("Et1", {100})});
    msd(2);
    hold({16, 17, 18});
    EXPECT_EQ(outputs(), "1 [16 17 18] 3\n");
    hardware = nullptr;
    restart();
    drain();
    EXPECT_EQ(outputs(), "1 [16 17 18] 1: Et1(100 17 18)\n");
}

TEST_F(SegmentListSmTest, ATopOverAFecBecomesOneViaIntoTheFec) {
    hold({16, 17});
    TraceLines traces("SrTePolicySegmentListSm");
    routeToFec(16, 0x0100000000000007, Action::swap);
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 1: fec 0x1100000000000007(17)\n");
    EXPECT_THAT(traces.take(),
                testing::IsSupersetOf(
                    {"Update Tunnel Table TID 13-1 With 1 vias fecId 0x0100000000000007",
                     "Update Tunnel Table TID with fecId (Optimized), old 0x0100000000000007 new "
                     "0x1100000000000007"}));
    protect(5, 1, 1);
    routeToFec(16, 0x0600000000000000 | tiLfa(5).value(), Action::pop);
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 1: tunnel 12-5(3)\n");
    EXPECT_THAT(
        traces.take(),
        testing::IsSupersetOf({"Update Tunnel Table TID 13-1 With 1 vias fecId 0x0600c00000000005",
                               "Update Tunnel Table TID with tunnel Id (Optimized), 12-5"}));
    routeToFec(16, 0x0F00000100000000, Action::pop);
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 2\n") << "no recursion over this system's own FECs";
}

TEST_F(SegmentListSmTest, LeftoversOfAnEarlierRunGoAfterTheFirstBacklog) {
    Tunnel::TunnelTable::MplsVia const via{
        {}, Wirex::IntfId::physical("Et9"), {Action::push, {900}}};
    auto const foreign = TunnelId::make(Tunnel::TunnelTable::TunnelType::srTePolicy, 50);
    route(16, {push("Et1", {100})});
    hold({16});
    hold({17});
    drain();
    crash();
    references = reinternSurvivingLists(tables, exported);
    status->statusIs(SegmentListId(2), SegmentListResolveError::noError);
    status->statusIs(SegmentListId(50), SegmentListResolveError::noError);
    tunnels->entryIs({SegmentListId(51).getTunnelId(), std::span(&via, 1)});
    tunnels->entryIs({foreign, std::span(&via, 1)});
    Export::SegmentList copy;
    copy.segmentListId = SegmentListId(52);
    exported->segmentListIs(copy);
    tables->notifyingSegmentListCollection()->uniqueIdIs(SegmentListId(52));
    log.clear();
    scheduler->yieldAfterWorkIs(1);
    start();
    hold({16});
    hold({17});
    sm->handleInitialized();  // once is enough

    TraceLines traces("SrTePolicySegmentListSm");
    scheduler->runOne();  // list 1
    EXPECT_THAT(log, IsEmpty());
    scheduler->runOne();  // list 2, which a leftover status called usable, then one leftover
    EXPECT_THAT(takeLog(), ElementsAre("-status 2", "-status 50"));
    EXPECT_FALSE(sm->drained());
    route(16, {push("Et2", {100})});  // what waits goes first again
    scheduler->runOne();
    EXPECT_THAT(log, ElementsAre("+tunnel 1", "-tunnel 51"));
    run();
    EXPECT_EQ(outputs(), "1 [16] 1: Et2(100)\n2 [17] -\n") << "an unresolved list is no leftover";
    EXPECT_TRUE(tunnels->entry(foreign)) << "another application's";
    EXPECT_THAT(traces.take(),
                testing::IsSupersetOf({"Deleting segmentListId from segmentListStatus:50",
                                       "Deleting segmentListId from segmentListStatus:51",
                                       "Deleting segmentListId from segmentListStatus:52"}));
}

TEST_F(SegmentListSmTest, ItWorksBetweenItsStartAndItsDeletion) {
    crash();
    create();
    segmentSm->handleInitialized();
    route(16, {push("Et1", {100})});
    hold({16});
    msd(9);
    run();
    sm->handleDel();
    EXPECT_THAT(log, IsEmpty());
    sm->handleInitialized();
    run();
    log.clear();
    route(16, {push("Et2", {100})});
    msd(11);
    sm->handleDel();
    EXPECT_THAT(takeLog(), ElementsAre("-tunnel 1", "-status 1", "-export 1"));
    EXPECT_TRUE(sm->drained());
    status->statusIs(SegmentListId(9), SegmentListResolveError::noError);
    sm->handleDel();
    EXPECT_THAT(takeLog(), ElementsAre("+status 9"));
}

TEST_F(SegmentListSmTest, ADumpShowsTheTaskTheSegmentsAndWhatWaits) {
    hold({16, 17, 16});
    hold({17});
    run();
    auto const idle = std::string(
        "  Task Dump: \n"
        "  taskName: SegmentListSm, taskPriority: 2, taskStatsName: SegmentListSm\n"
        "  SegmentId to SegmentListId Map: \n"
        "    segmentId: 1\n"
        "      1\n"
        "    segmentId: 2\n"
        "      1      2\n");
    EXPECT_EQ(dumpOf(*sm), idle);
    route(16, {push("Et1", {100})});
    EXPECT_EQ(dumpOf(*sm), idle + "  segmentListId: 1, size: 3, segmentIds: 1 2 1\n");
    release({16, 17, 16});
    release({17});
    EXPECT_THAT(dumpOf(*sm), testing::EndsWith("Map: \n"));
}

}  // namespace
}  // namespace SrTePolicy
