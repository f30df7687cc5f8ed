#include "Platform/Pooltab/FecId.h"

#include <charconv>
#include <cstdio>

#include "Platform/Quor/Assert.h"
#include "Platform/Quor/RangeError.h"

namespace Pooltab::Fib {
namespace {

FecId movedBy(FecId id, int types) {
    auto const type = static_cast<AdjType>(static_cast<int>(id.adjType()) + types);
    return FecId::fecIdForAdjType(type, id.payload());
}

constexpr int tunnelViaOffset =
    static_cast<int>(AdjType::plainOfTunnel) - static_cast<int>(AdjType::plain);

}  // namespace

FecId FecId::fecIdForAdjType(AdjType type, std::uint64_t payload) {
    QUOR_ASSERT(payload <= payloadMask, "payload <= FecId::payloadMask");
    return FecId(static_cast<std::uint64_t>(type) << payloadBits | payload);
}

FecId FecId::fromString(std::string_view text) {
    std::uint64_t value = 0;
    if (text.size() == 18) std::from_chars(text.data() + 2, text.data() + 18, value, 16);
    // Only the text that is printed counts.
    if (FecId(value).stringValue() == text) return FecId(value);
    throw Quor::RangeError("Pooltab::Fib::FecId: malformed text");
}

AdjType FecId::adjType() const {
    QUOR_ASSERT(value_ >> payloadBits < adjTypeCount, "FecId::adjType < FecId::adjTypeCount");
    return static_cast<AdjType>(value_ >> payloadBits);
}

Tunnel::TunnelTable::TunnelId FecId::fecIdToTunnelId() const {
    using namespace Tunnel::TunnelTable;
    if (isTunnel()) return TunnelId(payload());
    QUOR_ASSERT(adjType() == AdjType::srTePolicy, "FecId::adjType is that of a tunnel or a policy");
    return TunnelId::make(TunnelType::srTePolicy, payload());
}

FecId FecId::forTunnel() const {
    QUOR_ASSERT(isPlain(), "FecId::isPlain");
    return movedBy(*this, tunnelViaOffset);
}

FecId FecId::ofTunnelVia() const {
    auto const type = adjType();
    QUOR_ASSERT(type == AdjType::plainOfTunnel || type == AdjType::plainAlternateOfTunnel,
                "FecId::adjType is that of a tunnel's via");
    return movedBy(*this, -tunnelViaOffset);
}

std::string FecId::stringValue() const {
    char text[19];
    std::snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(value_));
    return text;
}

}  // namespace Pooltab::Fib
