#include "Platform/Tunnel/TunnelId.h"

#include <charconv>

#include "Platform/Quor/RangeError.h"

namespace Tunnel::TunnelTable {

void TunnelId::outOfRange() {
    throw Quor::RangeError(
        "TunnelId::value < TunnelId::minValue or > TunnelId::maxValue not allowed");
}

TunnelId TunnelId::fromString(std::string_view text) {
    std::uint8_t type = 0;
    std::uint64_t index = 0;
    auto const* const end = text.data() + text.size();
    auto const afterType = std::from_chars(text.data(), end, type).ptr;
    if (afterType != end) std::from_chars(afterType + 1, end, index);
    // Only the text that is printed counts: no leading zeros, signs or blanks.
    if (index <= maxIndex && type <= maxValue >> indexBits) {
        auto const id = make(static_cast<TunnelType>(type), index);
        if (id.stringValue() == text) return id;
    }
    throw Quor::RangeError("Tunnel::TunnelTable::TunnelId: malformed text");
}

std::string TunnelId::stringValue() const {
    return std::to_string(value_ >> indexBits) + "-" + std::to_string(index());
}

}  // namespace Tunnel::TunnelTable
