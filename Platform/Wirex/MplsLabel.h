#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <string>

#include "Platform/Export.h"

namespace Wirex {

/// A label of the MPLS label stack (RFC 3032): 20 bits, plus the values above them that say "no
/// label".
class SRTE_EXPORT MplsLabel {
public:
    static constexpr std::uint32_t min = 0;
    static constexpr std::uint32_t max = 0xFFFFF;
    static constexpr std::uint32_t null = 0x100000;  ///< the absence of a label, and the default
    static constexpr std::uint32_t entropyPlaceholder = 0x100001;  ///< stands where an EL will be
    static constexpr std::uint32_t luWithdraw = 0x800000;          ///< RFC 8277, 2.4

    constexpr MplsLabel() = default;
    /// Throws RangeError above `luWithdraw`.
    explicit constexpr MplsLabel(std::uint32_t value) : value_(checked(value)) {}

    static constexpr MplsLabel explicitNullV4() { return MplsLabel(0); }
    static constexpr MplsLabel explicitNullV6() { return MplsLabel(2); }
    static constexpr MplsLabel implicitNull() { return MplsLabel(3); }
    static constexpr MplsLabel entropyIndicator() { return MplsLabel(7); }

    constexpr std::uint32_t value() const { return value_; }
    constexpr bool isNull() const { return value_ == null; }
    /// Whether a packet can carry it.
    constexpr bool isReal() const { return value_ <= max; }
    std::string stringValue() const { return std::to_string(value_); }

    friend constexpr auto operator<=>(MplsLabel, MplsLabel) = default;

private:
    [[noreturn]] static void outOfRange();
    static constexpr std::uint32_t checked(std::uint32_t value) {
        if (value > luWithdraw) outOfRange();
        return value;
    }
    std::uint32_t value_ = null;
};

}  // namespace Wirex

template <>
struct std::hash<Wirex::MplsLabel> {
    std::size_t operator()(Wirex::MplsLabel label) const noexcept { return label.value(); }
};
