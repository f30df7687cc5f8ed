#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <string>

#include "Platform/Export.h"

namespace Gribi {

/// The index that a gRIBI client gave to a next hop. Any number but all ones, which names none and
/// is the default.
class SRTE_EXPORT NextHopId {
public:
    static constexpr std::uint64_t invalid = std::numeric_limits<std::uint64_t>::max();

    constexpr NextHopId() = default;
    explicit constexpr NextHopId(std::uint64_t value) : value_(value) {}
    constexpr std::uint64_t value() const { return value_; }
    constexpr bool isInvalid() const { return value_ == invalid; }
    std::string stringValue() const { return std::to_string(value_); }

    friend constexpr auto operator<=>(NextHopId, NextHopId) = default;

private:
    std::uint64_t value_ = invalid;
};

/// The id that a gRIBI client gave to a next-hop group: any number.
class SRTE_EXPORT NextHopGroupId {
public:
    constexpr NextHopGroupId() = default;
    explicit constexpr NextHopGroupId(std::uint64_t value) : value_(value) {}
    constexpr std::uint64_t value() const { return value_; }
    std::string stringValue() const { return std::to_string(value_); }

    friend constexpr auto operator<=>(NextHopGroupId, NextHopGroupId) = default;

private:
    std::uint64_t value_ = 0;
};

}  // namespace Gribi
