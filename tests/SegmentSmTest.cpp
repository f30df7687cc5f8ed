#include <map>
#include <string>
#include <vector>

#include "SrTePolicy/SrTePolicySegmentSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
// A router with labels that somebody uses, and the machine over it.
class SegmentSmTest : public RestartedTest, protected RouterLfib {
protected:
    void SetUp() override { start(); }
    void restart() override {
        auto const labels = held;
        held.clear();
        machine = nullptr;
        tables = coreDedupTablesFactory();
        segmentStatus = segmentStatusFactory();
        for (auto const& [label, segment] : labels) hold(label);
        start();
    }

    void create() {
        machine = segmentSmFactory(tables->notifyingSegmentCollection(), merge->lfibStatus(),
                                   merge->lfibTrackingStatus(), segmentStatus, tables,
                                   segmentResolverFactory(merge->lfibStatus()));
    }
    void start() {
        create();
        machine->handleInitialized();
    }
    void hold(std::uint32_t label) {
        held[label] = segmentMplsLabelFactory(SegmentType::mplsLabel, Wirex::MplsLabel(label))
                          ->dedup(tables->segDedupTablePtr().get());
    }
    void release(std::uint32_t label) { held.erase(label); }
    // The records, by label.
    std::string outputs() const override {
        std::string text;
        for (auto const& [label, segment] : held) {
            auto const record = segmentStatus->status(segment->segmentId());
            if (!record) continue;
            text += std::to_string(label) + ":";
            auto const& vias = record->viaInfo()->mplsVia();
            for (auto row = vias.begin(); row; row.next()) {
                text += ' ';
                text += row.value().intf.stringValue();
            }
            text += record->resolvedOverTiLfa() ? " TI-LFA\n" : "\n";
        }
        return text;
    }

    Quor::Ptr<CoreDedupTables> tables = coreDedupTablesFactory();
    Quor::Ptr<SegmentStatus> segmentStatus = segmentStatusFactory();
    std::map<std::uint32_t, Quor::Ptr<SegmentMplsLabel>> held;
    Quor::Ptr<SegmentSm> machine;
};

TEST_F(SegmentSmTest, ASegmentFollowsTheRouteOfItsLabel) {
    hold(16);
    EXPECT_EQ(outputs(), "");
    route(16, {push("Et1")});
    route(17, {push("Et7")});  // nobody's label
    EXPECT_EQ(outputs(), "16: Et1\n");
    EXPECT_EQ(segmentStatus->status().size(), 1u);
    hold(17);
    route(16, {push("Et2"), push("Et3")});
    EXPECT_EQ(outputs(), "16: Et2 Et3\n17: Et7\n");
    route(16, {});
    EXPECT_EQ(outputs(), "16:\n17: Et7\n") << "a record without a via";
    route(16, {pushOver(tiLfa(5)), push("Et1")});
    EXPECT_EQ(outputs(), "16: tunnel 12-5 Et1 TI-LFA\n17: Et7\n");
    routeDel(16);
    EXPECT_EQ(outputs(), "17: Et7\n");
}

TEST_F(SegmentSmTest, AReleasedSegmentLosesItsRecordThoughItsRouteStays) {
    route(16, {push("Et1")});
    hold(16);
    release(16);
    EXPECT_TRUE(segmentStatus->status().empty());
    route(16, {push("Et2")});
    EXPECT_TRUE(segmentStatus->status().empty());
    hold(16);
    EXPECT_EQ(segmentStatus->status().begin().key(), SegmentId(2));
}

TEST_F(SegmentSmTest, NothingHappensBeforeTheStartWhichResolvesEverySegment) {
    create();
    segmentStatus->statusDelAll();
    hold(16);
    hold(17);
    route(16, {push("Et1")});
    route(17, {push("Et7")});
    release(17);
    EXPECT_EQ(outputs(), "");
    segmentStatus->statusIs(Quor::makePtr<SegmentResolve>(SegmentId(99), nullptr));
    machine->handleInitialized();
    EXPECT_EQ(outputs(), "16: Et1\n");
    EXPECT_EQ(segmentStatus->status().size(), 1u);
}

TEST_F(SegmentSmTest, OnlyADeletionWithdraws) {
    hold(16);
    route(16, {push("Et1")});
    machine = nullptr;
    EXPECT_EQ(outputs(), "16: Et1\n");

    create();
    machine->handleDel();
    EXPECT_EQ(outputs(), "16: Et1\n") << "it was never started";
    machine->handleInitialized();
    machine->handleDel();
    EXPECT_EQ(outputs(), "");
    hold(17);
    route(16, {push("Et2")});
    EXPECT_EQ(outputs(), "");
    start();
}

TEST_F(SegmentSmTest, TracesAndDump) {
    TraceLines traces("SrTePolicySegmentSm");
    hold(16);
    route(16, {push("Et1")});
    route(17, {push("Et1")});
    EXPECT_THAT(dumpOf(*machine),
                testing::StartsWith("  statuses #1 \n    segmentId: 1, viaInfo: "));
    release(16);
    EXPECT_THAT(traces.take(),
                ElementsAre("handleSegment: Id: 1, Type: mplsLabel, Label: 16",
                            "handleLFibRoute: label: 16", "handleLFibRoute: label: 17",
                            "handleSegment: Id: 1, Type: mplsLabel, Label: 16",
                            "Deleting segment Status: 1"));
}

TEST_F(SegmentSmTest, AMachineWithoutAnLfibStopsTheAgent) {
    auto const lame =
        segmentSmFactory(tables->notifyingSegmentCollection(), nullptr, merge->lfibTrackingStatus(),
                         segmentStatus, tables, segmentResolverFactory(nullptr));
    EXPECT_DEATH(lame->handleInitialized(), "lfib\\(\\)");
}

}  // namespace
}  // namespace SrTePolicy
