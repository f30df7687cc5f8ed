#include "tests/PolicyInputFixture.h"

namespace SrTePolicy::Test {
namespace {

using enum Protocol;
using enum PolicyInvalidReason;
using testing::ElementsAre;
using testing::IsEmpty;

using PolicyInputSmTest = PolicyInputFixture;

TEST_F(PolicyInputSmTest, AValidCandidateIsHandedOnWithItsLists) {
    offer({.bsid = 1000, .lists = {{{16, 17}, 3}, {{18}}}, .enlp = 3});
    offer({.key = Q, .protocol = config});
    EXPECT_EQ(run(), "+PBGP1; +Qconfig1");
    EXPECT_EQ(outputs(), "PBGP1 bsid 1000 enlp 3: 16,17x3 18x1\nQconfig1: 16,17x1\n");
    EXPECT_EQ(listed(), "PBGP1: 0 bsid 1000 since 500\nQconfig1: 0 since 500\n");
    EXPECT_THAT(syslog.take(), IsEmpty());

    sm->handleInitialized();  // already running
    EXPECT_EQ(users->segmentListUser().size(), 3u);

    withdraw({});
    EXPECT_EQ(run(), "-PBGP1");
    EXPECT_EQ(outputs(), "Qconfig1: 16,17x1\n");
    EXPECT_EQ(listed(), "Qconfig1: 0 since 500\n");
    inputs.at(config)->policyInputEntryDelAll();
    run();
    EXPECT_EQ(outputs() + listed(), "");
    EXPECT_FALSE(verdicts->hasPolicy(Q));
}

TEST_F(PolicyInputSmTest, EveryCandidateHasItsVerdict) {
    std::string const who =
        "Endpoint 192.0.2.5, color 100, protocol BGP, originator 192.0.2.9(AS65001), "
        "discriminator 1 is unusable";
    std::string const outOfRange = "SRTE_POLICY_INVALID_BSID_OUT_OF_RANGE: " + who;
    std::string const inUse = "SRTE_POLICY_INVALID_BSID_IN_USE_OTHER_APPLICATION: " + who;
    std::string const noLists = "SRTE_POLICY_INVALID_NO_SEGMENT_LISTS: " + who;
    std::vector<List> const none;
    std::vector<List> const nine = {{{16}}, {{1, 2, 3, 4, 5, 6, 7, 8, 9}}};
    std::vector<List> const noLabel = {{{16, 0x100000}}};
    struct Case {
        Path path;
        PolicyInvalidReason reason;
        std::string message;
    };
    Case const cases[] = {
        {{}, usable, ""},
        {{.bsid = 999}, bsidOutOfRange, outOfRange + ": BSID(999) is outside SRLB [1000, 1099]"},
        {{.bsid = 1000}, usable, ""},
        {{.bsid = 1099}, usable, ""},
        {{.bsid = 1100}, bsidOutOfRange, outOfRange + ": BSID(1100) is outside SRLB [1000, 1099]"},
        {{.bsid = 1050}, bsidInUse, inUse + ": BSID(1050) already in use by another application"},
        {{.bsid = 1050, .lists = none}, noSegmentLists, noLists},
        {{.protocol = config, .bsid = 1000, .lists = none}, noSegmentLists, ""},
        // Lists that cannot be interned come after all else.
        {{.lists = nine}, noSegmentLists, noLists},
        {{.lists = noLabel}, noSegmentLists, noLists},
        {{.bsid = 1050, .lists = nine},
         bsidInUse,
         inUse + ": BSID(1050) already in use by another application"},
        // They can be interned, and are never usable for want of a label.
        {{.lists = {{{}}}}, usable, ""},
        {{.lists = {{{1, 2, 3, 4, 5, 6, 7, 0xFFFFF}}}}, usable, ""},
    };
    route(1050);
    for (auto const& [path, reason, message] : cases) {
        offer(path);
        run();
        EXPECT_EQ(reasonOf(path), reason) << path.bsid;
        EXPECT_EQ(selectionInput->policyIdEntry().size(), reason == usable ? 1u : 0u);
        outputs();  // nothing of an invalid candidate is interned
        auto const said = syslog.take();
        EXPECT_EQ(said, message.empty() ? std::vector<std::string>() : std::vector{message});
        clock.advance(1);  // the next one may say the same
        withdraw(path);
        run();
    }
}

TEST_F(PolicyInputSmTest, ABindingSidMayHaveToBeSpecified) {
    offer({.protocol = config});
    offer({.protocol = pcep, .bsid = 1000});
    run();
    TraceLines traces("SrTePolicyInputSm");
    settings->specifiedBsidOnly.valueIs(true);
    EXPECT_EQ(traces.take().size(), 6u);  // two for each protocol
    EXPECT_EQ(run(), "-Pconfig1");
    EXPECT_THAT(
        syslog.take(),
        ElementsAre("SRTE_POLICY_INVALID_BSID_MISSING: Endpoint 192.0.2.5, color 100, protocol "
                    "config, originator 192.0.2.9(AS65001), discriminator 1 is unusable"));
    EXPECT_THAT(policyInputProtocols(), ElementsAre(config, bgp));
}

TEST_F(PolicyInputSmTest, AnSrlbMayEndAboveTheLabels) {
    mplsConfig->labelRangeIs("srlb", {0xFFFFF, 0xFFFFFFFF});
    offer({.discriminator = 4, .bsid = 0x100001});
    offer({.discriminator = 5, .bsid = 0xFFFFF});
    EXPECT_EQ(run(), "+PBGP5");
    EXPECT_THAT(syslog.take().back(),
                testing::EndsWith("BSID(1048577) is outside SRLB [1048575, 4294967295]"));
    mplsConfig->labelRangeIs("srgb", {16000, 8000});
    EXPECT_FALSE(scheduler->runOne());
}

TEST_F(PolicyInputSmTest, ABindingSidKnowsWhoAsksForIt) {
    Path path{.bsid = 999};
    offer(path);
    offer({.key = Q, .bsid = 999});
    run();
    std::string const onP =
        "    endpoint 192.0.2.5 color 100 protocol BGP originator "
        "192.0.2.9(AS65001) discriminator 1\n";
    std::string const onQ =
        "    endpoint 2001:db8::6 color 100 protocol BGP originator "
        "192.0.2.9(AS65001) discriminator 1\n";
    EXPECT_EQ(bsids(), "  bsid: 999 available: 1 policies #2\n" + onP + onQ);

    route(1001);
    path.bsid = 1001;
    offer(path);
    run();
    EXPECT_EQ(bsids(), "  bsid: 999 available: 1 policies #1\n" + onQ +
                           "  bsid: 1001 available: 0 policies #1\n" + onP);
    path.bsid = noBsid;
    offer(path);
    withdraw({.key = Q});
    run();
    EXPECT_EQ(dumpOf(*sm),
              "  Task Dump:\n"
              "    taskName: InputSmTask, taskPriority: 2, currentExpirationTime: 0.000000\n"
              "  srlbConfigRange \n"
              "  srlbConfigRangeBase: 1000\n"
              "  srlbConfigRangeSize: 100\n"
              "  srlbConfigRangeMax: 1099\n");
}

TEST_F(PolicyInputSmTest, AnEntryIsRewrittenWithItsVersionOrReplaced) {
    Path path{.bsid = 1000, .lists = {{{16}}, {{17}}}};
    offer(path);
    run();
    EXPECT_THAT(listIds(path), ElementsAre(1, 2));
    auto version = entryOf(path).version;

    auto const expectRewrite = [&](std::vector<std::uint32_t> const& ids, char const* told) {
        offer(path);
        EXPECT_EQ(run(), told);
        EXPECT_EQ(listIds(path), ids);
        EXPECT_EQ(entryOf(path).version, ++version);
        outputs();
    };
    path.bsid = 1001;
    expectRewrite({1, 2}, "bsid PBGP1; +PBGP1");
    path.enlp = 2;
    expectRewrite({1, 2}, "+PBGP1");
    path.lists = {{{17}}, {{16}, 7}};
    expectRewrite({2, 1}, "+PBGP1");
    path.lists = {{{18}}, {{17}}, {{17}, 2}};
    expectRewrite({3, 2, 2}, "+PBGP1");

    // Rank is none of an entry's own changes, but makes it another entry.
    path.preference = 200;
    offer(path);
    EXPECT_EQ(run(), "+PBGP1");
    EXPECT_EQ(entryOf(path).version, version);
}

TEST_F(PolicyInputSmTest, AReplacedSourceIsComparedWithWhatIsHeld) {
    inputs[pcep]->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 1}.entry());
    inputs[pcep]->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 2}.entry());
    run();
    TraceLines traces("SrTePolicyInputSm");

    auto const other = policyInputFactory(pcep);
    other->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 2}.entry());
    other->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 3}.entry());
    // Looked up by the protocol of the candidate: nobody offers this one.
    other->policyInputEntryIs(Path{.protocol = config, .discriminator = 4}.entry());
    source->policyInputIs(other);
    EXPECT_THAT(traces.take(), ElementsAre("Source change: add new policies",
                                           "Source change: cleanup of stale policies"));
    EXPECT_EQ(run(), "+PPCEP3; -PPCEP1");  // what goes makes way last
    other->policyInputEntryIs(PolicyInputEntry(Path{.protocol = pcep, .discriminator = 3}.id()));
    EXPECT_EQ(run(), "-PPCEP3");  // an empty entry is none
}

