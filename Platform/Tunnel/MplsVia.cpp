#include "Platform/Tunnel/MplsVia.h"

namespace Tunnel::TunnelTable {

std::string MplsVia::stringValue() const {
    return "nh: " + nextHop.stringValue() + " intf: " + intf.stringValue() +
           " stack: " + operation.stringValue();
}

}  // namespace Tunnel::TunnelTable

std::size_t std::hash<Tunnel::TunnelTable::MplsVia>::operator()(
    Tunnel::TunnelTable::MplsVia const& via) const noexcept {
    std::size_t seed = std::hash<Wirex::IpGenAddr>{}(via.nextHop);
    auto const mix = [&seed](std::size_t value) {
        seed = (seed ^ value) * 0x9E3779B97F4A7C15u;
        seed ^= seed >> 32;
    };
    mix(std::hash<std::string>{}(via.intf.stringValue()));
    mix(static_cast<std::size_t>(via.operation.action));
    for (std::size_t i = 0; i < via.operation.stack.size(); ++i) {
        mix(via.operation.stack.label(i).value());
    }
    return seed;
}
