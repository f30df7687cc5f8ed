#include <string>
#include <vector>

#include "SrTeTypes/EcPolicy.h"

namespace {

using namespace SrTePolicy;
using testing::ElementsAre;

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
