#include "tests/PolicyInputFixture.h"

namespace SrTePolicy::Test {
namespace {

using enum Protocol;
using enum PolicyInvalidReason;
using testing::ElementsAre;
using testing::IsEmpty;

using PolicyInputSmTest = PolicyInputFixture;

constexpr std::uint32_t gribi = 1;
constexpr std::uint32_t ourselves = 24;

TEST_F(PolicyInputSmTest, AValidCandidateIsHandedOnWithItsLists) {
    offer({.bsid = 1000, .lists = {{{16, 17}, 3}, {{18}}}, .enlp = 3});
    offer({.key = Q, .protocol = config});
    EXPECT_EQ(run(), "+PBGP1; +Qconfig1");
    EXPECT_EQ(outputs(), "PBGP1 bsid 1000 enlp 3: 16,17x3 18x1\nQconfig1: 16,17x1\n");
    EXPECT_EQ(listed(), "PBGP1: 0 bsid 1000 since 500\nQconfig1: 0 since 500\n");
    EXPECT_THAT(syslog.take(), IsEmpty());

    for (auto row = users->segmentListUser().begin(); row; row.next()) {
        auto const& list = *row.value().segmentList();
        EXPECT_TRUE(list.distinguisherId().isPolicyList());
        EXPECT_EQ(row.value().policyId().size(), 1u);
        EXPECT_TRUE(row.value().policyId().has(list.policyId()));
    }

    auto const registered = users->segmentListUser().size();
    sm->handleInitialized();  // already running
    EXPECT_EQ(users->segmentListUser().size(), registered);

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
        {{.bsid = 0}, bsidOutOfRange, outOfRange + ": BSID(0) is outside SRLB [1000, 1099]"},
        {{.bsid = 1050}, bsidInUse, inUse + ": BSID(1050) already in use by another application"},
        {{.bsid = 1051}, bsidInUse, inUse + ": BSID(1051) already in use by another application"},
        {{.bsid = 1052}, usable, ""},
        {{.lists = none}, noSegmentLists, noLists},
        {{.bsid = 999, .lists = none}, noSegmentLists, noLists},
        {{.bsid = 1050, .lists = none}, noSegmentLists, noLists},
        {{.protocol = config, .bsid = 1000, .lists = none}, noSegmentLists, ""},
        // Lists that cannot be interned come after all else.
        {{.lists = nine}, noSegmentLists, noLists},
        {{.lists = noLabel}, noSegmentLists, noLists},
        {{.protocol = config, .lists = nine}, noSegmentLists, ""},
        {{.bsid = 1050, .lists = nine},
         bsidInUse,
         inUse + ": BSID(1050) already in use by another application"},
        // They can be interned, and are never usable for want of a label.
        {{.lists = {{{}}}}, usable, ""},
        {{.lists = {{{1, 2, 3, 4, 5, 6, 7, 0xFFFFF}}}}, usable, ""},
    };
    route(1050);
    route(1051, gribi);
    route(1052, ourselves);
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
    offer({.protocol = bgp, .bsid = 1000});
    offer({.protocol = pcep, .lists = {}});
    run();
    syslog.take();
    clock.advance(10);
    TraceLines traces("SrTePolicyInputSm");
    settings->specifiedBsidOnly.valueIs(true);
    EXPECT_EQ(traces.take().size(), 6u);  // two for each protocol
    EXPECT_EQ(run(), "-Pconfig1");
    EXPECT_EQ(listed(),
              "PPCEP1: 4 since 510\nPBGP1: 0 bsid 1000 since 510\nPconfig1: 2 since 510\n");
    EXPECT_THAT(
        syslog.take(),
        ElementsAre(
            "SRTE_POLICY_INVALID_NO_SEGMENT_LISTS: Endpoint 192.0.2.5, color 100, protocol PCEP, "
            "originator 192.0.2.9(AS65001), discriminator 1 is unusable",
            "SRTE_POLICY_INVALID_BSID_MISSING: Endpoint 192.0.2.5, color 100, protocol config, "
            "originator 192.0.2.9(AS65001), discriminator 1 is unusable"));
    EXPECT_THAT(policyInputProtocols(), ElementsAre(config, bgp));

