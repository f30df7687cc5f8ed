#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace Bfd {

/// A wrapped number of the BFD tables; `Tag` makes each a type of its own.
template <class Tag>
class Number {
public:
    constexpr Number() = default;
    explicit constexpr Number(std::uint32_t value) : value_(value) {}
    constexpr std::uint32_t value() const { return value_; }
    std::string stringValue() const { return std::to_string(value_); }
    friend constexpr auto operator<=>(Number, Number) = default;

private:
    std::uint32_t value_ = 0;
};

/// Between control packets, in milliseconds (RFC 5880, 4.1). 0 leaves it to the global setting.
using BfdInterval = Number<struct BfdIntervalTag>;
/// How many packets may be lost before the session is down (RFC 5880, 4.1: detect mult). 0 leaves
/// it to the global setting.
using BfdMultiplier = Number<struct BfdMultiplierTag>;
/// Names a session at its reflector (RFC 7880, 4).
using BfdDiscriminator = Number<struct BfdDiscriminatorTag>;

/// How fast a session runs.
struct Timers {
    BfdInterval interval;
    BfdMultiplier multiplier;

    /// After how long a silent peer is down, in milliseconds (RFC 5880, 6.8.4).
    constexpr std::uint64_t detectionTime() const {
        return std::uint64_t{interval.value()} * multiplier.value();
    }
    friend constexpr auto operator<=>(Timers const&, Timers const&) = default;
};

/// The state of a session (RFC 5880, 4.1).
enum class OperState : std::uint32_t { adminDown = 0, down = 1, init = 2, up = 3 };

}  // namespace Bfd

template <class Tag>
struct std::hash<Bfd::Number<Tag>> {
    std::size_t operator()(Bfd::Number<Tag> number) const noexcept { return number.value(); }
};
