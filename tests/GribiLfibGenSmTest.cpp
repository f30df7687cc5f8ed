#include "SrTePolicy/GribiLfibGenSm.h"
#include "tests/support/GribiAftWriter.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace {

using namespace Gribi;
using Pooltab::Fib::FecId;
using testing::ElementsAre;
using Wirex::MplsLabel;

class GribiLfibGenSmTest : public RestartedTest, protected GribiAftWriter {
protected:
    void SetUp() override { restart(); }
    void restart() override {
        sm = nullptr;
        sm = gribiLfibGenSmFactory(gribiStatus, afts->mplsAft, lfib);
        sm->handleInitialized();
    }

    void fec(std::uint64_t group, std::uint64_t id) {
        gribiStatus->nhgToFecEntryIs(NextHopGroupId(group), FecId(id));
    }
    void fecDel(std::uint64_t group) { gribiStatus->nhgToFecEntryDel(NextHopGroupId(group)); }
    // LABEL -> FEC
    std::string outputs() const override {
        std::string text;
        for (auto row = lfib->rows().begin(); row; row.next()) {
            text += row.key().stringValue() + "->" +
                    std::to_string(row.value()->route.extFecVia.fecId.value()) + " ";
        }
        return text;
    }

    Quor::Ptr<GribiStatus> gribiStatus = gribiStatusFactory();
    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<GribiLfibGenSm> sm;
    Watch<Mpls::RouteKey> watch{lfib->rows(), [this](auto const& key) {
                                    wrote(lfib->rows().has(key), "", key.stringValue());
                                }};
};

TEST_F(GribiLfibGenSmTest, ALabelLeadsToTheFecOfItsGroupWhileThereIsOne) {
    label(900, 10);
    label(0, 10);
    label(901, 11);
    label(MplsLabel::null, 10);
    EXPECT_EQ(outputs(), "");
    TraceLines traces("GribiLfibGenSm");
    fec(10, 77);
    EXPECT_THAT(
        traces.take(),
        ElementsAre("Add or Update of nhgToFecEntry: nhgId= 10 fecId=0x000000000000004d",
                    "Added the LFIB entry for label: 0", "Added the LFIB entry for label: 900"));
    fec(11, 88);
    EXPECT_EQ(outputs(), "0->77 900->77 901->88 ");
    auto expected = routeInto(900, 77, static_cast<Wirex::MplsLabelAction>(1));
    expected.extFecVia.payloadType = static_cast<Mpls::LfibPayloadType>(5);
    expected.source = static_cast<Mpls::LFib::Source>(1);
    expected.metric = Mpls::RouteMetric(1);
    EXPECT_EQ(*lfib->consolidatedRoute(keyOf(900)), expected);

    fec(10, 78);
    EXPECT_EQ(outputs(), "0->78 900->78 901->88 ");
    fecDel(10);
    EXPECT_EQ(outputs(), "901->88 ");
}

TEST_F(GribiLfibGenSmTest, ALabelFollowsItsEntryToAnotherGroup) {
    fec(10, 77);
    fec(11, 88);
    label(900, 10);
    label(901, 10);
    label(900, 11);
    EXPECT_EQ(outputs(), "900->88 901->77 ");
    EXPECT_EQ(dumpOf(*sm),
              "  nhgIdToLabelsMaps #2 \n  nhgId 10\n  label: 901\n  nhgId 11\n  label: 900\n");
    fec(10, 78);
    label(900, 12);
    EXPECT_EQ(outputs(), "901->78 ");
    TraceLines traces("GribiLfibGenSm");
    label(MplsLabel::null, 10);
    label(901, 10);
    labelDel(901);
    labelDel(900);
    fec(12, 99);
    fecDel(12);
    EXPECT_THAT(
        traces.take(),
        ElementsAre("No route for mplsAftEntry: label=1048576",
                    "Add or Update of mplsAftEntry: label=901",
                    "Added the LFIB entry for label: 901", "Delete of mplsAftEntry: label=901",
                    "Removing the LFIB entry with label: 901", "Delete of mplsAftEntry: label=900",
                    "Removing the LFIB entry with label: 900",
                    "Add or Update of nhgToFecEntry: nhgId= 12 fecId=0x0000000000000063"));
    EXPECT_EQ(dumpOf(*sm), "  nhgIdToLabelsMaps #0 \n");
}

TEST_F(GribiLfibGenSmTest, AStartRewritesInPlaceThenSweepsAndTheEndEmptiesTheTable) {
    restartsHitless = false;
    fec(10, 77);
    fec(11, 88);
    for (std::uint32_t value = 900; value < 903; ++value) label(value, 10);
    sm = nullptr;
    labelDel(900);
    label(901, 11);
    label(902, 12);
    label(903, 10);
    Mpls::LfibWriter(lfib).lfibRouteIs(routeOver(16, {}));  // the table is this machine's
    log.clear();
    TraceLines traces("GribiLfibGenSm");
    restart();
    EXPECT_EQ(outputs(), "901->88 903->77 ");
    EXPECT_THAT(takeLog(), ElementsAre("+901", "-902", "+903", "-16", "-900"));
    EXPECT_THAT(traces.take(),
                testing::IsSupersetOf({"GribiLfibGenSm initialized", "Cleanup stale LFIB entries",
                                       "Removed LFIB entry for label: 16",
                                       "Removed LFIB entry for label: 900"}));
    sm->handleDel();
    fec(10, 78);
    EXPECT_THAT(
        traces.take(),
        ElementsAre("handleDel", "GribiLfibGenSm is getting deleted, cleanup LFIB entries"));
    EXPECT_EQ(outputs(), "");
}

}  // namespace
