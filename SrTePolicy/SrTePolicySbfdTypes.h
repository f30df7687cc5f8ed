#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Platform/Bfd/BfdTypes.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/SbfdKey.h"

/// Every printed form reads "Value('TYPE', ** {'FIELD': VALUE, ...})" with the fields in order;
/// `fromString` is the reverse and throws RangeError for any other text.
namespace SrTePolicy::Sbfd {

/// How fast an S-BFD session shall run; zero leaves it to the global settings.
struct SRTE_EXPORT SbfdParams {
    Bfd::BfdInterval sbfdInterval;
    Bfd::BfdMultiplier sbfdMulti;

    static SbfdParams of(PolicySbfdConfig const& config) {
        return {config.interval, config.multiplier};
    }
    static SbfdParams of(Bfd::Timers const& timers) { return {timers.interval, timers.multiplier}; }
    Bfd::Timers timers() const { return {sbfdInterval, sbfdMulti}; }
    /// With the global settings in place of what is zero: without an interval the pair as a whole.
    SbfdParams resolved(SbfdParams const& global) const;

    static SbfdParams fromString(std::string_view text);
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend auto operator<=>(SbfdParams const&, SbfdParams const&) = default;
};

/// What the configuration asks of S-BFD for one list of one policy.
struct SRTE_EXPORT SegmentListSbfdConfig {
    SbfdKey sbfdKey;
    Bfd::BfdDiscriminator remoteDiscriminator;
    SbfdParams sbfdParams;

    static SegmentListSbfdConfig fromString(std::string_view text);
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend auto operator<=>(SegmentListSbfdConfig const&, SegmentListSbfdConfig const&) = default;
};

/// A session: policies that use one list towards one reflector share it.
struct SRTE_EXPORT SbfdSessionKey {
    SegmentListId segmentListId;
    Bfd::BfdDiscriminator remoteDiscriminator;

    static SbfdSessionKey fromString(std::string_view text);
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend auto operator<=>(SbfdSessionKey const&, SbfdSessionKey const&) = default;
};

/// What the session of a key runs with.
struct SRTE_EXPORT SegmentListSbfdSessionConfig {
    SbfdKey sbfdKey;
    SbfdParams params;

    static SegmentListSbfdSessionConfig fromString(std::string_view text);
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend auto operator<=>(SegmentListSbfdSessionConfig const&,
                            SegmentListSbfdSessionConfig const&) = default;
};

/// Whether the session of a key lets its list be used.
struct SRTE_EXPORT SegmentListSbfdSessionStatus {
    SbfdKey sbfdKey;
    bool valid = false;

    static SegmentListSbfdSessionStatus fromString(std::string_view text);
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend auto operator<=>(SegmentListSbfdSessionStatus const&,
                            SegmentListSbfdSessionStatus const&) = default;
};

}  // namespace SrTePolicy::Sbfd

template <>
struct std::hash<SrTePolicy::Sbfd::SbfdSessionKey> {
    std::size_t operator()(SrTePolicy::Sbfd::SbfdSessionKey const& key) const noexcept {
        return key.hash();
    }
};