    settings->specifiedBsidOnly.valueIs(false);
    EXPECT_EQ(run(), "+Pconfig1");
}

TEST_F(PolicyInputSmTest, AChangedSrlbJudgesAgainAndNothingElse) {
    offer({.discriminator = 1, .bsid = 1000});
    offer({.discriminator = 2, .bsid = 1099});
    offer({.discriminator = 3});
    run();
    auto const was = entryOf({.discriminator = 2});
    clock.advance(10);

    mplsConfig->labelRangeIs("srgb", {16000, 8000});
    EXPECT_FALSE(scheduler->runOne());
    mplsConfig->labelRangeIs("srlb", {1001, 99});
    EXPECT_EQ(run(), "-PBGP1");
    EXPECT_EQ(entryOf({.discriminator = 2}), was);
    EXPECT_EQ(listed(),
              "PBGP1: 1 bsid 1000 since 500\nPBGP2: 0 bsid 1099 since 500\n"
              "PBGP3: 0 since 500\n");

    mplsConfig->labelRangeDel("srlb");
    EXPECT_EQ(run(), "-PBGP2");
    EXPECT_THAT(syslog.take().back(), testing::EndsWith("BSID(1099) is outside SRLB [0, 0]"));

    // A range may end above the labels; then it still holds labels only.
    mplsConfig->labelRangeIs("srlb", {0xFFFFF, 0xFFFFFFFF});
    offer({.discriminator = 4, .bsid = 0x100001});
    offer({.discriminator = 5, .bsid = 0xFFFFF});
    EXPECT_EQ(run(), "+PBGP5");
    EXPECT_THAT(syslog.take().back(),
                testing::EndsWith("BSID(1048577) is outside SRLB [1048575, 4294967295]"));
}

TEST_F(PolicyInputSmTest, ALabelThatAnotherApplicationTakesIsLost) {
    offer({.discriminator = 1, .bsid = 1000});
    offer({.discriminator = 2, .bsid = 1000});
    run();
    route(1000, ourselves);
    route(1002);
    EXPECT_FALSE(scheduler->runOne());
    route(1000);
    EXPECT_EQ(run(), "-PBGP2; -PBGP1");
    route(1000);  // a touch
    EXPECT_FALSE(scheduler->runOne());
    routeGoes(1000);  // our own route shows again
    EXPECT_EQ(run(), "+PBGP1; +PBGP2");
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
    path.lists = {{{16}, 7}, {{17}}};
    expectRewrite({1, 2}, "+PBGP1");
    path.lists = {{{17}}, {{16}, 7}};
    expectRewrite({2, 1}, "+PBGP1");
    path.lists = {{{18}}, {{17}}, {{17}, 2}};
    expectRewrite({3, 2, 2}, "+PBGP1");
    path.lists = {{{17}}};
    expectRewrite({2}, "+PBGP1");

    // Rank is none of an entry's own changes, but makes it another entry.
    path.preference = 200;
    path.originator = {address("192.0.2.1"), 1};
    offer(path);
    EXPECT_EQ(run(), "+PBGP1");
    EXPECT_EQ(entryOf(path).preference, Preference(200));
    EXPECT_EQ(entryOf(path).originator, path.originator);
    EXPECT_EQ(entryOf(path).version, version);

    clock.advance(10);
    sm->handlePolicyEntry(path.id());
    EXPECT_EQ(run(), "");
    EXPECT_EQ(listed(), "PBGP1: 0 bsid 1001 since 510\n");
}

TEST_F(PolicyInputSmTest, AListIsRegisteredWhileAnEntryNamesIt) {
    Path path{.lists = {{{16}}, {{17}}}};
    offer(path);
    run();
    Watch<SegmentListId> const userWatch(users->segmentListUserSubject(), [this](SegmentListId id) {
        auto const* const user = users->segmentListUser(id);
        auto const count = user ? std::to_string(user->policyId().size()) : "none";
        log.push_back("users of " + id.stringValue() + ": " + count);
    });
    path.lists = {{{17}}, {{18}}};
    offer(path);
    EXPECT_EQ(run(), "users of 3: 0; users of 3: 1; +PBGP1; users of 1: 0; users of 1: none");
    withdraw(path);
    EXPECT_EQ(run(), "users of 2: 0; users of 2: none; users of 3: 0; users of 3: none; -PBGP1");
}

TEST_F(PolicyInputSmTest, AProtocolComesIsReplacedAndGoes) {
    inputs[pcep]->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 1}.entry());
    inputs[pcep]->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 2}.entry());
    offer({.protocol = bgp});
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

    inputs[pcep]->policyInputEntryDelAll();  // nobody's input any more
    EXPECT_FALSE(scheduler->runOne());
    other->policyInputEntryIs(PolicyInputEntry(Path{.protocol = pcep, .discriminator = 3}.id()));
    EXPECT_EQ(run(), "-PPCEP3");  // an empty entry is none

    source->policyInputDel(pcep);
    other->policyInputEntryIs(Path{.protocol = pcep, .discriminator = 5}.entry());
    EXPECT_EQ(run(), "-PPCEP2");
    EXPECT_EQ(outputs(), "PBGP1: 16,17x1\n");
}

