#pragma once

#include <cstdint>

#include "Platform/Mpls/ConsolidatedLfibRoute.h"
#include "SrTeTypes/PolicyInput.h"

namespace Bench {

/// The load of every measurement: per policy an IPv4 endpoint, two candidates that ask for the
/// policy's own binding SID, two lists to a candidate and three labels to a list.
struct Load {
    static constexpr std::uint32_t srlbBase = 48576;
    static constexpr std::uint32_t srlbSize = 1000000;
    static constexpr std::uint32_t segmentLabels = 40000;
    static constexpr std::uint32_t firstSegmentLabel = 1000;
    static constexpr std::uint32_t topLabels = 1000;
    static constexpr std::uint32_t candidates = 2;
    static constexpr std::uint32_t listsPerCandidate = 2;
    static constexpr std::uint32_t lists = candidates * listsPerCandidate;
    static constexpr std::uint32_t labelsPerList = 3;

    std::uint32_t policies = 0;

    /// In the order of `PolicyKey`.
    static SrTePolicy::PolicyKey key(std::uint32_t policy);
    static SrTePolicy::PolicyId policyId(std::uint32_t policy, std::uint32_t candidate);
    /// Candidate 0 has the higher preference.
    static SrTePolicy::Preference preference(std::uint32_t candidate);
    static SrTePolicy::PolicyInputEntry entry(std::uint32_t policy, std::uint32_t candidate);
    static Wirex::MplsLabel bindingSid(std::uint32_t policy);
    /// `index` 0 to 2, from the top, of list 0 to 3 of a policy.
    static Wirex::MplsLabel label(std::uint32_t policy, std::uint32_t list, std::uint32_t index);
    /// The LFIB route of a top label: two plain vias, which push the label on. Another `variant`
    /// has other next hops.
    static Mpls::ConsolidatedLfibRoute topRoute(std::uint32_t top, std::uint32_t variant = 0);
};

}  // namespace Bench
