#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Tunnel/TunnelId.h"

namespace Pooltab::Fib {

/// What a FEC leads to. Values below 26 that have no name here are kinds that this system neither
/// writes nor resolves over.
enum class AdjType : std::uint8_t {
    plain = 0,
    plainAlternate = 1,
    tunnel = 6,                  ///< the payload is a tunnel id
    srTePolicy = 15,             ///< the FECs of policies and of gRIBI next-hop groups
    plainOfTunnel = 16,          ///< a `plain` FEC as the via of a tunnel names it
    plainAlternateOfTunnel = 17  ///< a `plainAlternate` FEC as the via of a tunnel names it
};

/// The key of a FEC: its adjacency type in bits 56 to 63, the payload of that type below. 0 is no
/// FEC.
class SRTE_EXPORT FecId {
public:
    static constexpr int payloadBits = 56;
    static constexpr std::uint64_t payloadMask = (std::uint64_t{1} << payloadBits) - 1;
    static constexpr std::uint8_t adjTypeCount = 26;

    constexpr FecId() = default;
    explicit constexpr FecId(std::uint64_t value) : value_(value) {}
    /// A payload of more than 56 bits is a programming error.
    static FecId fecIdForAdjType(AdjType type, std::uint64_t payload);
    /// The reverse of `stringValue`; throws RangeError for any other text.
    static FecId fromString(std::string_view text);

    constexpr std::uint64_t value() const { return value_; }
    constexpr bool isNone() const { return value_ == 0; }
    /// A type of 26 or more is a programming error.
    AdjType adjType() const;
    constexpr std::uint64_t payload() const { return value_ & payloadMask; }
    /// Without its adjacency type, as FEC id ranges compare it.
    constexpr FecId masked() const { return FecId(payload()); }

    bool isPlain() const { return adjType() <= AdjType::plainAlternate; }
    bool isTunnel() const { return adjType() == AdjType::tunnel; }
    /// The tunnel of a tunnel or a policy FEC; no two FECs share one. Throws RangeError when the
    /// payload is no tunnel id (or, of a policy FEC, no tunnel index). Any other type is a
    /// programming error.
    Tunnel::TunnelTable::TunnelId fecIdToTunnelId() const;

    /// How the via of a tunnel names this plain FEC, and the way back. Any other type is a
    /// programming error.
    FecId forTunnel() const;
    FecId ofTunnelVia() const;

    /// `0x` and 16 hexadecimal digits.
    std::string stringValue() const;

    friend constexpr auto operator<=>(FecId, FecId) = default;

private:
    std::uint64_t value_ = 0;
};

}  // namespace Pooltab::Fib

template <>
struct std::hash<Pooltab::Fib::FecId> {
    std::size_t operator()(Pooltab::Fib::FecId id) const noexcept {
        return id.value() * 0x9E3779B97F4A7C15u;
    }
};
