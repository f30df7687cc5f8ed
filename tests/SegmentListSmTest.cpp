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

TEST_F(SegmentListSmTest, TheListsOfASegmentAreResolvedOnceEach) {
    for (std::uint32_t below = 20; below < 32; ++below) hold({16, below, 16});
    hold({17});
    hold({16}, 1);
    release({16, 25, 16});
    TraceLines traces("SrTePolicySegmentListSm");
    route(16, {push("Et1", {100})});
    route(16, {push("Et2", {100})});
    run();
    EXPECT_THAT(traces.take(), testing::Contains("Processed 12 segment lists, delay task: 0"));
    EXPECT_EQ(output(SegmentListId(12)), "12 [16 31 16] 1: Et2(100 31 16)");
}

TEST_F(SegmentListSmTest, ADepthThatChangesResolvesEveryListAgain) {
    SyslogLines syslog;
    route(16, {push("Et1", {100})});
    msd(3);
    hold({16, 17});
    hold({16, 17, 18});
    EXPECT_EQ(outputs(), "1 [16 17] 1: Et1(100 17)\n2 [16 17 18] 1: Et1(100 17 18)\n");
    log.clear();
    msd(2);
    EXPECT_THAT(log, IsEmpty());
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 1: Et1(100 17)\n2 [16 17 18] 3\n");
    EXPECT_THAT(log, ElementsAre("-tunnel 2", "+status 2"));
    EXPECT_THAT(syslog.take(), ElementsAre(testing::HasSubstr(
                                   "(ID 2) exceeds maximum supported hardware label push stack "
                                   "depth (2), was configured with labels [ 16 17 18 ]")));
    hardware = nullptr;  // then no depth is checked
    restart();
    drain();
    EXPECT_EQ(outputs(), "1 [16 17] 1: Et1(100 17)\n2 [16 17 18] 1: Et1(100 17 18)\n");
}

TEST_F(SegmentListSmTest, ARepairPathThatGrowsIsSeenWhenTheRouteIsTouched) {
    msd(4);
    protect(5, 1, 2);
    route(16, {pushOver(tiLfa(5), {100})});
    hold({16, 17});
    hold({16, 17}, 1);
    EXPECT_EQ(outputs(), "1 [16 17] 1: tunnel 12-5(100 17)\n2 [16 17] -\n")
        << "only a policy's list rides on a protected top";
    protect(5, 1, 3);
    run();
    EXPECT_EQ(output(SegmentListId(1)), "1 [16 17] 1: tunnel 12-5(100 17)");
    route(16, {pushOver(tiLfa(5), {100})});
    run();
    EXPECT_EQ(outputs(), "1 [16 17] 5\n2 [16 17] -\n");
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

TEST_F(SegmentListSmTest, AClogDelaysTheTaskButNotNewLists) {
    hold({16});
    hold({16, 17});
    fieldlog->outputCloggedIs(true);
    TraceLines traces("SrTePolicySegmentListSm");
    route(16, {push("Et1", {100})});
    run();
    EXPECT_THAT(traces.take(), ElementsAre("Processed 0 segment lists, delay task: 1"));
    EXPECT_EQ(scheduler->nextExpiration(), 0.1);
    hold({16, 18});
    release({16});  // while it waits
    EXPECT_EQ(outputs(), "2 [16 17] -\n3 [16 18] 1: Et1(100 18)\n");

    fieldlog->outputCloggedIs(false);
    clock.advance(0.1);
    run();
    EXPECT_EQ(output(SegmentListId(2)), "2 [16 17] 1: Et1(100 17)");
    EXPECT_THAT(traces.take(), testing::Contains("Processed 1 segment lists, delay task: 0"));
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
    restartsHitless = false;  // nothing is left
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
    EXPECT_EQ(outputs(), "1 [16] 1: Et1(100)\n");

    log.clear();
    route(16, {push("Et2", {100})});
    msd(11);
    sm->handleDel();
    EXPECT_THAT(takeLog(), ElementsAre("-tunnel 1", "-status 1", "-export 1"));
    EXPECT_TRUE(sm->drained());
    status->statusIs(SegmentListId(9), SegmentListResolveError::noError);
    sm->handleDel();
    hold({18});
    release({16});
    routeDel(16);
    msd(12);
    run();
    EXPECT_THAT(log, ElementsAre("+status 9"));
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
