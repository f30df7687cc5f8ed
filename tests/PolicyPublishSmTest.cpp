#include "tests/PolicyPublishFixture.h"

namespace SrTePolicy {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

using PolicyPublishSmTest = PolicyPublishFixture;

TEST_F(PolicyPublishSmTest, AnActiveCandidateBecomesFecsAStatusAndRows) {
    TraceLines capture("*", 1u << 7 | 1u << 9);
    publish(P, {.bsid = 1000, .lists = {list(5), list(3, 7), list(3, 7)}, .enlp = 0});

    EXPECT_EQ(published(), "10.0.0.1/1 candidate 1 bsid 1000 fecs 0 0 1 since 1000\n");
    EXPECT_EQ(fecs(), "0: 5 3*7 3*7\n1: 5/2 3*7/2 3*7/2\n");
    EXPECT_EQ(rows(), "0 10.0.0.1/1\n1 10.0.0.1/1\n");
    EXPECT_EQ(tunnels(), "");
    EXPECT_THAT(log, ElementsAre("+fec 0", "+fec 1", "+status 10.0.0.1/1", "+row 0", "+row 1"));
    auto traces = capture.take();
    traces.erase(traces.begin() + 4, traces.begin() + 8);  // the second FEC is traced likewise
    EXPECT_THAT(traces,
                ElementsAre("Creating policy fecId: 0x0f00000100000000", "Adding tunnelId: 13-5",
                            "Adding tunnelId: 13-3", "Adding tunnelId: 13-3",
                            "Policy: endpoint 10.0.0.1 color 1 Candidate: protocol config "
                            "originator 192.0.2.9(AS65001) discriminator 1 is now active ",
                            "Removing policy: endpoint 10.0.0.1 color 1 from the policy "
                            "tunnel table",
                            "Processed 1 publish entries, delay task: 0"));
}

TEST_F(PolicyPublishSmTest, AListOfTheActiveCandidateGoesWithTheSameFecId) {
    publish(P, {.lists = {list(1, 3), list(2)}, .enlp = 2});
    log.clear();
    publish(P, {.lists = {list(2)}, .enlp = 2});
    EXPECT_EQ(fecs(), "0: 2\n1: 2/2\n");
    EXPECT_THAT(log, ElementsAre("+fec 0", "+fec 1"));  // the readers of the status stay quiet

    clock.advance(5);  // another candidate: only its name and the time change
    publish(P, {.lists = {list(2)}, .enlp = 2, .discriminator = 9});
    EXPECT_EQ(published(), "10.0.0.1/1 candidate 9 fecs 0 0 1 since 1005\n");
    EXPECT_THAT(log, ElementsAre("+fec 0", "+fec 1", "+status 10.0.0.1/1"));
}

TEST_F(PolicyPublishSmTest, APolicyWithoutActiveIsWithdrawn) {
    config->coloredRib.valueIs(true);
    publish(P, {.bsid = 1000, .enlp = 1});
    TraceLines traces("*", 1u << 7);
    log.clear();
    ecPolicy->candidateDel({P, candidate(1)});
    run();
    EXPECT_THAT(log, ElementsAre("-tunnel 0", "-fec 0", "-fec 1", "-row 0", "-row 1",
                                 "-status 10.0.0.1/1"));
    EXPECT_THAT(traces.take(),
                ElementsAre("Policy: endpoint 10.0.0.1 color 1 will be removed",
                            "Removing policy: endpoint 10.0.0.1 color 1 from the policy "
                            "tunnel table",
                            "Delete policy fecId: 0x0f00000100000000",
                            "Delete policy fecId: 0x0f00000100000001"));

    publish(P, {});  // the numbers rest for 300 seconds
    EXPECT_EQ(published(), "10.0.0.1/1 candidate 1 fecs 2 2 2 since 1000\n");
    clock.advance(300.1);
    publish(Q, {});
    EXPECT_THAT(published(), HasSubstr("10.0.0.2/1 candidate 1 fecs 0 0 0"));
}

TEST_F(PolicyPublishSmTest, ExplicitNullByEndpointAndPolicyOfTheCandidate) {
    struct Row {
        char const* endpoint;
        char const* families[5];  // those with an explicit null, by value 0 to 4
    };
    Row const cases[] = {{"10.0.0.1", {"v6", "v4", "v6", "v4v6", ""}},
                         {"2001:db8::1", {"v4", "v4", "v6", "v4v6", ""}},
                         {"", {"v4v6", "v4", "v6", "v4v6", ""}},
                         {"0.0.0.0", {"v6", "v4", "v6", "v4v6", ""}},
                         {"::", {"v4", "v4", "v6", "v4v6", ""}}};
    auto const label = [this](FecId fecId) { return fwdStatus->fec(fecId)->vias()[0].label(); };
    for (auto const& [endpoint, families] : cases) {
        for (std::uint32_t enlp = 0; enlp <= 4; ++enlp) {
            SCOPED_TRACE(std::string(endpoint) + " " + std::to_string(enlp));
            std::string const expected = families[enlp];
            publish(key(endpoint), {.enlp = enlp});
            auto const entry = status->policyStatusEntry(key(endpoint));
            EXPECT_TRUE(label(entry.labelFecId).isNull());
            bool const v4 = expected.starts_with("v4");
            EXPECT_EQ(label(entry.v4FecId), v4 ? Wirex::MplsLabel(0) : Wirex::MplsLabel());
            EXPECT_EQ(entry.v4FecId == entry.labelFecId, !v4);
            bool const v6 = expected.ends_with("v6");
            EXPECT_EQ(label(entry.v6FecId), v6 ? Wirex::MplsLabel(2) : Wirex::MplsLabel());
            EXPECT_EQ(entry.v6FecId == entry.labelFecId, !v6);
            EXPECT_EQ(fwdStatus->fec().size(), 1 + expected.size() / 2);
            EXPECT_EQ(status->fecIdToPolicyKey().size(), 1 + expected.size() / 2);
        }
        withdraw(key(endpoint));
        EXPECT_EQ(fecs() + rows() + published(), "");
    }
}

TEST_F(PolicyPublishSmTest, VariantsGoAfterTheStatusThatStopsNamingThem) {
    publish(P, {.enlp = 3});
    EXPECT_EQ(fecs(), "0: 1\n1: 1/0\n2: 1/2\n");
    log.clear();
    publish(P, {.enlp = 4});
    EXPECT_EQ(published(), "10.0.0.1/1 candidate 1 fecs 0 0 0 since 1000\n");
    EXPECT_THAT(log, ElementsAre("+status 10.0.0.1/1", "-row 1", "-fec 1", "-row 2", "-fec 2"));

    publish(P, {.enlp = 2});
    EXPECT_EQ(fecs(), "0: 1\n3: 1/2\n");  // 1 and 2 rest
    log.clear();
    publish(P, {.enlp = 0});  // the same on an IPv4 endpoint
    EXPECT_THAT(log, ElementsAre());
    publish(P, {.enlp = 1});
    EXPECT_THAT(log, ElementsAre("+fec 4", "+status 10.0.0.1/1", "+row 4", "-row 3", "-fec 3"));
}

TEST_F(PolicyPublishSmTest, TheFirstHolderKeepsABindingSid) {
    TraceLines traces("*", 1u << 7);
    publish(Q, {.bsid = 1000});
    publish(P, {.bsid = 1000, .discriminator = 4});
    publish(R, {.bsid = 1000});

    EXPECT_EQ(published(), "10.0.0.2/1 candidate 1 bsid 1000 fecs 0 0 0 since 1000\n");
    EXPECT_EQ(fecs(), "0: 1\n");
    EXPECT_THAT(traces.take(), Contains("Policy: endpoint 10.0.0.1 color 1, binding-sid 1000 is "
                                        "unavailable"));
    auto const syslogs = syslog.take();
    ASSERT_EQ(syslogs.size(), 2u);
    EXPECT_EQ(syslogs[0],
              "SRTE_POLICY_CONFLICT_BSID_IN_USE: Endpoint 10.0.0.1, color 1, protocol config, "
              "originator 192.0.2.9(AS65001), discriminator 4 is unusable, BSID(1000) already "
              "present, conflicts with Endpoint 10.0.0.2, color 1, protocol config, originator "
              "192.0.2.9(AS65001), discriminator 1");
    EXPECT_EQ(dump(),
              "  Task Dump: \n"
              "  taskName: PublishSmTask, taskPriority: 2, currentExpirationTime: 0.000000\n"
              "  delayTime#: 0.100000\n"
              "  pendingPolicies #0 \n"
              "  pendingBookmark: endpoint  color 4294967295 \n"
              "  bindingSidPolicyMap #1 \n"
              "  (endpoint 10.0.0.2 color 1, 1000)\n"
              "  bsid: 1000, chosen: endpoint 10.0.0.2 color 1, competitors #2: "
              "endpoint 10.0.0.1 color 1, endpoint 10.0.0.3 color 1\n"
              "  policyBindingSidMap #3 \n"
              "  (endpoint 10.0.0.1 color 1, 1000)\n"
              "  (endpoint 10.0.0.2 color 1, 1000)\n"
              "  (endpoint 10.0.0.3 color 1, 1000)\n");

    withdraw(Q);  // the lowest competitor takes over
    EXPECT_EQ(published(), "10.0.0.1/1 candidate 4 bsid 1000 fecs 1 1 1 since 1000\n");
    withdraw(R);  // a competitor that leaves lets the others be
    withdraw(P);
    EXPECT_EQ(published() + fecs() + rows(), "");
    EXPECT_THAT(dump(), HasSubstr("bindingSidPolicyMap #0 \n  policyBindingSidMap #0 \n"));
}

TEST_F(PolicyPublishSmTest, AChangedBindingSidIsClaimedAndTheOldOneLetGo) {
    publish(P, {.bsid = 1000});
    publish(Q, {.bsid = 1000});
    log.clear();
    publish(P, {.bsid = 2000});  // Q gets the old one after P's status has left it
    EXPECT_THAT(log, ElementsAre("+status 10.0.0.1/1", "+fec 1", "+status 10.0.0.2/1", "+row 1"));

    publish(P, {.bsid = 1000});  // refused: withdrawn as a whole, and 2000 is free
    EXPECT_EQ(published(), "10.0.0.2/1 candidate 1 bsid 1000 fecs 1 1 1 since 1000\n");
    publish(R, {.bsid = 2000});
    publish(Q, {});  // without a binding SID it keeps its FEC; P takes over
    EXPECT_EQ(published(),
              "10.0.0.1/1 candidate 1 bsid 1000 fecs 3 3 3 since 1000\n"
              "10.0.0.2/1 candidate 1 fecs 1 1 1 since 1000\n"
              "10.0.0.3/1 candidate 1 bsid 2000 fecs 2 2 2 since 1000\n");
}

TEST_F(PolicyPublishSmTest, WhatNoFecCanExpressIsNotPublished) {
    Active wide{.bsid = 1000, .lists = {}, .enlp = 3};
    for (std::uint32_t id = 1; id <= 600; ++id) wide.lists.push_back(list(id));
    publish(P, wide);
    publish(Q, {.bsid = 1000});
    EXPECT_EQ(fwdStatus->fec(status->policyStatusEntry(P).v4FecId)->vias().size(), 600u);

    TraceLines traces("*", 1u << 7);
    wide.lists.push_back(list(601));
    publish(P, wide);  // gives way to Q
    EXPECT_EQ(published(), "10.0.0.2/1 candidate 1 bsid 1000 fecs 3 3 3 since 1000\n");
    EXPECT_EQ(fecs(), "3: 1\n");
    EXPECT_THAT(traces.take(),
                Contains("Policy: endpoint 10.0.0.1 color 1 cannot be published: ViaIndex::"
                         "value < ViaIndex::min or > ViaIndex::max not allowed"));
    for (std::uint32_t again = 2; again < 5; ++again) {
        publish(R, {.bsid = 1000, .lists = {list(1, 0)}, .discriminator = again});
    }
    EXPECT_THAT(traces.take(),
                Contains("Policy: endpoint 10.0.0.3 color 1 cannot be published: Via::"
                         "weight < Via::minWeight not allowed"));
    EXPECT_EQ(syslog.take().size(), 1u);  // Q's first try: what has no FEC claims nothing

    publish(R, {});  // no identifier was lost on the way
    EXPECT_THAT(published(), HasSubstr("10.0.0.3/1 candidate 1 fecs 4 4 4"));
}

TEST_F(PolicyPublishSmTest, TheColoredRibFollowsItsSettingsInSlices) {
    publish(P, {.enlp = 0});
    publish(key("2001:db8::1", 7), {});
    config->coloredRibPreference.valueIs(5);
    scheduler->yieldAfterWorkIs(1);
    log.clear();
    config->coloredRib.valueIs(true);
    select(key(""), {});
    EXPECT_THAT(log, ElementsAre());  // a handler writes nothing
    scheduler->runOne();              // new policies follow at once
    EXPECT_THAT(log, ElementsAre("+fec 3", "+status /1", "+row 3", "+tunnel 3", "+tunnel 0"));
    EXPECT_FALSE(sm->drained());
    run();
    // Named after the label FEC.
    EXPECT_EQ(tunnels(),
              "14-4294967296 10.0.0.1/32 color 1 preference 5\n"
              "14-4294967298 2001:db8::1/128 color 7 preference 5\n"
              "14-4294967299  color 1 preference 5\n");
    config->coloredRibPreference.valueIs(6);
    scheduler->runOne();
    config->coloredRib.valueIs(false);  // begins anew
    run();
    EXPECT_EQ(tunnels(), "");
}

TEST_F(PolicyPublishSmTest, TheColoredRibWalkStopsWithTheMachine) {
    restartsHitless = false;
    for (auto const& policy : {P, Q}) publish(policy, {});
    Watch const ending(policyTunnels->entry(), [this](auto const&) { sm->handleDel(); });
    config->coloredRib.valueIs(true);
    run();
    EXPECT_EQ(published() + fecs() + rows() + tunnels(), "");
}

TEST_F(PolicyPublishSmTest, AYieldLeavesABookmark) {
    TraceLines traces("*", 1u << 9);
    scheduler->yieldAfterWorkIs(1);
    for (auto const& policy : {P, Q, R}) select(policy, {});
    scheduler->runOne();
    EXPECT_THAT(traces.take(), ElementsAre("Bookmark placed at policy: endpoint 10.0.0.2 color 1",
                                           "Processed 1 publish entries, delay task: 0"));
    EXPECT_THAT(dump(), HasSubstr("pendingPolicies #2 \n"
                                  "  Policy: endpoint 10.0.0.2 color 1\n"
                                  "  Policy: endpoint 10.0.0.3 color 1\n"
                                  "  pendingBookmark: endpoint 10.0.0.2 color 1 \n"));
    log.clear();
    select(P, {.discriminator = 2});  // before the bookmark: waits for its turn
    run();
    EXPECT_THAT(log, ElementsAre("+fec 1", "+status 10.0.0.2/1", "+row 1", "+fec 2",
                                 "+status 10.0.0.3/1", "+row 2", "+status 10.0.0.1/1"));
}

TEST_F(PolicyPublishSmTest, ARestartKeepsWhatIsNamedAndSweepsTheRest) {
    config->coloredRib.valueIs(true);
    publish(P, {.bsid = 1000, .enlp = 3});
    publish(Q, {.bsid = 1000});
    publish(R, {.bsid = 2000});
    clock.advance(50);
    sm = nullptr;
    auto const fecOf = [](std::uint64_t index) { return FecId(firstFecId + index); };
    fwdStatus->fecCommit(Pooltab::Fib::Fec(fecOf(77)));
    fwdStatus->fecCommit(Pooltab::Fib::Fec(FecId(0x10000004E)));  // in range, whatever its type
    fwdStatus->fecCommit(Pooltab::Fib::Fec(fecOf(0x100000000)));  // somebody else's
    status->fecIdToPolicyKeyIs(fecOf(79), P);
    status->fecIdToPolicyKeyIs(fecOf(80), key("10.0.0.99"));
    policyTunnels->entryIs({fecOf(1).fecIdToTunnelId(), {}, 1, 0});  // not of a label FEC
    policyTunnels->entryIs({fecOf(99).fecIdToTunnelId(), {}, 1, 0});
    // Meanwhile R has gone, and a lower key wants what P holds.
    unselect(R);
    select(key("10.0.0.0"), {.bsid = 1000});
    start();
    run();

    EXPECT_EQ(published(), "10.0.0.1/1 candidate 1 bsid 1000 fecs 0 1 2 since 1000\n");
    EXPECT_EQ(rows(), "0 10.0.0.1/1\n1 10.0.0.1/1\n2 10.0.0.1/1\n");
    EXPECT_EQ(fecs(), "0: 1\n1: 1/0\n2: 1/2\n4294967296:\n");
    EXPECT_EQ(tunnels(), "14-4294967296 10.0.0.1/32 color 1 preference 0\n");
    publish(key("10.0.0.5"), {});  // R's number was in use at the start
    EXPECT_THAT(published(), HasSubstr("10.0.0.5/1 candidate 1 fecs 4 4 4"));
}

TEST_F(PolicyPublishSmTest, OfTwoSurvivingHoldersOfABindingSidTheFirstStays) {
    publish(P, {.bsid = 1000});
    publish(Q, {.bsid = 2000});
    sm = nullptr;
    select(Q, {.bsid = 1000});
    auto entry = status->policyStatusEntry(Q);
    entry.bindingSid = Wirex::MplsLabel(1000);
    status->policyStatusEntryIs(entry);
    start();
    run();
    EXPECT_EQ(published(), "10.0.0.1/1 candidate 1 bsid 1000 fecs 0 0 0 since 1000\n");
}

TEST_F(PolicyPublishSmTest, BeforeTheStartNothingHappensAndTheEndEmptiesTheOutputs) {
    restartsHitless = false;
    config->coloredRib.valueIs(true);
    publish(P, {.bsid = 1000, .enlp = 1});
    select(Q, {});
    log.clear();
    sm->handleDel();
    EXPECT_THAT(log, ElementsAre("-status 10.0.0.1/1", "-tunnel 0", "-fec 0", "-fec 1", "-row 0",
                                 "-row 1"));
    select(R, {});
    config->coloredRib.valueIs(false);
    EXPECT_FALSE(scheduler->runOne());

    create();
    select(P, {.discriminator = 2});
    config->coloredRib.valueIs(true);
    sm->handleDel();
    EXPECT_FALSE(scheduler->runOne());
    EXPECT_EQ(log.size(), 6u);
}

TEST_F(PolicyPublishSmTest, OurOwnMistakesStopTheAgent) {
    restartsHitless = false;
    publish(P, {.bsid = 1000});
    status->policyStatusEntryDel(P);
    select(Q, {.bsid = 1000});
    EXPECT_DEATH(
        scheduler->runReady(),
        "SrTePolicyPublishSm.*!!chosenStatusEntry: Chosen policy does not exist in status");
    EXPECT_DEATH(BindingSidClaims().release(Wirex::MplsLabel(), P),
                 "bsid != Wirex::MplsLabel\\(\\): Cannot release invalid binding-sid");

    TraceLines traces("SrTePolicyBindingSidClaims", Fastlog::allLevels);
    BindingSidClaims().release(Wirex::MplsLabel(1000), P);
    EXPECT_THAT(traces.take(),
                ElementsAre("Binding-sid 1000 is not available when expected for policy: "
                            "endpoint 10.0.0.1 color 1"));
}

}  // namespace
}  // namespace SrTePolicy
