#include "SrTePolicy/SrTePolicySbfdInputSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace {

using namespace SrTePolicy;
using Sbfd::SbfdKey;
using testing::ElementsAre;

PolicyKey const P = {address("192.0.2.5"), 100};
PolicyKey const Q = {address("192.0.2.6"), 100};
constexpr std::uint32_t maxU32 = 0xFFFFFFFF;

PolicyId candidate(PolicyKey const& key, std::uint32_t discriminator) {
    return {key, {Protocol::bgp, {}, 0, discriminator}};
}
SbfdKey sbfdKey(PolicyKey const& key, std::uint32_t list) {
    return SbfdKey::of(key, SegmentListId(list));
}

/// Policy input and the configuration are the test's own.
class SbfdInputSmTest : public MachineTest {
protected:
    void create() {
        sm = sbfdInputSmFactory(config, initStage, keyToId, selectionInput, users, sbfdConfig,
                                scheduler, global);
    }
    void start() {
        create();
        sm->handleInitialized();
    }
    void settle() override {
        scheduler->runReady();
        EXPECT_TRUE(sm->drained());
    }

    void settings(PolicyKey const& key, std::uint32_t interval, std::uint32_t multiplier,
                  std::uint32_t discriminator = 1) {
        config->policyIs(
            {key, PolicySbfdConfig{Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier),
                                   Bfd::BfdDiscriminator(discriminator)}});
    }
    // As policy input: first the lists' users, then the entry, then the verdict.
    void offer(PolicyId const& id, std::vector<std::uint32_t> const& lists) {
        PolicyIdEntry entry(id, {}, {});
        for (auto const list : lists) {
            use(list, id);
            entry.wSegmentList.push_back({SegmentListId(list)});
        }
        selectionInput->policyIdEntryIs(entry);
        keyToId->policyIs(id.key).candidateIs(id.candidate, {});
    }
    void use(std::uint32_t list, PolicyId const& id) {
        SegmentListId const listId(list);
        if (!users->segmentListUser(listId)) {
            users->segmentListUserIs(listId, Quor::makePtr<SegmentList>(id, DistinguisherId()));
        }
        users->policyIdIs(listId, id);
    }

    static std::string name(SbfdKey const& key) {
        return (key.policyKey() == P ? "P" : "Q") + key.segmentListId.stringValue();
    }
    // POLICY LIST: INTERVALxMULTIPLIER@DISCRIMINATOR
    std::string outputs() const {
        std::string text;
        for (auto row = sbfdConfig->config().begin(); row; row.next()) {
            auto const& value = row.value();
            text += name(row.key()) + ": " + value.interval.stringValue() + "x" +
                    value.multiplier.stringValue() + "@" + value.remoteDiscriminator.stringValue() +
                    "\n";
        }
        return text;
    }

    Quor::Ptr<Config> config = configFactory();
    Quor::Ptr<InitStage> initStage = initStageFactory();
    Quor::Ptr<PolicyKeyToIdMap> keyToId = policyKeyToIdMapFactory();
    Quor::Ptr<PolicySelectionInput> selectionInput = policySelectionInputFactory();
    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    Quor::Ptr<Sbfd::SbfdInputConfig> sbfdConfig = Sbfd::sbfdInputConfigFactory();
    Quor::Ptr<Bfd::ConfigGlobal> global = Quor::makePtr<Bfd::ConfigGlobal>();
    Quor::Ptr<SbfdInputSm> sm;
    Watch<SbfdKey> watch{sbfdConfig->config(), [this](SbfdKey const& key) {
                             wrote(sbfdConfig->config().has(key), "", name(key));
                         }};
};

TEST_F(SbfdInputSmTest, EveryListOfEveryCandidateOfAConfiguredPolicyHasARow) {
    create();
    settings(P, 50, 3, 7);
    config->policyIs({Q, std::nullopt});
    offer(candidate(P, 1), {1, 2});
    offer(candidate(P, 2), {2, 3});
    offer(candidate(Q, 1), {4});
    use(5, candidate(P, 3));  // a candidate that is not complete yet
    EXPECT_EQ(told(), "");    // nothing before the start
    sm->handleInitialized();
    sm->handleInitialized();
    EXPECT_EQ(outputs(), "P1: 50x3@7\nP2: 50x3@7\nP3: 50x3@7\nP5: 50x3@7\n");
    EXPECT_EQ(sm->maxInterval().value(), 150u);
    EXPECT_EQ(told(), "+P1; +P2; +P3; +P5");

    settings(P, 60, 0, 0);  // in place, and as it stands
    settings(P, 60, 0, 0);
    EXPECT_EQ(outputs(), "P1: 60x0@0\nP2: 60x0@0\nP3: 60x0@0\nP5: 60x0@0\n");
    EXPECT_EQ(told(), "+P1; +P2; +P3; +P5");
    settings(Q, 0, 0);
    config->policyIs({P, std::nullopt});
    EXPECT_EQ(told(), "+Q4; -P1; -P2; -P3; -P5");
    config->policyDel(Q);
    EXPECT_EQ(told(), "-Q4");
}

