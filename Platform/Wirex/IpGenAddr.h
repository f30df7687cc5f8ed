#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"

namespace Wirex {

enum class AddressFamily : std::uint32_t { none = 0, ipv4 = 1, ipv6 = 2 };

/// An address of either family, or of none (the default). Ordered by family, then by value.
class SRTE_EXPORT IpGenAddr {
public:
    using Bytes = std::array<std::uint8_t, 16>;

    IpGenAddr() = default;
    static IpGenAddr ipv4(std::uint32_t value);
    static IpGenAddr ipv6(Bytes const& bytes);
    /// Dotted decimal without leading zeros, or an IPv6 text of RFC 4291, 2.2; else nothing.
    static std::optional<IpGenAddr> parse(std::string_view text);

    AddressFamily family() const { return family_; }
    bool isEmpty() const { return family_ == AddressFamily::none; }
    bool isV4() const { return family_ == AddressFamily::ipv4; }
    bool isV6() const { return family_ == AddressFamily::ipv6; }
    /// The 128-bit value, most significant byte first; an IPv4 address is in the last four.
    Bytes const& bytes() const { return bytes_; }
    std::uint64_t high() const { return word(0); }
    std::uint64_t low() const { return word(8); }

    /// Dotted decimal or RFC 5952; empty for no family.
    std::string stringValue() const;

    friend bool operator==(IpGenAddr const& a, IpGenAddr const& b) = default;
    friend std::strong_ordering operator<=>(IpGenAddr const& a, IpGenAddr const& b) {
        if (auto const byFamily = a.family_ <=> b.family_; byFamily != 0) return byFamily;
        if (auto const byHigh = a.high() <=> b.high(); byHigh != 0) return byHigh;
        return a.low() <=> b.low();
    }

private:
    std::uint64_t word(std::size_t at) const {
        std::uint64_t value = 0;
        std::memcpy(&value, bytes_.data() + at, sizeof(value));
        return std::endian::native == std::endian::big ? value : __builtin_bswap64(value);
    }
    AddressFamily family_ = AddressFamily::none;
    Bytes bytes_{};
};

/// An address with a prefix length; full length unless said otherwise.
struct SRTE_EXPORT IpGenPrefix {
    IpGenAddr address;
    std::uint8_t length = 0;

    /// `address` alone: /32 or /128; a prefix of no family has length 0.
    static IpGenPrefix fullLength(IpGenAddr const& address);
    std::string stringValue() const;

    friend auto operator<=>(IpGenPrefix const&, IpGenPrefix const&) = default;
};

}  // namespace Wirex

template <>
struct std::hash<Wirex::IpGenAddr> {
    std::size_t operator()(Wirex::IpGenAddr const& address) const noexcept {
        auto const mixed = (address.high() * 0x9E3779B97F4A7C15u) ^ address.low() ^
                           static_cast<std::uint64_t>(address.family());
        return mixed * 0xC2B2AE3D27D4EB4Fu;
    }
};