TEST_F(PolicyInputSmTest, APolicyNeverLosesItsCandidatesInBetween) {
    offer({.discriminator = 1});
    offer({.discriminator = 2});
    offer({.key = Q});
    run();
    scheduler->yieldAfterWorkIs(1);
    withdraw({.discriminator = 1});
    offer({.discriminator = 2, .bsid = 999});
    offer({.discriminator = 3});
    withdraw({.discriminator = 4});
    offer({.key = Q, .enlp = 1});
    scheduler->runOne();
    EXPECT_THAT(takeLog(), ElementsAre("-PBGP2", "+PBGP3", "-PBGP1"));
    EXPECT_EQ(run(), "+QBGP1");

    // New lists may be worse than the old ones: what may stand in for them comes first.
    offer({.discriminator = 3, .lists = {{{18}}}});
    offer({.discriminator = 4, .lists = {{{19}}}});
    scheduler->runOne();
    EXPECT_THAT(takeLog(), ElementsAre("+PBGP4", "+PBGP3"));
    scheduler->yieldAfterWorkIs(std::nullopt);
}

TEST_F(PolicyInputSmTest, TheTaskYieldsOrWaitsAndResumesAtItsBookmark) {
    for (std::uint32_t i = 1; i <= 3; ++i) offer({.discriminator = i});
    scheduler->yieldAfterWorkIs(2);
    TraceLines traces("SrTePolicyInputSm");
    scheduler->runOne();
    fieldlog->outputCloggedIs(true);
    scheduler->runOne();
    EXPECT_EQ(scheduler->nextExpiration(), 0.1);
    fieldlog->outputCloggedIs(false);
    clock.advance(0.1);
    offer({.discriminator = 0});
    inputs.at(bgp)->policyInputEntryDel(Path{.discriminator = 3}.id());  // bookmarked
    run();
    auto const id = [](std::uint32_t discriminator) {
        return Path{.discriminator = discriminator}.id().stringValue();
    };
    EXPECT_THAT(
        traces.take(),
        ElementsAre("Processing policy entry: " + id(1), "Processing policy entry: " + id(2),
                    "Processed 2 input policy entries, delay task: 0",
                    "Processed 0 input policy entries, delay task: 1",
                    "Policy Entry: " + id(0) + " has changed",
                    "Policy Entry: " + id(3) + " has changed", "Processing policy entry: " + id(3),
                    "Processed 1 input policy entries, delay task: 0",
                    "Processing policy entry: " + id(0),
                    "Processed 1 input policy entries, delay task: 0"));
    scheduler->yieldAfterWorkIs(std::nullopt);
}

TEST_F(PolicyInputSmTest, TracesNameListsAndCandidates) {
    TraceLines traces("SrTePolicyIdEntryWriter");
    offer({});
    run();
    withdraw({});
    run();
    auto const id = Path{}.id().stringValue();
    EXPECT_THAT(traces.take(),
                ElementsAre("Registration of SegmentList Id: 1 for Policy Id: " + id,
                            "Policy Id " + id + " will be removed",
                            "Removing registration of SegmentList Id: 1 for Policy Id: " + id));
}

TEST_F(PolicyInputSmTest, AStartKeepsWhatHoldsAndSweepsWhatWent) {
    Path const stays{.discriminator = 1, .bsid = 1000, .lists = {{{16}}, {{17}}, {{16}}}};
    Path const changes{.discriminator = 2, .lists = {{{16}}, {{17}}}};
    Path const invalid{.discriminator = 3, .bsid = 1099};
    Path const went{.key = Q};
    for (auto const& path : {stays, changes, invalid, went}) offer(path);
    run();
    auto const was = entryOf(stays);
    crash();

    offer({.discriminator = 2, .lists = {{{17}}}});
    withdraw(went);
    mplsConfig->labelRangeIs("srlb", {1000, 50});
    TraceLines traces("SrTePolicyInputSm");
    restart();
    EXPECT_EQ(traces.take()[0], "handleInitialized called with segmentListSharing: none");
    EXPECT_EQ(run(), "+PBGP2; -PBGP3; -QBGP1");
    EXPECT_EQ(outputs(), "PBGP1 bsid 1000: 16x1 17x1 16x1\nPBGP2: 17x1\n");
    EXPECT_EQ(entryOf(stays), was);
    EXPECT_EQ(entryOf(changes).version, 2u);
    EXPECT_EQ(listed(),
              "PBGP1: 0 bsid 1000 since 500\nPBGP2: 0 since 500\n"
              "PBGP3: 1 bsid 1099 since 500\n");
}

TEST_F(PolicyInputSmTest, ItWorksBetweenStartAndDeletionOnly) {
    restartsHitless = false;
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
    sm->handleDel();
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
