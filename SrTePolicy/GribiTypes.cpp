#include "SrTePolicy/GribiTypes.h"

#include <algorithm>

namespace Gribi {

using Tunnel::TunnelTable::TunnelId;

Quor::Ptr<NexthopIdToSegmentListMap> nexthopIdToSegmentListMapFactory() {
    return Quor::makePtr<NexthopIdToSegmentListMap>();
}

Quor::Ptr<SegmentListIdToNexthopIdMap> segmentListIdToNexthopIdMapFactory() {
    return Quor::makePtr<SegmentListIdToNexthopIdMap>();
}

// Next hops mostly got their lists, and with them their tunnels, in their own order.
TunnelWeightEntry& TunnelWeightMap::tunnelWeightEntryIs(TunnelId tunnelId) {
    if (entries_.empty() || entries_.back().tunnelId < tunnelId) {
        return entries_.emplace_back(TunnelWeightEntry{tunnelId});
    }
    auto const place =
        std::ranges::lower_bound(entries_, tunnelId, {}, &TunnelWeightEntry::tunnelId);
    if (place->tunnelId == tunnelId) return *place;
    return *entries_.insert(place, TunnelWeightEntry{tunnelId});
}

void TunnelWeightMap::tunnelWeightEntryDel(TunnelId tunnelId) {
    std::erase_if(entries_, [tunnelId](auto const& entry) { return entry.tunnelId == tunnelId; });
}

void addTunnelWeightEntry(TunnelWeightMap& map, TunnelId tunnelId, std::uint64_t weight) {
    map.tunnelWeightEntryIs(tunnelId).weight = weight;
}

}  // namespace Gribi
