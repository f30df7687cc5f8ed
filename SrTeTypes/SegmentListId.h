#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <limits>
#include <ostream>
#include <string>

#include "Platform/Tunnel/TunnelId.h"
#include "SrTeTypes/SeededHash.h"

namespace SrTePolicy {

/// The identity of an interned segment list: handed out from 1 upward, never reused in one life of
/// the agent; 0 is not assigned.
class SRTE_EXPORT SegmentListId {
public:
    constexpr SegmentListId() = default;
    explicit constexpr SegmentListId(std::uint32_t value) : value_(value) {}
    constexpr std::uint32_t value() const { return value_; }
    std::string stringValue() const { return std::to_string(value_); }

    /// The key of the list's forwarding in the segment-list tunnel table; one per list.
    Tunnel::TunnelTable::TunnelId getTunnelId() const {
        return Tunnel::TunnelTable::TunnelId::make(Tunnel::TunnelTable::TunnelType::srTeSegmentList,
                                                   value_);
    }

    friend constexpr auto operator<=>(SegmentListId, SegmentListId) = default;
    friend std::ostream& operator<<(std::ostream& out, SegmentListId id) {
        return out << id.value_;
    }

private:
    std::uint32_t value_ = 0;
};

/// Tells apart lists of one owner with equal segments: the next-hop id of a gRIBI list, all ones
/// for every list of a policy. Only the latter may resolve over a TI-LFA protected top label.
class SRTE_EXPORT DistinguisherId {
public:
    static constexpr std::uint64_t policyList = std::numeric_limits<std::uint64_t>::max();

    constexpr DistinguisherId() = default;
    explicit constexpr DistinguisherId(std::uint64_t value) : value_(value) {}
    constexpr std::uint64_t value() const { return value_; }
    constexpr bool isPolicyList() const { return value_ == policyList; }
    std::string stringValue() const { return std::to_string(value_); }

    friend constexpr auto operator<=>(DistinguisherId, DistinguisherId) = default;

private:
    std::uint64_t value_ = policyList;
};

/// A segment list of a candidate with its share of the traffic (RFC 9256, 2.2 and 2.11).
struct SRTE_EXPORT WeightedSegmentListId {
    SegmentListId segmentListId;
    std::uint32_t weight = 1;

    /// "N weight N".
    std::string stringValue() const {
        return segmentListId.stringValue() + " weight " + std::to_string(weight);
    }
    std::uint64_t hash(std::uint64_t seed = 0) const {
        return seededHash(seed, segmentListId.value(), weight);
    }
    friend auto operator<=>(WeightedSegmentListId const&, WeightedSegmentListId const&) = default;
};

}  // namespace SrTePolicy

template <>
struct std::hash<SrTePolicy::SegmentListId> {
    std::size_t operator()(SrTePolicy::SegmentListId id) const noexcept { return id.value(); }
};