TEST_F(SbfdInputSmTest, MaxIntervalOnlyGrows) {
    auto const globally = [this](std::uint32_t interval, std::uint32_t multiplier) {
        global->timers.valueIs({Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier)});
        return sm->maxInterval().value();
    };
    auto const after = [this](std::uint32_t interval, std::uint32_t multiplier) {
        settings(P, interval, multiplier);
        return sm->maxInterval().value();
    };
    start();
    EXPECT_EQ(after(50, 3), 150u);
    EXPECT_EQ(globally(300, 3), 150u);
    EXPECT_EQ(after(0, 7), 900u);
    EXPECT_EQ(globally(400, 3), 1200u);
    EXPECT_EQ(after(2000, 0), 1200u);  // what is configured, multiplied
    EXPECT_EQ(globally(500, 3), 1200u);
    EXPECT_EQ(after(0, 0), 1500u);
    config->policyDel(P);
    EXPECT_EQ(globally(600, 3), 1500u);
    EXPECT_EQ(after(0x10000, 0x10001), maxU32);
    settle();
    EXPECT_EQ(dumpOf(*sm),
              "  Task Dump:\n    taskName: SbfdInputSmTask, taskPriority: 2, "
              "currentExpirationTime: 0.000000\n  maxInterval: 4294967295\n");
}

TEST_F(SbfdInputSmTest, WhoHearsOfARowMayEndTheSettingsOrTheMachine) {
    start();
    offer(candidate(P, 1), {1, 2});
    bool endMachine = false;
    Watch<SbfdKey> const ender{sbfdConfig->config(), [&](auto const&) {
                                   if (endMachine) sm->handleDel();
                                   config->policyDel(P);
                               }};
    for (bool const machine : {false, true}) {
        endMachine = machine;
        settings(P, 50, 3);
        EXPECT_EQ(told(), "+P1; -P1");
    }
}

TEST_F(SbfdInputSmTest, ReadyIsSaidByTheTaskAndSurvivesAStop) {
    TraceLines traces("SrTePolicySbfdSm", 1u << 9);
    create();
    sm->handleTaskRun();
    sm->handleInitialized();
    EXPECT_FALSE(initStage->sbfdReady()());
    settle();
    EXPECT_TRUE(initStage->sbfdReady()());
    EXPECT_THAT(traces.take(), ElementsAre("SbfdInputSm::handleTaskRun not initialized",
                                           "SbfdInputSm::handleTaskRun set sbfdReady"));
    settings(P, 50, 3);
    offer(candidate(P, 1), {1, 2});
    sm->handleDel();
    EXPECT_EQ(told(), "+P1; +P2; -P1; -P2");
    EXPECT_TRUE(initStage->sbfdReady()());
}

TEST_F(SbfdInputSmTest, TracesSayWhatIsMissing) {
    start();
    keyToId->policyIs(P).candidateIs(candidate(P, 1).candidate, {});  // not a valid one
    TraceLines traces("SrTePolicySbfdSm");
    offer(candidate(P, 2), {1});
    settings(P, 50, 3);
    settings(Q, 0, 0);
    config->policyIs({P, std::nullopt});
    config->policyDel(Q);
    Sbfd::SegmentListSbfdConfig const row{
        sbfdKey(P, 1), Bfd::BfdDiscriminator(1), {Bfd::BfdInterval(50), Bfd::BfdMultiplier(3)}};
    EXPECT_THAT(traces.take(),
                ElementsAre("handleSegmentListUser: 1 " + candidate(P, 2).stringValue(),
                            "update maxInterval I:50 M:3",
                            "policySelectionInput no id: " + candidate(P, 1).stringValue(),
                            "add sbfdInputConfig " + row.stringValue(),
                            "update maxInterval with globalCfg I:0 M:0",
                            "policyKeyToIdMap no key: " + Q.stringValue(),
                            "sbfdconfig removed key=" + P.stringValue(),
                            "remove sbfdInputConfig key:" + row.sbfdKey.stringValue(),
                            "policyconfig removed key=" + Q.stringValue()));
}

}  // namespace
