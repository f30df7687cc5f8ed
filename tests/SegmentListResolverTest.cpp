#include "tests/SegmentListFixture.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::TiLfaTunnelTable;
using Wirex::IntfId;
using Wirex::IpGenAddr;
using Action = Wirex::MplsLabelAction;
using Error = SegmentListResolveError;
using Stack = Wirex::BoundedMplsLabelStack;

IpGenAddr const nextHop = IpGenAddr::ipv4(0x0A000001);
IntfId const et1 = IntfId::physical("Et1");

Quor::Ptr<Routing::Hardware::Status const> depth(std::optional<std::uint8_t> labels) {
    auto const hw = Quor::makePtr<Routing::Hardware::Status>();
    hw->maxLabelPushDepth.valueIs(labels);
    return hw;
}

TEST(ComputeEgressMplsVia, TheActionDecidesWhatBecomesOfTheLabelsBelowTheTop) {
    struct Case {
        char const* name;
        Action action;
        Stack own;
        Stack below;
        Stack result;
        IpGenAddr hop = nextHop;
        IntfId intf = et1;
        bool overTiLfa = false;
    };
    Case const cases[] = {
        {"swap", Action::swap, {100}, {17, 18}, {100, 17, 18}},
        {"swap to implicit null", Action::swap, {3}, {17, 18}, {3, 17, 18}},
        {"swap to nothing", Action::swap, {}, {}, {}},
        {"push", Action::push, {100, 101}, {17, 18}, {100, 101, 17, 18}},
        {"push over TI-LFA", Action::push, {100}, {17}, {100, 17}, {}, et1, true},
        {"pop to an adjacency", Action::pop, {}, {17, 18}, {3}},
        {"pop without next hop", Action::pop, {}, {17}, {}, {}, et1},
        {"pop over TI-LFA", Action::pop, {}, {17, 18}, {3}, {}, et1, true},
        {"pop over TI-LFA into nowhere", Action::pop, {}, {}, {3}, {}, {}, true},
        {"pop with labels", Action::pop, {100}, {17, 18}, {100}},
        {"no action", Action::none, {}, {17, 18}, {}},
        {"unknown action", Action(4), {100}, {17}, {100}},
    };
    for (auto const& c : cases) {
        auto error = Error::noError;
        auto const via = computeEgressMplsVia({c.action, c.own}, c.action, c.below, c.hop, c.intf,
                                              nullptr, error, c.overTiLfa, {9, 9});
        EXPECT_EQ(via, (MplsVia{c.hop, c.intf, {c.action, c.result}})) << c.name;
        EXPECT_EQ(error, c.result.empty() ? Error::zeroResolvedLabels : Error::noError) << c.name;
    }
}

TEST(ComputeEgressMplsVia, TheStackAndTheTunnelBelowItFitTheDepthExactly) {
    struct Case {
        char const* name;
        std::optional<std::uint8_t> msd;
        Stack own;
        Stack below;
        TiLfaLabelSizes sizes;
        Error error;
    };
    Case const cases[] = {
        {"exact", 4, {100, 101}, {17, 18}, {0, 0}, Error::noError},
        {"one short", 3, {100, 101}, {17, 18}, {0, 0}, Error::exceedsMsd},
        {"one short over a primary path", 4, {100}, {17, 18}, {2, 0}, Error::exceedsMsd},
        {"exact over a backup path", 11, {100}, {17, 18}, {1, 8}, Error::noError},
        {"one short over a backup path", 10, {100}, {17, 18}, {1, 8}, Error::backupExceedsMsd},
        {"the primary path comes first", 3, {100}, {17, 18}, {1, 8}, Error::exceedsMsd},
        {"implicit null counts", 0, {3}, {}, {0, 0}, Error::exceedsMsd},
        {"nothing on a depth of nothing", 0, {}, {}, {0, 0}, Error::zeroResolvedLabels},
        {"sizes do not wrap at 256", 255, {100}, {}, {255, 0}, Error::exceedsMsd},
    };
    for (auto const& c : cases) {
        auto error = Error::noError;
        computeEgressMplsVia({Action::push, c.own}, Action::push, c.below, nextHop, et1,
                             depth(c.msd), error, false, c.sizes);
        EXPECT_EQ(error, c.error) << c.name;
    }
}

TEST(ComputeEgressMplsViaDeathTest, AStackThatCannotBeExtendedStopsTheAgent) {
    auto error = Error::noError;
    EXPECT_DEATH(computeEgressMplsVia({Action::push, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}, Action::push,
                                      {11, 12, 13, 14, 15, 16, 17}, nextHop, et1, nullptr, error,
                                      false, {0, 0}),
                 "res == Wirex::BoundedMplsLabelStackResult::noError_");
}

