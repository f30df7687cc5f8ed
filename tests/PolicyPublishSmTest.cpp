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

TEST_F(PolicyPublishSmTest, AnotherBindingSidMovesNothingElse) {
    publish(P, {.bsid = 1000, .enlp = 0});
    clock.nowIs(clock.now() + 7);
    log.clear();
    publish(P, {.bsid = 1001, .enlp = 0});
    EXPECT_EQ(published(), "10.0.0.1/1 candidate 1 bsid 1001 fecs 0 0 1 since 1000\n");
    EXPECT_THAT(log, ElementsAre("+status 10.0.0.1/1"));
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
}

TEST_F(PolicyPublishSmTest, ExplicitNullByEndpointAndPolicyOfTheCandidate) {
    struct Row {
        char const* endpoint;
        char const* families[5];  // v0: explicit null for IPv4, v2: for IPv6; by value 0 to 4
    };
    Row const cases[] = {{"10.0.0.1", {"v2", "v0", "v2", "v0v2", ""}},
                         {"2001:db8::1", {"v0", "v0", "v2", "v0v2", ""}},
                         {"", {"v0v2", "v0", "v2", "v0v2", ""}},
                         {"0.0.0.0", {"v2", "v0", "v2", "v0v2", ""}},
                         {"::", {"v0", "v0", "v2", "v0v2", ""}}};
    // Those that have a FEC of their own, with the explicit null on every via.
    auto const shown = [this](PolicyStatusEntry const& entry) {
        auto const label = [this](FecId id) { return fwdStatus->fec(id)->vias()[0].label(); };
        std::string text;
        if (entry.v4FecId != entry.labelFecId) text += "v" + label(entry.v4FecId).stringValue();
        if (entry.v6FecId != entry.labelFecId) text += "v" + label(entry.v6FecId).stringValue();
        return text;
    };
    for (auto const& [endpoint, families] : cases) {
        for (std::uint32_t enlp = 0; enlp <= 4; ++enlp) {
            publish(key(endpoint), {.enlp = enlp});
            EXPECT_EQ(shown(status->policyStatusEntry(key(endpoint))), families[enlp])
                << endpoint << " " << enlp;
        }
        withdraw(key(endpoint));
        EXPECT_EQ(fecs() + rows() + published(), "");
    }
}

TEST_F(PolicyPublishSmTest, TheFirstHolderKeepsABindingSid) {
    TraceLines traces("*", 1u << 7);
    publish(Q, {.bsid = 1000});
    publish(P, {.bsid = 1000, .discriminator = 4});
    publish(R, {.bsid = 1000});

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

    auto const last = key("10.0.0.4");
    publish(last, {.bsid = 1000});
    for (auto const& gone : {P, R}) unselect(gone);  // whose turn it was went, too
    run();
    EXPECT_THAT(published(), testing::StartsWith("10.0.0.4/1 candidate 1 bsid 1000 "));

    for (auto const& waiting : {P, R}) publish(waiting, {.bsid = 1000});
    clock.nowIs(clock.now() + 1);
    syslog.take();
    withdraw(P);  // who comes next is tried, and told, again
    EXPECT_EQ(syslog.take().size(), 1u);
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
    config->coloredRibPreference.valueIs(7);  // the walk begins anew
    scheduler->runOne();
    unselect(P);  // at the bookmark
    run();
    EXPECT_EQ(tunnels(),
              "14-4294967298 2001:db8::1/128 color 7 preference 7\n"
              "14-4294967299  color 1 preference 7\n");
}

TEST_F(PolicyPublishSmTest, TheColoredRibWalkStopsWithTheMachine) {
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

TEST_F(PolicyPublishSmTest, TheEndEmptiesTheOutputs) {
    config->coloredRib.valueIs(true);
    publish(P, {.bsid = 1000, .enlp = 1});
    log.clear();
    select(Q, {});
    sm->handleDel();
    EXPECT_THAT(log, ElementsAre("-status 10.0.0.1/1", "-tunnel 0", "-fec 0", "-fec 1", "-row 0",
                                 "-row 1"));
    EXPECT_FALSE(scheduler->runOne());
}

TEST_F(PolicyPublishSmTest, OurOwnMistakesStopTheAgent) {
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