// Were it otherwise, selection could withdraw the policy between two runs.
TEST_F(PolicyInputSmTest, WhatMayStandInForOldListsComesFirst) {
    offer({.discriminator = 3});
    run();
    scheduler->yieldAfterWorkIs(1);
    offer({.discriminator = 3, .lists = {{{18}}}});
    offer({.discriminator = 4, .lists = {{{19}}}});
    scheduler->runOne();
    EXPECT_THAT(takeLog(), ElementsAre("+PBGP4", "+PBGP3"));

    route(1000);
    offer({.discriminator = 4, .bsid = 1000});
    EXPECT_EQ(run(), "-PBGP4");
    router.routeDel(1000);  // it may come again
    withdraw({.discriminator = 3});
    scheduler->runOne();
    EXPECT_THAT(takeLog(), ElementsAre("+PBGP4", "-PBGP3"));
}

TEST_F(PolicyInputSmTest, ARouteThatStaysOnABindingSidIsToldOfOnce) {
    route(1000);
    offer({.bsid = 1000});
    run();
    EXPECT_EQ(syslog.take().size(), 1u);
    clock.advance(1);
    route(1000);
    run();
    EXPECT_THAT(syslog.take(), IsEmpty());
}

TEST_F(PolicyInputSmTest, RunsTraceWhatTheyDo) {
    auto const first = Path{.discriminator = 1}.id().stringValue();
    auto const second = Path{.discriminator = 2}.id().stringValue();
    TraceLines traces("*", 1u << 8 | 1u << 9);
    sm = nullptr;
    create();
    sm->handleInitialized();
    EXPECT_EQ(traces.take()[0], "handleInitialized called with segmentListSharing: none");
    offer({.discriminator = 1});
    offer({.discriminator = 2});
    traces.take();
    scheduler->yieldAfterWorkIs(1);
    scheduler->runOne();
    fieldlog->outputCloggedIs(true);
    scheduler->runOne();
    fieldlog->outputCloggedIs(false);
    withdraw({.discriminator = 1});
    clock.advance(0.1);
    run();
    EXPECT_THAT(
        traces.take(),
        ElementsAre("Processing policy entry: " + first,
                    "Registration of SegmentList Id: 1 for Policy Id: " + first,
                    "Processed 1 input policy entries, delay task: 0",
                    "Processed 0 input policy entries, delay task: 1",
                    "Policy Entry: " + first + " has changed", "Processing policy entry: " + second,
                    "Registration of SegmentList Id: 2 for Policy Id: " + second,
                    "Processed 1 input policy entries, delay task: 0",
                    "Processing policy entry: " + first, "Policy Id " + first + " will be removed",
                    "Removing registration of SegmentList Id: 1 for Policy Id: " + first,
                    "Processed 1 input policy entries, delay task: 0"));
}

