#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

#include "Platform/Export.h"
#include "Platform/Mpls/RouteKey.h"
#include "Platform/Pooltab/FecId.h"
#include "Platform/Wirex/IntfId.h"
#include "Platform/Wirex/IpGenAddr.h"
#include "Platform/Wirex/MplsLabelStack.h"

namespace Mpls {

namespace LFib {

/// The application that made a route. Numbers without a name are other applications.
enum class Source : std::uint32_t { unset = 0, gribi = 1, srTePolicy = 24 };

}  // namespace LFib

/// Types without a name here are ordinary label routes to this system.
enum class LfibRouteType : std::uint32_t { unset = 0, pseudowire = 8 };

/// What the vias of a route are. Types without a name here cannot be resolved over.
enum class LfibViaType : std::uint32_t { unset = 0, mpls = 1, extFec = 10 };

/// What lies below the label that a route to a FEC takes off.
enum class LfibPayloadType : std::uint32_t { unset = 0, any = 5 };

class RouteMetric {
public:
    constexpr RouteMetric() = default;
    explicit constexpr RouteMetric(std::uint32_t value) : value_(value) {}
    constexpr std::uint32_t value() const { return value_; }
    friend constexpr auto operator<=>(RouteMetric, RouteMetric) = default;

private:
    std::uint32_t value_ = 0;
};

/// The place of a via in a via set.
class SRTE_EXPORT LfibViaIndexRange {
public:
    static constexpr std::int32_t min = 0;
    static constexpr std::int32_t max = 599;

    constexpr LfibViaIndexRange() = default;
    /// Throws RangeError outside 0 to 599.
    explicit constexpr LfibViaIndexRange(std::int64_t value) : value_(checked(value)) {}
    constexpr std::int32_t value() const { return value_; }
    friend constexpr auto operator<=>(LfibViaIndexRange, LfibViaIndexRange) = default;

private:
    [[noreturn]] static void outOfRange();
    static constexpr std::int16_t checked(std::int64_t value) {
        if (value < min || value > max) outOfRange();
        return static_cast<std::int16_t>(value);
    }
    std::int16_t value_ = 0;
};

/// The key of a via set: every route has one of its own.
struct LfibViaSetKey {
    RouteKey routeKey;
    friend constexpr auto operator<=>(LfibViaSetKey, LfibViaSetKey) = default;
};

/// The key of a via: ordered by route, then by index.
struct LfibViaKey {
    LfibViaSetKey viaSetKey;
    LfibViaIndexRange index;
    friend constexpr auto operator<=>(LfibViaKey, LfibViaKey) = default;
};

/// A route without its forwarding; equal to the default one when there is none.
struct LfibRoute {
    RouteKey key;
    LfibRouteType type = LfibRouteType::unset;
    LFib::Source source = LFib::Source::unset;
    RouteMetric metric;
    LfibViaSetKey viaSetKey;

    friend bool operator==(LfibRoute const&, LfibRoute const&) = default;
};

/// The vias of a route, named by keys; equal to the default one when there is none.
struct LfibViaSet {
    LfibViaSetKey viaSetKey;
    LfibViaType type = LfibViaType::unset;
    std::uint32_t count = 0;

    /// Throws RangeError for an index that no via can have.
    LfibViaKey key(std::uint32_t index) const { return {viaSetKey, LfibViaIndexRange(index)}; }
    friend bool operator==(LfibViaSet const&, LfibViaSet const&) = default;
};

/// A via to a next hop; equal to the default one when there is none.
struct LfibMplsVia {
    Wirex::IpGenAddr nextHop;
    Wirex::IntfId intf;
    Wirex::MplsLabelOperation operation;

    friend bool operator==(LfibMplsVia const&, LfibMplsVia const&) = default;
    friend std::strong_ordering operator<=>(LfibMplsVia const&, LfibMplsVia const&) = default;
};

/// A via into a FEC of the forwarding tables; equal to the default one when there is none.
struct LfibExtFecVia {
    std::array<std::uint32_t, 3> leading{};  ///< zero in the routes of every application here
    Pooltab::Fib::FecId fecId;
    Wirex::MplsLabelAction labelAction = Wirex::MplsLabelAction::none;
    LfibPayloadType payloadType = LfibPayloadType::unset;

    /// Into `fecId` with the arriving label taken off, whatever lies below.
    static LfibExtFecVia popInto(Pooltab::Fib::FecId fecId) {
        return {{}, fecId, Wirex::MplsLabelAction::pop, LfibPayloadType::any};
    }
    friend bool operator==(LfibExtFecVia const&, LfibExtFecVia const&) = default;
};

}  // namespace Mpls
