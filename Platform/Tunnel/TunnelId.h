#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Platform/Export.h"

namespace Tunnel::TunnelTable {

/// Whose tunnel it is. Other values belong to applications that this system does not follow.
enum class TunnelType : std::uint8_t { tiLfa = 12, srTeSegmentList = 13, srTePolicy = 14 };

/// The key of a tunnel in every tunnel table: the tunnel type in bits 44 to 48, an index of that
/// type below.
class SRTE_EXPORT TunnelId {
public:
    static constexpr int indexBits = 44;
    static constexpr std::uint64_t minValue = 0;
    static constexpr std::uint64_t maxValue = (std::uint64_t{1} << 49) - 1;
    static constexpr std::uint64_t maxIndex = (std::uint64_t{1} << indexBits) - 1;

    constexpr TunnelId() = default;
    /// Throws RangeError above `maxValue`.
    explicit constexpr TunnelId(std::uint64_t value) : value_(value) {
        if (value > maxValue) outOfRange();
    }
    /// Throws RangeError when `type` or `index` does not fit its bits.
    static constexpr TunnelId make(TunnelType type, std::uint64_t index) {
        if (index > maxIndex) outOfRange();
        return TunnelId(static_cast<std::uint64_t>(type) << indexBits | index);
    }
    /// The reverse of `stringValue`; throws RangeError for any other text.
    static TunnelId fromString(std::string_view text);

    constexpr std::uint64_t value() const { return value_; }
    constexpr TunnelType type() const { return static_cast<TunnelType>(value_ >> indexBits); }
    constexpr std::uint64_t index() const { return value_ & maxIndex; }
    /// `TYPE-INDEX`, both decimal.
    std::string stringValue() const;

    friend constexpr auto operator<=>(TunnelId, TunnelId) = default;

private:
    [[noreturn]] static void outOfRange();
    std::uint64_t value_ = 0;
};

}  // namespace Tunnel::TunnelTable

template <>
struct std::hash<Tunnel::TunnelTable::TunnelId> {
    std::size_t operator()(Tunnel::TunnelTable::TunnelId id) const noexcept {
        return id.value() * 0x9E3779B97F4A7C15u;
    }
};
