#pragma once

#include <cstdint>
#include <string>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// Why a candidate is unusable.
enum class PolicyInvalidReason : std::uint32_t {
    usable = 0,
    bsidOutOfRange = 1,
    bsidMissing = 2,
    bsidInUse = 3,
    noSegmentLists = 4
};

/// The verdict on one candidate.
struct SRTE_EXPORT PolicyCandidateInfo {
    double creationTime = 0;  ///< system clock, seconds: last received or changed; not re-validated
    PolicyInvalidReason reason = PolicyInvalidReason::usable;
    Wirex::MplsLabel bindingSid;  ///< the one that its source asks for

    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend bool operator==(PolicyCandidateInfo const&, PolicyCandidateInfo const&) = default;
};

/// Every candidate that a source holds, valid or not, with its verdict. A policy is here while it
/// has a candidate. Written by PolicyInputSm alone; new in every run of the agent.
class SRTE_EXPORT PolicyKeyToIdMap final : public Quor::PtrInterface {
public:
    /// Ordered so that the candidates of one policy stand together.
    using Candidates = Quor::NotifyingMap<PolicyId, PolicyCandidateInfo>;

    /// The candidates of one policy.
    class PolicyInfo {
    public:
        PolicyInfo(PolicyKeyToIdMap* map, PolicyKey const& key) : map_(map), key_(key) {}
        PolicyCandidateInfo const* candidate(CandidateId const& id) const {
            return map_->candidates_.find({key_, id});
        }
        void candidateIs(CandidateId const& id, PolicyCandidateInfo const& info) {
            map_->candidates_.entryIs({key_, id}, info);
        }
        void candidateDel(CandidateId const& id) { map_->candidates_.entryDel({key_, id}); }

    private:
        PolicyKeyToIdMap* map_;
        PolicyKey key_;
    };

    Candidates const& candidate() const { return candidates_; }
    PolicyCandidateInfo const* candidate(PolicyId const& id) const { return candidates_.find(id); }
    /// The first candidate of `key`, as the start of a walk; not valid when the policy has none.
    Candidates::Position firstCandidate(PolicyKey const& key) const;
    bool hasPolicy(PolicyKey const& key) const;

    PolicyInfo policyIs(PolicyKey const& key) { return PolicyInfo(this, key); }
    void policyDel(PolicyKey const& key);
    void policyDelAll() { candidates_.entryDelAll(); }

private:
    Candidates candidates_;
};

SRTE_EXPORT Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMapFactory();

}  // namespace SrTePolicy
