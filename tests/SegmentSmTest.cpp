#include <map>
#include <string>
#include <vector>

#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibWriter.h"
#include "SrTePolicy/SrTePolicySegmentSm.h"
#include "tests/TraceLines.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
using Wirex::IntfId;
using Wirex::MplsLabel;

Mpls::RouteKey keyOf(std::uint32_t label) {
    return Mpls::RouteKey::fromLabel(MplsLabel(label));
}
Mpls::LfibMplsVia via(std::string const& name) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001), IntfId::physical(name), {}};
}
Mpls::LfibMplsVia tiLfaVia(std::uint64_t index) {
    using namespace Tunnel::TunnelTable;
    return {{}, IntfId::dynamicTunnel(TunnelId::make(TunnelType::tiLfa, index).value()), {}};
}

// A router with labels that somebody uses, and the machine over it.
class SegmentSmTest : public testing::Test {
protected:
    void SetUp() override { start(); }
    // A restart finds every segment again, and the same forwarding.
    void TearDown() override {
        auto const before = status();
        auto const labels = held;
        held.clear();
        machine = nullptr;
        tables = coreDedupTablesFactory();
        segmentStatus = segmentStatusFactory();
        for (auto const& [label, segment] : labels) hold(label);
        start();
        EXPECT_EQ(status(), before);
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
        held[label] = segmentMplsLabelFactory(SegmentType::mplsLabel, MplsLabel(label))
                          ->dedup(tables->segDedupTablePtr().get());
    }
    void release(std::uint32_t label) { held.erase(label); }
    void route(std::uint32_t label, std::vector<Mpls::LfibMplsVia> vias) {
        Mpls::ConsolidatedLfibRoute route;
        route.key = keyOf(label);
        route.viaType = Mpls::LfibViaType::mpls;
        route.mplsVias = std::move(vias);
        writer.lfibRouteIs(std::move(route));
    }
    void routeDel(std::uint32_t label) { writer.lfibRouteDel(keyOf(label)); }

    // The records, by label.
    std::string status() const {
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

    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>(Mpls::EqualWrites::notify);
    Quor::Ptr<Mpls::LfibStatus> ours = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibMerge> merge = Quor::makePtr<Mpls::LfibMerge>(lfib, ours, ours);
    Mpls::LfibWriter writer{lfib};
    Quor::Ptr<CoreDedupTables> tables = coreDedupTablesFactory();
    Quor::Ptr<SegmentStatus> segmentStatus = segmentStatusFactory();
    std::map<std::uint32_t, Quor::Ptr<SegmentMplsLabel>> held;
    Quor::Ptr<SegmentSm> machine;
};

TEST_F(SegmentSmTest, ASegmentFollowsTheRouteOfItsLabel) {
    hold(16);
    EXPECT_EQ(status(), "");
    route(16, {via("Et1")});
    route(17, {via("Et7")});  // nobody's label
    EXPECT_EQ(status(), "16: Et1\n");
    EXPECT_EQ(segmentStatus->status().size(), 1u);
    hold(17);
    route(16, {via("Et2"), via("Et3")});
    EXPECT_EQ(status(), "16: Et2 Et3\n17: Et7\n");
    route(16, {});
    EXPECT_EQ(status(), "16:\n17: Et7\n") << "a record without a via";
    routeDel(16);
    EXPECT_EQ(status(), "17: Et7\n");
}

TEST_F(SegmentSmTest, AReleasedSegmentLosesItsRecordThoughItsRouteStays) {
    route(16, {via("Et1")});
    hold(16);
    release(16);
    EXPECT_TRUE(segmentStatus->status().empty());
    route(16, {via("Et2")});
    EXPECT_TRUE(segmentStatus->status().empty());
    hold(16);
    EXPECT_EQ(segmentStatus->status().begin().key(), SegmentId(2));
}

TEST_F(SegmentSmTest, ResolutionOverTiLfaIsMarkedWhileItLasts) {
    hold(16);
    route(16, {tiLfaVia(5), via("Et1")});
    EXPECT_EQ(status(), "16: tunnel 12-5 Et1 TI-LFA\n");
    route(16, {via("Et1")});
    EXPECT_EQ(status(), "16: Et1\n");
    route(16, {tiLfaVia(6)});
}

TEST_F(SegmentSmTest, ATouchedRouteIsToldAgain) {
    struct Reader {
        int told = 0;
    } reader;
    hold(16);
    route(16, {via("Et1")});
    Quor::Reactor<SegmentId> const reactor(segmentStatus->status(), &reader,
                                           [](Reader& self, SegmentId const&) { ++self.told; });
    route(16, {via("Et1")});
    EXPECT_EQ(reader.told, 1);
    route(17, {via("Et1")});
    EXPECT_EQ(reader.told, 1);
}

TEST_F(SegmentSmTest, NothingHappensBeforeTheStartWhichResolvesEverySegment) {
    create();
    segmentStatus->statusDelAll();
    hold(16);
    hold(17);
    route(16, {via("Et1")});
    route(17, {via("Et7")});
    release(17);
    EXPECT_EQ(status(), "");
    segmentStatus->statusIs(Quor::makePtr<SegmentResolve>(SegmentId(99), nullptr));
    machine->handleInitialized();
    EXPECT_EQ(status(), "16: Et1\n");
    EXPECT_EQ(segmentStatus->status().size(), 1u);
}

TEST_F(SegmentSmTest, OnlyADeletionWithdraws) {
    hold(16);
    route(16, {via("Et1")});
    machine = nullptr;
    EXPECT_EQ(status(), "16: Et1\n");

    create();
    machine->handleDel();
    EXPECT_EQ(status(), "16: Et1\n") << "it was never started";
    machine->handleInitialized();
    machine->handleDel();
    EXPECT_EQ(status(), "");
    hold(17);
    route(16, {via("Et2")});
    EXPECT_EQ(status(), "");
    start();
}

TEST_F(SegmentSmTest, TracesAndDump) {
    TraceLines traces("SrTePolicySegmentSm");
    hold(16);
    route(16, {via("Et1")});
    route(17, {via("Et1")});
    Keel::DumpContext ctx;
    machine->dumpState(ctx, 2);
    EXPECT_THAT(ctx.text(), testing::StartsWith("  statuses #1 \n    segmentId: 1, viaInfo: "));
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
