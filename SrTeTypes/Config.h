#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Bfd/BfdTypes.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// How segment lists may be shared between policies. Traced at start; identity always includes the
/// candidate.
enum class SegmentListSharing : std::uint32_t { none = 0 };

/// "none", or the number.
SRTE_EXPORT std::string segmentListSharingToString(SegmentListSharing mode);

/// The S-BFD settings of a statically configured policy (RFC 7880); a zero interval or multiplier
/// falls back to the global one.
struct SRTE_EXPORT PolicySbfdConfig {
    Bfd::BfdInterval interval;
    Bfd::BfdMultiplier multiplier;
    Bfd::BfdDiscriminator remoteDiscriminator;

    /// "interval N multiplier N remoteDiscriminator N".
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;

    friend auto operator<=>(PolicySbfdConfig const&, PolicySbfdConfig const&) = default;
};

/// A policy as it is configured on this router, apart from its candidates.
struct SRTE_EXPORT StaticPolicy {
    PolicyKey key;
    std::optional<PolicySbfdConfig> sbfd;

    friend bool operator==(StaticPolicy const&, StaticPolicy const&) = default;
};

/// The configuration of the policy machines. Written by the agent.
class SRTE_EXPORT Config final : public Quor::PtrInterface {
public:
    using Policies = Quor::NotifyingMap<PolicyKey, StaticPolicy>;

    /// A candidate without a binding SID is unusable (RFC 9256, 6.2.3).
    Quor::Attribute<bool> specifiedBsidOnly{false};
    Quor::Attribute<SegmentListSharing> segmentListSharing{SegmentListSharing::none};
    /// A change selects every policy again.
    Quor::Attribute<std::uint32_t> tieBreaking{0};
    /// Whether published policies are offered as tunnels to routes of their color (RFC 9256, 8.8).
    Quor::Attribute<bool> coloredRib{false};
    /// Copied into every entry of the policy tunnel table.
    Quor::Attribute<std::uint8_t> coloredRibPreference{0};

    Policies const& policy() const { return policy_; }
    StaticPolicy const* policy(PolicyKey const& key) const { return policy_.find(key); }
    void policyIs(StaticPolicy const& policy) { policy_.entryIs(policy.key, policy); }
    void policyDel(PolicyKey const& key) { policy_.entryDel(key); }

    /// Whether selection asks S-BFD about the lists of the policy's candidates, whatever their
    /// source.
    bool sbfdConfigured(PolicyKey const& key) const {
        auto const* const found = policy_.find(key);
        return found && found->sbfd;
    }

private:
    Policies policy_;
};

SRTE_EXPORT Quor::Ptr<Config> configFactory();

}  // namespace SrTePolicy
