#include <map>
#include <set>
#include <sstream>

#include "SrTePolicy/SrTePolicyLfibGenSm.h"
#include "tests/PolicyPublishFixture.h"
#include "tests/support/ModelTest.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Random inputs, yields, restarts and crashes: whenever nothing is left to do, the outputs are the
// function of the inputs that is written down here. Who holds a binding SID and which numbers the
// FECs have is history, and taken from the status.
class PolicyPublishModelTest : public ModelTest<PolicyPublishFixture> {
protected:
    PolicyPublishModelTest() { restartBoth(); }

    void restartBoth() {
        sm = nullptr;
        lfibGen = nullptr;
        lfibGen = srTePolicyLfibGenSmFactory(status, lfib);
        lfibGen->handleInitialized();
        start();
    }
    // The agent dies between two writes: of its work, or already of its next start.
    void crash() {
        for (int times = 2; times > 0; --times) {
            for (auto step = random(6); step > 0; --step) change();
            writesUntilCrash = 1 + random(8);
            try {
                scheduler->runReady();
                restartBoth();
                scheduler->runReady();
            } catch (Crash const&) {
                sm = nullptr;
                lfibGen = nullptr;
            }
        }
        writesUntilCrash = 0;
        restartBoth();
    }
    // What readers of the tables may rely on at any time between two runs.
    void expectNoDanglingNames() const {
        std::set<Wirex::MplsLabel> held;
        for (auto row = status->policyStatusEntry().begin(); row; row.next()) {
            auto const& entry = row.value();
            for (auto const fecId : {entry.labelFecId, entry.v4FecId, entry.v6FecId}) {
                EXPECT_TRUE(fwdStatus->fec(fecId)) << number(fecId);
                EXPECT_EQ(status->fecIdToPolicyKey().get(fecId), entry.key);
            }
            EXPECT_TRUE(entry.bindingSid.isNull() || held.insert(entry.bindingSid).second);
        }
        for (auto row = status->fecIdToPolicyKey().begin(); row; row.next()) {
            EXPECT_TRUE(status->policyStatusEntry().has(row.value())) << number(row.key());
        }
        for (auto row = lfib->rows().begin(); row; row.next()) {
            EXPECT_TRUE(fwdStatus->fec(row.value()->route.extFecVia.fecId));
        }
    }

    void change() {
        auto const& policy = policies[random(5)];
        switch (random(8)) {
            case 0: unselect(policy); break;
            case 1: config->coloredRib.valueIs(random(2) == 0); break;
            case 2: config->coloredRibPreference.valueIs(random(2) == 0); break;
            case 3: clock.advance(200); break;
            default: select(policy, randomActive());
        }
    }
    Active randomActive() {
        std::uint32_t const bsids[] = {noBsid, 0, 1000, 1001};
        Active active{bsids[random(4)], {}, random(5), 1 + random(2)};
        for (auto count = 1 + random(3); count > 0; --count) {
            active.lists.push_back(list(1 + random(4), random(12) == 0 ? 0 : 1 + random(2)));
        }
        return active;
    }

    PolicyEntry const* publishable(PolicyKey const& policy) const {
        auto const* const found = ecPolicy->policy(policy);
        auto const* const active = found ? found->active() : nullptr;
        if (!active) return nullptr;
        for (auto const& tunnel : active->wTunnelId) {
            if (tunnel.weight == 0) return nullptr;
        }
        return active;
    }

