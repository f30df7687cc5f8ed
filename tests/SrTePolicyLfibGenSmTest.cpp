#include "SrTePolicy/SrTePolicyLfibGenSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace {

using namespace SrTePolicy;
using Pooltab::Fib::FecId;
using testing::ElementsAre;
using Wirex::MplsLabel;

constexpr std::uint32_t noBsid = MplsLabel::null;

PolicyKey policy(std::uint32_t color) {
    return {address("10.0.0.1"), color};
}
PolicyKey const P = policy(1);
PolicyKey const Q = policy(2);

class SrTePolicyLfibGenSmTest : public LoggedTest {
protected:
    void start() {
        sm = srTePolicyLfibGenSmFactory(status, lfib);
        sm->handleInitialized();
    }

    void publish(PolicyKey const& key, std::uint32_t bsid, std::uint64_t fecId) {
        PolicyStatusEntry entry;
        entry.key = key;
        entry.bindingSid = MplsLabel(bsid);
        entry.labelFecId = FecId(fecId);
        entry.v4FecId = FecId(fecId + 1);
        entry.v6FecId = FecId(fecId + 2);
        status->policyStatusEntryIs(entry);
    }
    // LABEL -> FEC
    std::string outputs() const {
        std::string text;
        for (auto row = lfib->rows().begin(); row; row.next()) {
            text += row.key().stringValue() + " -> " +
                    std::to_string(row.value()->route.extFecVia.fecId.value()) + "\n";
        }
        return text;
    }

    Quor::Ptr<PolicyStatus> status = policyStatusFactory();
    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<SrTePolicyLfibGenSm> sm;
    Watch<Mpls::RouteKey> watch{lfib->rows(), [this](auto const& key) {
                                    wrote(lfib->rows().has(key), "", key.stringValue());
                                }};
};

TEST_F(SrTePolicyLfibGenSmTest, ABindingSidLeadsToTheLabelFec) {
    start();
    publish(P, 1000, 77);
    publish(Q, noBsid, 88);
    publish(policy(3), 0, 99);  // a label like any other
    EXPECT_EQ(outputs(), "0 -> 99\n1000 -> 77\n");

    auto expected = routeInto(1000, 77, static_cast<Wirex::MplsLabelAction>(1));
    expected.extFecVia.payloadType = static_cast<Mpls::LfibPayloadType>(5);
    expected.source = static_cast<Mpls::LFib::Source>(24);
    expected.metric = Mpls::RouteMetric(1);
    EXPECT_EQ(*lfib->consolidatedRoute(keyOf(1000)), expected);

    publish(P, 1000, 78);  // in place
    EXPECT_EQ(outputs(), "0 -> 99\n1000 -> 78\n");
    EXPECT_THAT(log, ElementsAre("+1000", "+0", "+1000"));
}

TEST_F(SrTePolicyLfibGenSmTest, TheOldRouteGoesBeforeTheNewOneComes) {
    start();
    publish(P, 1000, 77);
    TraceLines traces("*");
    log.clear();
    publish(P, 2000, 77);
    publish(P, noBsid, 77);
    publish(P, noBsid, 78);
    status->policyStatusEntryDel(P);
    EXPECT_THAT(log, ElementsAre("-1000", "+2000", "-2000"));
    std::string const key = "endpoint 10.0.0.1 color 1";
    EXPECT_THAT(traces.take(),
                ElementsAre("change in policy: " + key,
                            "Removing the LFIB entry for policy: " + key + " BSID: 1000",
                            "Added the LFIB entry for policy: " + key + " BSID: 2000",
                            "change in policy: " + key,
                            "Removing the LFIB entry for policy: " + key + " BSID: 2000",
                            "change in policy: " + key, "change in policy: " + key));
}

TEST_F(SrTePolicyLfibGenSmTest, ARouteThatPassedToAnotherPolicyIsTheirs) {
    start();
    publish(P, 1000, 77);
    publish(Q, 1000, 88);
    publish(policy(3), 1000, 99);
    publish(P, 2000, 77);
    log.clear();
    status->policyStatusEntryDel(policy(3));
    EXPECT_EQ(outputs(), "1000 -> 88\n2000 -> 77\n");
    EXPECT_THAT(log, ElementsAre("+1000"));
    publish(Q, 1000, 89);
    status->policyStatusEntryDel(Q);
    EXPECT_EQ(outputs(), "2000 -> 77\n");
}

TEST_F(SrTePolicyLfibGenSmTest, TheTableIsThisMachinesWhateverItHolds) {
    publish(P, 1000, 77);
    Mpls::LfibWriter(lfib).lfibRouteIs(routeOver(4000, {}));
    TraceLines traces("*", 1u << 7);
    start();
    EXPECT_EQ(outputs(), "1000 -> 77\n");
    EXPECT_THAT(traces.take(), testing::Contains("Removed LFIB entry for BSID: 4000"));
}

TEST_F(SrTePolicyLfibGenSmTest, BeforeTheStartNothingHappensAndTheEndEmptiesTheTable) {
    sm = srTePolicyLfibGenSmFactory(status, lfib);
    publish(P, 1000, 77);
    sm->handleDel();
    EXPECT_THAT(log, ElementsAre());
    sm->handleInitialized();
    EXPECT_EQ(outputs(), "1000 -> 77\n");

    EXPECT_EQ(dumpOf(*sm),
              "  policyKeyBindingSidMap #1 \n"
              "  (endpoint 10.0.0.1 color 1, 1000)\n"
              "  unusedLfibRoute #0 \n");
    TraceLines traces("*");
    sm->handleDel();
    publish(Q, 2000, 88);
    EXPECT_EQ(outputs(), "");
    EXPECT_THAT(traces.take(), ElementsAre("SrTePolicyLfibGenSm is to be deleted"));
}

}  // namespace
