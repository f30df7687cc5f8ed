#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy {

/// A candidate's rank inside its policy (RFC 9256, 2.9). `betterThan` decides field by field; the
/// directions differ on purpose.
struct SRTE_EXPORT Priority {
    Preference preference;
    Protocol protocol = Protocol::unknown;
    Originator originator;
    std::uint32_t discriminator = 0;

    /// Higher preference, higher protocol, lower originator, higher discriminator.
    bool betterThan(Priority const& other) const;
    /// PROTOCOL-PREFERENCE-ORIGINATOR - DISCRIMINATOR.
    std::string stringValue() const;

    friend bool operator==(Priority const&, Priority const&) = default;
};

/// A tunnel of an active candidate with its share of the traffic.
struct SRTE_EXPORT WeightedTunnelId {
    Tunnel::TunnelTable::TunnelId tunnelId;
    std::uint32_t weight = 1;

    friend bool operator==(WeightedTunnelId const&, WeightedTunnelId const&) = default;
};

/// A candidate with at least one usable segment list.
struct SRTE_EXPORT PolicyEntry {
    PolicyId policyId;
    Priority priority;
    Wirex::MplsLabel bindingSid;
    Enlp enlp;
    /// The tunnels of the usable lists only, in the source's order.
    std::vector<WeightedTunnelId> wTunnelId;

    friend bool operator==(PolicyEntry const&, PolicyEntry const&) = default;
};

/// The usable candidates of one policy, best last, and the chosen one.
class SRTE_EXPORT Policy {
public:
    std::vector<PolicyEntry> const& candidates() const { return candidates_; }
    PolicyEntry const* candidate(CandidateId const& id) const;
    /// The chosen candidate, one of `candidates`, or null.
    PolicyEntry const* active() const;
    /// The best candidate by rank; of equal ranks the lower originator of the `CandidateId`. Null
    /// when there is none.
    PolicyEntry const* best() const { return candidates_.empty() ? nullptr : &candidates_.back(); }

private:
    friend class EcPolicy;
    std::vector<PolicyEntry> candidates_;
    std::optional<CandidateId> active_;
};

/// The selected policies. Written by PolicySelectionSm alone; survives a restart of the agent.
///
/// Watched apart: membership, the choice of the active candidate, and the active candidate's
/// binding SID, explicit-null policy and tunnels. What changes about another candidate wakes
/// nobody.
class SRTE_EXPORT EcPolicy final : public Quor::PtrInterface {
public:
    using Policies = Quor::OrderedMap<PolicyKey, Policy>;

    Policies const& policy() const { return policies_; }
    Policy const* policy(PolicyKey const& key) const { return policies_.find(key); }

    /// Creates the policy when it is missing.
    void policyIs(PolicyKey const& key);
    void policyDel(PolicyKey const& key);
    void policyDelAll();

    /// Inserts the candidate at its rank, or rewrites the one with its `CandidateId` in place;
    /// nothing is written when nothing differs. The policy must exist. The active candidate stays
    /// the active one.
    void candidateIs(PolicyEntry const& entry);
    void candidateDel(PolicyId const& id);
    /// Makes the candidate, which must exist, the active one; told also when it is the same
    /// candidate with another rank. Who keeps the choice does not call this.
    void activeIs(PolicyId const& id);
    void bindingSidIs(PolicyId const& id, Wirex::MplsLabel bindingSid);

    Quor::Subject<PolicyKey> const& policySubject() const { return policySubject_; }
    Quor::Subject<PolicyKey> const& activeSubject() const { return activeSubject_; }
    /// Binding SID, explicit-null policy and tunnels of the active candidate.
    Quor::Subject<PolicyKey> const& activeEntrySubject() const { return activeEntrySubject_; }

private:
    Policies policies_;
    Quor::Subject<PolicyKey> policySubject_;
    Quor::Subject<PolicyKey> activeSubject_;
    Quor::Subject<PolicyKey> activeEntrySubject_;
};

SRTE_EXPORT Quor::Ptr<EcPolicy> ecPolicyFactory();

}  // namespace SrTePolicy