TEST_F(PolicyInputSmTest, ItWorksBetweenStartAndDeletionOnly) {
    offer({.bsid = 1000});
    offer({.key = Q, .bsid = 999});
    run();
    sm->handleDel();
    EXPECT_EQ(outputs() + listed(), "");
    sm->handleDel();
    create();  // started by nobody
    offer({.bsid = 1001});
    route(1000);
    mplsConfig->labelRangeDel("srlb");
    settings->specifiedBsidOnly.valueIs(true);
    source->policyInputDel(bgp);
    EXPECT_FALSE(scheduler->runOne());
    EXPECT_THAT(log, ElementsAre("-PBGP1"));
}

TEST_F(PolicyInputSmTest, WithoutTrackingTheLfibItselfIsWatched) {
    sm = nullptr;
    sm = policyInputSmFactory(settings, source, mplsConfig, router.merge->lfibStatus(), nullptr,
                              selectionInput, dedup, users, verdicts, scheduler, fieldlog);
    sm->handleInitialized();
    offer({.bsid = 1000});
    EXPECT_EQ(run(), "+PBGP1");
    route(1000);
    EXPECT_EQ(run(), "-PBGP1");
}

TEST_F(PolicyInputSmTest, ABindingSidWithoutItsUserIsAProgrammingError) {
    EXPECT_DEATH(sm->isPolicyEntryValid(Path{.bsid = 1000}.entry()), "bsidUserInfo");
}

}  // namespace
}  // namespace SrTePolicy::Test
