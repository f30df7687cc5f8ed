#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Platform/Fastlog/Trace.h"
#include "SrTePolicy/SrTePolicyLfibGenSm.h"

namespace {

using namespace SrTePolicy;
using Pooltab::Fib::FecId;
using testing::ElementsAre;
using Wirex::MplsLabel;

constexpr std::uint32_t noBsid = MplsLabel::null;

PolicyKey policy(std::uint32_t color) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001), color};
}
PolicyKey const P = policy(1);
PolicyKey const Q = policy(2);

class SrTePolicyLfibGenSmTest : public testing::Test, Duallog::Sink {
protected:
    SrTePolicyLfibGenSmTest() { Duallog::primarySinkIs(this); }

    // A restart over unchanged policies writes nothing.
    void TearDown() override {
        if (restartsHitless) {
            log.clear();
            restart();
            EXPECT_THAT(log, ElementsAre());
        }
        Duallog::reset();
    }
    void restart() {
        sm = nullptr;
        start();
    }
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
    void route(std::uint32_t label, Mpls::LFib::Source source) {
        Mpls::ConsolidatedLfibRoute written;
        written.key = Mpls::RouteKey::fromLabel(MplsLabel(label));
        written.source = source;
        Mpls::LfibWriter(lfib).lfibRouteIs(written);
    }

    // LABEL -> FEC
    std::string routes() const {
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
    bool restartsHitless = true;
    std::vector<std::string> log;  // every change of a route
    std::vector<std::string> traces;

private:
    void line(Fastlog::Facility const&, int, double, std::string_view text) override {
        traces.emplace_back(text);
    }
    Quor::Reactor<Mpls::RouteKey> reactor_{
        lfib->rows(), this, [](auto& self, auto const& key) {
            auto const sign = self.lfib->rows().has(key) ? '+' : '-';
            self.log.push_back(std::string(1, sign).append(key.stringValue()));
        }};
};

TEST_F(SrTePolicyLfibGenSmTest, ABindingSidLeadsToTheLabelFec) {
    start();
    publish(P, 1000, 77);
    publish(Q, noBsid, 88);
    publish(policy(3), 0, 99);  // a label like any other
    EXPECT_EQ(routes(), "0 -> 99\n1000 -> 77\n");

    auto const& route = *lfib->consolidatedRoute(Mpls::RouteKey::fromLabel(MplsLabel(1000)));
    EXPECT_EQ(static_cast<std::uint32_t>(route.source), 24u);
    EXPECT_EQ(route.metric.value(), 1u);
    EXPECT_EQ(route.fec, Wirex::IpGenPrefix());
    EXPECT_EQ(static_cast<std::uint32_t>(route.viaType), 10u);
    Mpls::LfibExtFecVia const via{{},
                                  FecId(77),
                                  static_cast<Wirex::MplsLabelAction>(1),
                                  static_cast<Mpls::LfibPayloadType>(5)};
    EXPECT_EQ(route.extFecVia, via);
    EXPECT_TRUE(route.mplsVias.empty());

    publish(P, 1000, 78);  // in place
    EXPECT_EQ(routes(), "0 -> 99\n1000 -> 78\n");
    EXPECT_THAT(log, ElementsAre("+1000", "+0", "+1000"));
}

TEST_F(SrTePolicyLfibGenSmTest, TheOldRouteGoesBeforeTheNewOneComes) {
    start();
    publish(P, 1000, 77);
    Fastlog::levelMaskIs("*", Fastlog::allLevels);
    log.clear();
    publish(P, 2000, 77);
    EXPECT_THAT(log, ElementsAre("-1000", "+2000"));
    publish(P, noBsid, 77);
    publish(P, noBsid, 78);
    status->policyStatusEntryDel(P);
    EXPECT_THAT(log, ElementsAre("-1000", "+2000", "-2000"));
    std::string const key = "endpoint 10.0.0.1 color 1";
    EXPECT_THAT(traces, ElementsAre("change in policy: " + key,
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
    status->policyStatusEntryDel(P);
    EXPECT_EQ(routes(), "1000 -> 88\n");
    status->policyStatusEntryDel(Q);
    EXPECT_EQ(routes(), "");

    // A policy that goes leaves the route to one that still names the binding SID.
    publish(P, 1000, 77);
    publish(Q, 1000, 88);
    publish(policy(3), 1000, 99);
    publish(P, 2000, 77);
    log.clear();
    status->policyStatusEntryDel(policy(3));
    EXPECT_EQ(routes(), "1000 -> 88\n2000 -> 77\n");
    EXPECT_THAT(log, ElementsAre("+1000"));
    publish(Q, 1000, 89);
    status->policyStatusEntryDel(Q);
    EXPECT_EQ(routes(), "2000 -> 77\n");
}

TEST_F(SrTePolicyLfibGenSmTest, ARestartRewritesInPlaceThenSweeps) {
    start();
    publish(P, 1000, 77);
    publish(Q, 2000, 88);
    sm = nullptr;
    publish(Q, 2000, 89);
    publish(policy(3), 3000, 99);
    route(500, Mpls::LFib::Source::srTePolicy);
    route(4000, Mpls::LFib::Source::gribi);  // the table is this machine's, whatever it holds
    log.clear();
    Fastlog::levelMaskIs("*", 1u << 7);
    start();
    EXPECT_EQ(routes(), "1000 -> 77\n2000 -> 89\n3000 -> 99\n");
    EXPECT_THAT(log, ElementsAre("+2000", "+3000", "-500", "-4000"));
    EXPECT_THAT(traces, testing::IsSupersetOf({"Removed LFIB entry for BSID: 500",
                                               "Removed LFIB entry for BSID: 4000"}));
}

TEST_F(SrTePolicyLfibGenSmTest, BeforeTheStartNothingHappensAndTheEndEmptiesTheTable) {
    restartsHitless = false;
    sm = srTePolicyLfibGenSmFactory(status, lfib);
    publish(P, 1000, 77);
    sm->handleDel();
    EXPECT_THAT(log, ElementsAre());
    sm->handleInitialized();
    EXPECT_EQ(routes(), "1000 -> 77\n");

    Keel::DumpContext ctx;
    sm->dumpState(ctx, 2);
    EXPECT_EQ(ctx.text(),
              "  policyKeyBindingSidMap #1 \n"
              "  (endpoint 10.0.0.1 color 1, 1000)\n"
              "  unusedLfibRoute #0 \n");
    Fastlog::levelMaskIs("*", Fastlog::allLevels);
    sm->handleDel();
    publish(Q, 2000, 88);
    EXPECT_EQ(routes(), "");
    EXPECT_THAT(traces, ElementsAre("SrTePolicyLfibGenSm is to be deleted"));
}

}  // namespace
