#include <string>
#include <vector>

#include "SrTeTypes/EcPolicy.h"
#include "tests/support/Watch.h"

namespace {

using namespace SrTePolicy;
using testing::ElementsAre;
using Wirex::MplsLabel;

PolicyKey const key{Wirex::IpGenAddr::ipv4(1), 100};

PolicyEntry candidate(std::uint32_t preference, std::uint32_t discriminator) {
    PolicyEntry entry;
    entry.policyId = {key, {Protocol::config, {}, 0, discriminator}};
    entry.priority = {Preference(preference), Protocol::config, {}, discriminator};
    entry.wTunnelId = {{SegmentListId(1).getTunnelId(), 1}};
    return entry;
}

class EcPolicyTest : public testing::Test {
protected:
    EcPolicyTest() { table->policyIs(key); }

    std::vector<std::uint32_t> discriminators() const {
        std::vector<std::uint32_t> found;
        for (auto const& entry : table->policy(key)->candidates()) {
            found.push_back(entry.policyId.candidate.discriminator);
        }
        return found;
    }
    std::uint32_t active() const {
        return table->policy(key)->active()->policyId.candidate.discriminator;
    }

    Quor::Ptr<EcPolicy> table = ecPolicyFactory();
    int told = 0;
    Watch<PolicyKey> active_{table->activeSubject(), [this](auto const&) { ++told; }};
    Watch<PolicyKey> entry_{table->activeEntrySubject(), [this](auto const&) { ++told; }};
};

TEST_F(EcPolicyTest, TheActiveCandidateStaysItThroughEveryMove) {
    table->candidateIs(candidate(20, 2));
    table->activeIs(candidate(20, 2).policyId);
    table->candidateIs(candidate(10, 1));
    table->candidateIs(candidate(30, 3));
    EXPECT_THAT(discriminators(), ElementsAre(1, 2, 3));
    EXPECT_EQ(active(), 2u);

    table->candidateIs(candidate(40, 2));
    EXPECT_THAT(discriminators(), ElementsAre(1, 3, 2));
    EXPECT_EQ(active(), 2u);
    table->candidateIs(candidate(5, 2));
    EXPECT_THAT(discriminators(), ElementsAre(2, 1, 3));
    EXPECT_EQ(active(), 2u);
    table->candidateDel(candidate(0, 1).policyId);
    EXPECT_EQ(active(), 2u);

    auto const& policy = *table->policy(key);
    EXPECT_EQ(policy.best(policy.best())->policyId.candidate.discriminator, 2u);
    table->candidateDel(policy.active()->policyId);  // by a reference into the row
    EXPECT_EQ(policy.active(), nullptr);
    EXPECT_DEATH(table->activeIs(candidate(5, 2).policyId), "policy->candidate\\(id\\)");
}

TEST_F(EcPolicyTest, OnlyWhatDiffersAboutTheActiveCandidateIsTold) {
    auto active = candidate(20, 2);
    auto other = candidate(10, 1);
    table->candidateIs(active);
    table->candidateIs(other);
    table->activeIs(active.policyId);
    told = 0;

    other.bindingSid = MplsLabel(7);
    table->candidateIs(other);
    table->bindingSidIs(other.policyId, MplsLabel(8));
    table->candidateDel(other.policyId);
    table->candidateIs(active);
    table->bindingSidIs(active.policyId, active.bindingSid);
    table->policyIs(key);
    EXPECT_EQ(told, 0);

    table->bindingSidIs(active.policyId, MplsLabel(7));
    active.bindingSid = MplsLabel(7);
    table->candidateIs(active);  // the same
    EXPECT_EQ(told, 1);
    active.enlp = Enlp(3);
    table->candidateIs(active);
    active.wTunnelId[0].weight = 2;
    table->candidateIs(active);
    EXPECT_EQ(told, 3);
}

TEST_F(EcPolicyTest, ACandidateHasAsManyTunnelsAsItsListsAsk) {
    auto entry = candidate(20, 2);
    for (std::uint32_t list = 2; list <= 601; ++list) {
        entry.wTunnelId.push_back({SegmentListId(list).getTunnelId(), list});
        entry.wTunnelId.push_back(entry.wTunnelId[0]);
    }
    table->candidateIs(entry);
    EXPECT_EQ(*table->policy(key)->candidate(entry.policyId.candidate), entry);
    ASSERT_EQ(entry.wTunnelId.size(), 1201u);
    EXPECT_EQ(entry.wTunnelId[1199].weight, 601u);
    EXPECT_EQ(entry.wTunnelId[1200].weight, 1u);

    auto const moved = std::move(entry.wTunnelId);
    EXPECT_EQ(moved, table->policy(key)->best()->wTunnelId);
    entry.wTunnelId = {{SegmentListId(9).getTunnelId(), 1}};
    table->candidateIs(entry);
    EXPECT_EQ(table->policy(key)->best()->wTunnelId.size(), 1u);
}

}  // namespace
