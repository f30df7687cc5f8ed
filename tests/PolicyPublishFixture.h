#pragma once

#include "SrTePolicy/SrTePolicyPublishSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace SrTePolicy {

inline constexpr std::uint64_t firstFecId = 0x0F00000100000000;
inline constexpr std::uint32_t noBsid = Wirex::MplsLabel::null;

inline PolicyKey key(char const* endpoint, std::uint32_t color = 1) {
    return {address(endpoint), color};
}
inline PolicyKey const P = key("10.0.0.1");
inline PolicyKey const Q = key("10.0.0.2");
inline PolicyKey const R = key("10.0.0.3");

/// A segment list with its share of the traffic.
inline WeightedTunnelId list(std::uint32_t id, std::uint32_t weight = 1) {
    return {SegmentListId(id).getTunnelId(), weight};
}

/// An active candidate; its discriminator tells it from the others of its policy.
struct Active {
    std::uint32_t bsid = noBsid;
    std::vector<WeightedTunnelId> lists = {list(1)};
    std::uint32_t enlp = 4;
    std::uint32_t discriminator = 1;
};

/// The publish machine with its tables.
class PolicyPublishFixture : public MachineTest {
protected:
    using FecId = Pooltab::Fib::FecId;
    using TunnelId = Tunnel::TunnelTable::TunnelId;

    PolicyPublishFixture() {
        clock.systemTimeOffsetIs(1000);
        start();
    }

    void create() {
        sm = policyPublishSmFactory({FecId(0x100000000), FecId(0x1FFFFFFFF)}, ecPolicy, scheduler,
                                    status, fwdStatus, policyTunnels, config);
    }
    void start() {
        create();
        sm->handleInitialized();
    }
    void settle() override { run(); }
    void run() {
        scheduler->runReady();
        EXPECT_TRUE(sm->drained());
    }

    void select(PolicyKey const& policy, Active const& active) {
        PolicyEntry entry;
        entry.policyId = {policy, candidate(active.discriminator)};
        entry.bindingSid = Wirex::MplsLabel(active.bsid);
        entry.enlp = Enlp(active.enlp);
        entry.wTunnelId = WeightedTunnelIds(active.lists);
        ecPolicy->policyIs(policy);
        ecPolicy->candidateIs(entry);
        auto const* const chosen = ecPolicy->policy(policy)->active();
        if (!chosen || chosen->policyId != entry.policyId) ecPolicy->activeIs(entry.policyId);
    }
    void unselect(PolicyKey const& policy) { ecPolicy->policyDel(policy); }
    void publish(PolicyKey const& policy, Active const& active) {
        select(policy, active);
        run();
    }
    void withdraw(PolicyKey const& policy) {
        unselect(policy);
        run();
    }
    static CandidateId candidate(std::uint32_t discriminator) {
        return {Protocol::config, address("192.0.2.9"), 65001, discriminator};
    }

    static std::string name(PolicyKey const& policy) {
        return policy.endpoint.stringValue() + "/" + std::to_string(policy.color);
    }
    static std::string number(FecId fecId) { return std::to_string(fecId.value() - firstFecId); }
    // LIST, *WEIGHT unless 1, /LABEL if any
    static std::string text(Pooltab::Fib::Via const& via) {
        auto result = std::to_string(via.tunnelId().index());
        if (via.weight() != 1) result.append("*").append(std::to_string(via.weight()));
        if (!via.label().isNull()) result.append("/").append(via.label().stringValue());
        return result;
    }

    // POLICY candidate DISCRIMINATOR [bsid N] fecs LABEL V4 V6 since TIME
    std::string published() const {
        std::string text;
        for (auto row = status->policyStatusEntry().begin(); row; row.next()) {
            auto const& entry = row.value();
            text += name(entry.key) + " candidate " + std::to_string(entry.candidate.discriminator);
            if (!entry.bindingSid.isNull()) text += " bsid " + entry.bindingSid.stringValue();
            text += " fecs " + number(entry.labelFecId) + " " + number(entry.v4FecId) + " " +
                    number(entry.v6FecId) + " since " +
                    std::to_string(static_cast<int>(entry.changeTime)) + "\n";
        }
        return text;
    }
    // NUMBER: VIA ...
    std::string fecs() const {
        std::string result;
        for (auto fec = fwdStatus->fec().begin(); fec; fec.next()) {
            result += number(fec.key()) + ":";
            for (auto const& via : fec.value().vias()) result.append(" ").append(text(via));
            result += "\n";
        }
        return result;
    }
    // TUNNEL PREFIX color N preference N
    std::string tunnels() const {
        std::string text;
        for (auto row = policyTunnels->entry().begin(); row; row.next()) {
            auto const& entry = row.value();
            text += entry.tunnelId.stringValue() + " " + entry.endpoint.stringValue() + " color " +
                    std::to_string(entry.color) + " preference " +
                    std::to_string(entry.preference) + "\n";
        }
        return text;
    }
    // NUMBER POLICY
    std::string rows() const {
        std::string text;
        for (auto row = status->fecIdToPolicyKey().begin(); row; row.next()) {
            text += number(row.key()) + " " + name(row.value()) + "\n";
        }
        return text;
    }
    std::string dump() const { return dumpOf(*sm); }

    Quor::Ptr<EcPolicy> ecPolicy = ecPolicyFactory();
    Quor::Ptr<Config> config = configFactory();
    Quor::Ptr<PolicyStatus> status = policyStatusFactory();
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus =
        Quor::makePtr<Pooltab::Fib::ForwardingStatus>();
    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> policyTunnels =
        Quor::makePtr<Tunnel::TunnelTable::SrTePolicyTunnelTable>();
    Quor::Ptr<PolicyPublishSm> sm;

    SyslogLines syslog;

private:
    Watch<PolicyKey> statusWatch_{status->policyStatusEntry(), [this](auto const& changed) {
                                      wrote(status->policyStatusEntry().has(changed), "status ",
                                            name(changed));
                                  }};
    Watch<FecId> rowWatch_{status->fecIdToPolicyKey(), [this](auto const& changed) {
                               wrote(status->fecIdToPolicyKey().has(changed), "row ",
                                     number(changed));
                           }};
    Watch<FecId> fecWatch_{fwdStatus->fec(), [this](auto const& changed) {
                               wrote(fwdStatus->fec().has(changed), "fec ", number(changed));
                           }};
    Watch<TunnelId> tunnelWatch_{policyTunnels->entry(), [this](auto const& changed) {
                                     auto const index =
                                         std::to_string(changed.index() - 0x100000000);
                                     wrote(policyTunnels->entry().has(changed), "tunnel ", index);
                                 }};
};

}  // namespace SrTePolicy
