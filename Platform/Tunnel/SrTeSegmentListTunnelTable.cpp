#include "Platform/Tunnel/SrTeSegmentListTunnelTable.h"

namespace Tunnel::TunnelTable {

std::string SrTeSegmentListTunnelTableEntry::stringValue() const {
    auto text = tunnelId.stringValue() + ":";
    char const* separator = " ";
    for (auto const& via : vias()) {
        text.append(separator).append(via.stringValue());
        separator = ", ";
    }
    return text;
}

}  // namespace Tunnel::TunnelTable