TEST(TiLfaLabelSizes, AnImplicitNullThatIsWrittenIsNotSent) {
    auto const table = Quor::makePtr<TiLfaTunnelTable>();
    auto const via = [](Action action, Stack const& labels) {
        return MplsVia{nextHop, et1, {action, labels}};
    };
    auto const backup = via(Action::swap, {100, 3});
    table->entryIs({tiLfa(1), via(Action::push, {100, 101, 102}), backup});
    table->entryIs({tiLfa(2), via(Action::swap, {3}), std::nullopt});
    table->entryIs({tiLfa(3), via(Action::pop, {3}), via(Action::push, {3, 100, 101})});

    TraceLines traces("SrTePolicySegmentListResolver");
    EXPECT_EQ(getTilfaTunnelLabelStackSizes(tiLfa(1), table), TiLfaLabelSizes(3, 1));
    EXPECT_THAT(traces.take(),
                ElementsAre("TI-LFA tunnel id: 12-1", "primaryLabelSize: 3 backupLabelSize: 1"));
    EXPECT_EQ(getTilfaTunnelLabelStackSizes(tiLfa(2), table), TiLfaLabelSizes(0, 0));
    EXPECT_EQ(getTilfaTunnelLabelStackSizes(tiLfa(3), table), TiLfaLabelSizes(1, 2));
    EXPECT_EQ(getTilfaTunnelLabelStackSizes(tiLfa(4), table), TiLfaLabelSizes(0, 0));
}

TEST(MplsViaSet, HoldsEachViaOnceInTheOrderOfContent) {
    MplsVia const low{nextHop, et1, {Action::swap, {16}}};
    MplsVia const high{nextHop, et1, {Action::swap, {17}}};
    MplsViaSet set;
    for (auto const& via : {high, low, high}) set.viaIs(via);
    EXPECT_THAT(set.via(), ElementsAre(low, high));
    for (int times = 2; times > 0; --times) set.viaDel(low);
    EXPECT_THAT(set.via(), ElementsAre(high));
    EXPECT_TRUE(set);
    set.viaDelAll();
    EXPECT_FALSE(set);
    EXPECT_DEATH(MplsViaSet::fromString(""),
                 "!\"No String constructor for MplsViaSet - has collection\"");
}

using SegmentListResolverTest = SegmentListFixture;

TEST_F(SegmentListResolverTest, TheTopGivesTheViasAndTheRestGoesBelow) {
    hold({16, 17, 18});
    hold({});
    TraceLines traces("SrTePolicySegmentListResolver");
    route(16, {push("Et2", {100}), push("Et1", {}), push("Et2", {100})});
    run();
    EXPECT_EQ(outputs(), "1 [16 17 18] 1: Et1(17 18) Et2(100 17 18)\n2 [] -\n");
    EXPECT_THAT(
        traces.take(),
        ElementsAre("No. of vias 3", "IntfId new : Et2", "Appending topLabels TOP ( 17 18 ) BOTTOM",
                    "IntfId new : Et1", "Appending topLabels TOP ( 17 18 ) BOTTOM",
                    "IntfId new : Et2", "Appending topLabels TOP ( 17 18 ) BOTTOM"));
    route(16, {Mpls::LfibMplsVia{nextHop, et1, {Action::pop, {}}}});
    run();
    EXPECT_EQ(outputs(), "1 [16 17 18] 1: Et1(3)\n2 [] -\n");
    EXPECT_THAT(traces.take(), ElementsAre("No. of vias 1", "IntfId new : Et1",
                                           "Adjacency MplsVia hop 10.0.0.1 intfId Et1"));
}

TEST_F(SegmentListResolverTest, WhatExceedsTheDepthIsTracedAndLogged) {
    hold({15});
    hold({16, 17});
    auto const two = held.at({{16, 17}});
    SegmentListResolver const resolver(segmentStatus, tiLfaTunnels, depth(10));
    SyslogLines syslog;
    TraceLines traces("SrTePolicySegmentListResolver");
    auto const report = [&](Error error) {
        auto const res = Quor::makePtr<SegmentListResolveResult const>(
            MplsViaSet(), Pooltab::Fib::FecId(), error);
        resolver.traceAndSyslogSegmentListResolveError(*two, res);
    };
    auto const exceeds =
        "SRTE_RESOLVED_SEGMENT_LIST_INVALID_EXCEEDS_MSD: Resolved segment list "
        "(ID 2) exceeds maximum supported hardware label push stack depth (10), "
        "was configured with labels [ 16 17 ]";
    auto const backupExceeds =
        "SRTE_RESOLVED_SEGMENT_LIST_BACKUP_EXCEEDS_MSD: Resolved segment list (ID 2) for the "
        "backup path exceeds the maximum supported hardware label push stack depth (10), was "
        "configured with labels [ 16 17 ]";

    for (auto const error : {Error::noError, Error::zeroResolvedLabels, Error::exceedsMsd,
                             Error::backupExceedsMsd, Error::exceedsMsd}) {
        report(error);
    }
    auto const text = "segmentListId: 2, size: 2, segmentIds: 2 3";
    EXPECT_THAT(traces.take(), ElementsAre(std::string("0 resolved labels for:") + text,
                                           std::string("MSD (10) exceeded for: ") + text,
                                           std::string("MSD (10) exceeded for backup of: ") + text,
                                           std::string("MSD (10) exceeded for: ") + text));
    EXPECT_THAT(syslog.take(), ElementsAre(exceeds, backupExceeds));
    EXPECT_DEATH(resolver.traceAndSyslogSegmentListResolveError(*two, nullptr), ": res");
}

}  // namespace
}  // namespace SrTePolicy
