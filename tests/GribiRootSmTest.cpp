#include <array>

#include "SrTePolicy/GribiRootSm.h"
#include "tests/SegmentListFixture.h"
#include "tests/support/GribiAftWriter.h"

namespace {

using namespace Gribi;
using Pooltab::Fib::FecId;
using testing::ElementsAre;
using testing::IsEmpty;
using Wirex::MplsLabel;

constexpr SrTePolicy::FecIdRange range{FecId(0x200000000), FecId(0x2ffffffff)};

// The whole of gRIBI over real segments and segment lists.
class GribiRootSmTest : public SrTePolicy::SegmentListFixture, protected GribiAftWriter {
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
    void restart() override {
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

    // What packets meet, whatever the identities: LABEL: LABELSxWEIGHT for each share.
    std::string forwarding() const {
        std::string text;
        for (auto row = gribiLfib->rows().begin(); row; row.next()) {
            auto const label = row.key().topLabel();
            text += label.stringValue() + ":";
            auto const* const entry = afts->mplsAft->mplsAftEntry().find(label);
            auto const fecId = row.value()->route.extFecVia.fecId;
            EXPECT_EQ(gribiStatus->nhgToFecEntry().get(entry->nextHopGroupId), fecId);
            text += shares(fecId) + "\n";
        }
        return text;
    }
    std::string shares(FecId fecId) const {
        std::string text;
        auto const* const fec = fwdStatus->fec(fecId);
        if (!fec) return " no FEC";
        for (auto const& via : fec->vias()) {
            SrTePolicy::SegmentListId const id(static_cast<std::uint32_t>(via.tunnelId().index()));
            auto const* const list = exported->segmentList(id);
            if (!list || !tunnels->entry(id.getTunnelId())) return " no tunnel";
            text += " ";
            for (std::uint32_t i = 0; i < list->size; ++i) {
                text += (i > 0 ? "," : "") + list->segment[i].stringValue();
            }
            text += "x" + std::to_string(via.weight());
        }
        return text;
    }
    std::string gribiTables() const {
        std::string text;
        for (auto row = tunnelMap->nhToTunnelMap().begin(); row; row.next()) {
            text += "nh" + row.key().stringValue() + ">" + row.value().stringValue() + " ";
        }
        for (auto row = gribiStatus->nhgToFecEntry().begin(); row; row.next()) {
            text += "nhg" + row.key().stringValue() + ">" + row.value().stringValue() + " ";
        }
        for (auto row = fwdStatus->fec().begin(); row; row.next()) {
            text += row.value().stringValue() + " ";
        }
        return text + forwarding();
    }
    std::string outputs() const override { return SegmentListFixture::outputs() + gribiTables(); }

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
    Watch<FecId> fecWatch_{fwdStatus->fec(), [this](auto id) {
                               wrote(fwdStatus->fec(id), "fec",
                                     std::to_string(id.value() & 0xFFFFFFFF));
                           }};
    Watch<Mpls::RouteKey> routeWatch_{
        gribiLfib->rows(),
        [this](auto key) { wrote(gribiLfib->rows().has(key), "route", key.stringValue()); }};
};

TEST_F(GribiRootSmTest, EveryOrderOfArrivalGivesTheSameTables) {
    std::array<int, 5> order{0, 1, 2, 3, 4};
    auto const write = [this](int what, bool there) {
        if (what == 0) there ? nextHop(1, {16}) : nextHopDel(1);
        if (what == 1) there ? nextHop(2, {18, 17}) : nextHopDel(2);
        if (what == 2) there ? group(10, {{1, 3}, {2, 1}, {3, 1}}) : groupDel(10);
        if (what == 3) there ? label(900, 10) : labelDel(900);
        if (what == 4) there ? route(18, {push("et3", {100})}) : routeDel(18);
    };
    do {
        for (auto const what : order) {
            write(what, true);
            if (order[0] % 2) drain();
        }
        drain();
        EXPECT_THAT(forwarding(), testing::AnyOf("900: 16x3 18,17x1\n", "900: 18,17x1 16x3\n"));
        for (auto const what : order) {
            write(what, false);
            EXPECT_THAT(forwarding(), testing::Not(testing::HasSubstr("no")));
        }
        drain();
        EXPECT_EQ(outputs(), "");
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(GribiRootSmTest, AnUpdateOfANextHopTakesItOutAndPutsItBack) {
    twoNextHops();
    takeLog();
    nextHop(2, {17, 18});
    // The groups and the tunnel map let go before the list ends; 11 had nothing else.
    EXPECT_THAT(takeLog(),
                ElementsAre("+fec0", "-fec1", "-nhg11", "-route901", "-nh2", "-export 2",
                            "-tunnel 2", "-status 2", "+export 3", "+tunnel 3", "+status 3",
                            "+fec0", "+fec2", "+nhg11", "+route901", "+nh2"));
    EXPECT_EQ(forwarding(), "900: 16x3 17,18x1\n901: 17,18x1\n");
}

TEST_F(GribiRootSmTest, GroupsFollowTheRoutesOfTheirNextHops) {
    twoNextHops();
    auto const policyList = hold({17});
    routeDel(17);
    drain();
    EXPECT_EQ(forwarding(), "900: 16x3\n");
    // Protected: good for a policy, not for gRIBI.
    protect(5, 0, 1);
    route(17, {pushOver(tiLfa(5), {100})});
    drain();
    EXPECT_EQ(forwarding(), "900: 16x3\n");
    EXPECT_EQ(status->status(policyList), SrTePolicy::SegmentListResolveError::noError);
    route(17, {push("et4", {100})});
    drain();
    EXPECT_EQ(forwarding(), "900: 16x3 17,18x1\n901: 17,18x1\n");
    // Another path: nothing above the tunnel hears of it.
    takeLog();
    route(17, {push("et5", {100})});
    EXPECT_EQ(told(), "+tunnel 2; +tunnel 3");
}

TEST_F(GribiRootSmTest, EitherFlagStopsAndBothStart) {
    twoNextHops();
    auto const running = forwarding();
    takeLog();
    TraceLines traces("GribiRootSm");
    agentStatus->enabled.valueIs(false);
    EXPECT_FALSE(root->running());
    EXPECT_THAT(takeLog(), ElementsAre("-route900", "-route901", "-fec0", "-fec1", "-nhg10",
                                       "-nhg11", "-nh1", "-nh2", "-export 1", "-tunnel 1",
                                       "-status 1", "-export 2", "-tunnel 2", "-status 2"));
    EXPECT_EQ(outputs(), "");
    nextHop(3, {16});
    config->enabled.valueIs(false);
    agentStatus->enabled.valueIs(true);
    EXPECT_EQ(outputs(), "");
    config->enabled.valueIs(true);
    EXPECT_EQ(forwarding(), running);
    root->handleEnabled();
    EXPECT_THAT(traces.take(), ElementsAre("stopping GribiRootSm", "starting GribiRootSm"));

    // With lists in the backlog.
    route(16, {push("et3", {100})});
    config->enabled.valueIs(false);
    config->enabled.valueIs(true);
    drain();
    EXPECT_EQ(forwarding(), running);
    agentStatus = nullptr;
    config = nullptr;
}

TEST_F(GribiRootSmTest, ARestartWithdrawsOnlyWhatIsGone) {
    twoNextHops();
    nextHop(3, {16});
    group(12, {{3, 1}});
    label(902, 12);
    label(903, 10);
    crash();
    nextHopDel(1);
    groupDel(12);
    labelDel(902);
    label(903, 11);
    group(13, {{2, 9}});
    label(904, 13);
    takeLog();
    startAgain();
    run();
    root = newRoot();
    EXPECT_EQ(forwarding(), "900: 17,18x1\n901: 17,18x1\n903: 17,18x1\n904: 17,18x9\n");
    EXPECT_THAT(takeLog(), ElementsAre("-nh1", "+fec0", "+fec3", "+nhg13", "-fec2", "-nhg12",
                                       "+route903", "+route904", "-route902"));
    drain();
    EXPECT_THAT(takeLog(), ElementsAre("-export 1", "-tunnel 1", "-status 1"));
    // Not yet drained, the references of the start keep the list of a next hop that is updated.
    restart();
    takeLog();
    nextHop(2, {17, 18});
    EXPECT_EQ(forwarding(), "900: 17,18x1\n901: 17,18x1\n903: 17,18x1\n904: 17,18x9\n");
    EXPECT_TRUE(tunnelMap->nhToTunnelMap().has(NextHopId(2)));
}

TEST_F(GribiRootSmTest, AStartWhileDisabledSweepsWhatAnEarlierRunLeft) {
    twoNextHops();
    fwdStatus->fecCommit(Pooltab::Fib::Fec(range.indexToFecId(9)));
    FecId const policyFec(0x0f00000100000000);
    fwdStatus->fecCommit(Pooltab::Fib::Fec(policyFec));
    crash();
    config->enabled.valueIs(false);
    takeLog();
    restart();
    EXPECT_THAT(takeLog(), ElementsAre("-route900", "-route901", "-fec0", "-fec1", "-fec9",
                                       "-nhg10", "-nhg11", "-nh1", "-nh2"));
    drain();
    EXPECT_TRUE(fwdStatus->fecDel(policyFec));
    EXPECT_EQ(outputs(), "");
}

TEST_F(GribiRootSmTest, TheProcessKnowsTheNewestRootThatIsStillThere) {
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
