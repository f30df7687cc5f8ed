#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy::Sbfd {

/// One segment list as one policy uses it: what an S-BFD session watches (RFC 7880). Those of a
/// policy stand together.
struct SRTE_EXPORT SbfdKey {
    Wirex::IpGenAddr endpoint;
    std::uint32_t color = 0;
    SegmentListId segmentListId;

    SbfdKey() = default;
    SbfdKey(SegmentListId list, PolicyKey const& policy)
        : endpoint(policy.endpoint), color(policy.color), segmentListId(list) {}
    /// The reverse of `stringValue`; throws RangeError for any other text.
    explicit SbfdKey(std::string_view text);

    static SbfdKey of(PolicyKey const& policy, SegmentListId list) { return {list, policy}; }
    /// As the constructor; nothing for any other text.
    static std::optional<SbfdKey> parse(std::string_view text);

    PolicyKey policyKey() const { return {endpoint, color}; }
    /// "Value('SrTePolicy::Sbfd::SbfdKey', ** {'endpoint': ADDR, 'color': N, 'segmentListId': N})".
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;

    friend auto operator<=>(SbfdKey const&, SbfdKey const&) = default;
};

}  // namespace SrTePolicy::Sbfd

template <>
struct std::hash<SrTePolicy::Sbfd::SbfdKey> {
    std::size_t operator()(SrTePolicy::Sbfd::SbfdKey const& key) const noexcept {
        return key.hash();
    }
};