    void expectOutputs() const {
        std::map<Wirex::MplsLabel, std::pair<int, int>> bsids;  // wanted and held
        std::string expectedFecs;
        std::string expectedRows;
        std::string expectedTunnels;
        std::string expectedRoutes;
        for (auto const& policy : policies) {
            auto const* const active = publishable(policy);
            auto const entry = status->policyStatusEntry(policy);
            if (!active) {
                EXPECT_FALSE(entry) << name(policy);
                continue;
            }
            ++bsids[active->bindingSid].first;
            EXPECT_TRUE(entry || !active->bindingSid.isNull()) << name(policy);
            if (!entry) continue;

            ++bsids[entry.bindingSid].second;
            if (!entry.bindingSid.isNull()) {
                expectedRoutes +=
                    entry.bindingSid.stringValue() + " " + number(entry.labelFecId) + "\n";
            }
            EXPECT_EQ(entry.bindingSid, active->bindingSid) << name(policy);
            EXPECT_EQ(entry.candidate, active->policyId.candidate) << name(policy);
            auto const fec = [&](FecId fecId, Wirex::MplsLabel label) {
                expectedRows += number(fecId) + " " + name(policy) + "\n";
                expectedFecs += number(fecId) + ":";
                for (auto const& [tunnelId, weight] : active->wTunnelId) {
                    expectedFecs.append(" ").append(
                        text(Pooltab::Fib::Via(tunnelId, weight, label)));
                }
                expectedFecs += "\n";
            };
            // Every endpoint is an IPv4 address: where nothing is said, IPv6 gets the label.
            auto const enlp = active->enlp.value();
            fec(entry.labelFecId, Wirex::MplsLabel());
            if (enlp == 1 || enlp == 3) fec(entry.v4FecId, Wirex::MplsLabel(0));
            if (enlp == 0 || enlp == 2 || enlp == 3) fec(entry.v6FecId, Wirex::MplsLabel(2));
            expectedTunnels += entry.labelFecId.fecIdToTunnelId().stringValue() + " " +
                               policy.endpoint.stringValue() + "/32 color 1 preference " +
                               std::to_string(config->coloredRibPreference()) + "\n";
        }
        bsids.erase(Wirex::MplsLabel());
        for (auto const& [bsid, wantedAndHeld] : bsids) EXPECT_EQ(wantedAndHeld.second, 1);
        EXPECT_EQ(lines(fecs()), lines(expectedFecs));
        EXPECT_EQ(lines(rows()), lines(expectedRows));
        EXPECT_EQ(lines(tunnels()), lines(config->coloredRib() ? expectedTunnels : ""));
        EXPECT_EQ(lines(routes()), lines(expectedRoutes));
    }
    // LABEL NUMBER
    std::string routes() const {
        std::string text;
        for (auto row = lfib->rows().begin(); row; row.next()) {
            text +=
                row.key().stringValue() + " " + number(row.value()->route.extFecVia.fecId) + "\n";
        }
        return text;
    }
    static std::multiset<std::string> lines(std::string const& text) {
        std::istringstream in(text);
        std::multiset<std::string> lines;
        for (std::string line; std::getline(in, line);) lines.insert(line);
        return lines;
    }

    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<SrTePolicyLfibGenSm> lfibGen;
    Watch<Mpls::RouteKey> routeWatch{lfib->rows(), [this](auto const& changed) {
                                         wrote(lfib->rows().has(changed), "route ",
                                               changed.stringValue());
                                     }};
    std::vector<PolicyKey> const policies = {P, Q, R, key("10.0.0.4"), key("10.0.0.5")};
};

TEST_P(PolicyPublishModelTest, OutputsAreAFunctionOfTheInputs) {
    for (int round = 0; round < 100 && !HasFailure(); ++round) {
        scheduler->yieldAfterWorkIs(1 + random(3));
        for (auto step = random(12); step > 0; --step) {
            change();
            for (auto runs = random(3); runs > 0; --runs) scheduler->runOne();
            expectNoDanglingNames();
        }
        if (random(4) == 0) restartBoth();
        if (random(4) == 0) crash();
        run();
        SCOPED_TRACE("round " + std::to_string(round));
        expectOutputs();
        log.clear();
        restartBoth();
        run();
        EXPECT_THAT(log, ElementsAre());
    }
    for (auto const& policy : policies) withdraw(policy);
    EXPECT_EQ(published() + fecs() + rows() + tunnels() + routes(), "");
    EXPECT_THAT(dump(), HasSubstr("bindingSidPolicyMap #0 \n  policyBindingSidMap #0 \n"));
    clock.advance(300.1);
    publish(P, {});
    EXPECT_EQ(status->policyStatusEntry(P).labelFecId.value(), firstFecId);  // no number leaked
}

INSTANTIATE_TEST_SUITE_P(Seeds, PolicyPublishModelTest, testing::Range(1u, 6u));

}  // namespace
}  // namespace SrTePolicy
