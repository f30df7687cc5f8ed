#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy {

/// A candidate's rank inside its policy (RFC 9256, 2.9): the fields that decide, in their order.
struct SRTE_EXPORT Priority {
    Preference preference;
    Protocol protocol = Protocol::unknown;
    Originator originator;
    std::uint32_t discriminator = 0;

    /// PROTOCOL-PREFERENCE-ORIGINATOR - DISCRIMINATOR.
    std::string stringValue() const;

    friend bool operator==(Priority const&, Priority const&) = default;
};

/// A tunnel of a candidate with its share of the traffic.
struct SRTE_EXPORT WeightedTunnelId {
    Tunnel::TunnelTable::TunnelId tunnelId;
    std::uint32_t weight = 1;

    friend bool operator==(WeightedTunnelId const&, WeightedTunnelId const&) = default;
};

/// The tunnels of a candidate; nearly every candidate has one or two.
using WeightedTunnelIds = Quor::InlineVector<WeightedTunnelId, 2>;

/// A candidate with at least one usable segment list.
struct SRTE_EXPORT PolicyEntry {
    PolicyId policyId;
    Priority priority;
    Wirex::MplsLabel bindingSid;
    Enlp enlp;
    /// The tunnels of the usable lists only, in the source's order.
    WeightedTunnelIds wTunnelId;

    friend bool operator==(PolicyEntry const&, PolicyEntry const&) = default;
};

/// What a candidate lost by: the first field in which it differs from the winner. Two candidates of
/// one policy can have equal priorities, as the originator that ranks a candidate is not the one
/// that names it; then the latter breaks the tie.
enum class LosingField {
    lowerPreference,
    lowerProtocol,
    higherOriginator,
    lowerDiscriminator,
    tieBreak
};

/// "lower-preference", "lower-protocol", "higher-originator", "lower-discriminator", "tie-break".
SRTE_EXPORT std::string_view losingFieldToString(LosingField field);

/// Why `loser` ranks below `winner`; nothing when it does not. Both are candidates of one policy.
SRTE_EXPORT std::optional<LosingField> losingField(PolicyEntry const& loser,
                                                   PolicyEntry const& winner);

/// The usable candidates of one policy, best last, and the chosen one. They are few.
class SRTE_EXPORT Policy {
public:
    std::vector<PolicyEntry> const& candidates() const { return candidates_; }
    /// Null when absent. This pointer, and those below, hold until the next change of the table.
    PolicyEntry const* candidate(CandidateId const& id) const;
    /// The chosen candidate, one of `candidates`, or null.
    PolicyEntry const* active() const { return active_ < 0 ? nullptr : &at(active_); }
    /// The best candidate besides `except`, which may be null; null when there is none.
    PolicyEntry const* best(PolicyEntry const* except = nullptr) const;

private:
    friend class EcPolicy;
    static constexpr std::int32_t none = -1;

    PolicyEntry const& at(std::int32_t place) const {
        return candidates_[static_cast<std::size_t>(place)];
    }
    std::int32_t placeOf(CandidateId const& id) const;
    std::int32_t insert(PolicyEntry const& entry);
    void erase(std::int32_t place);

    std::vector<PolicyEntry> candidates_;
    std::int32_t active_ = none;  // its place in `candidates_`
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
    /// the active one, also at another rank.
    void candidateIs(PolicyEntry const& entry);
    /// Without the active candidate the policy has none until another is chosen.
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
