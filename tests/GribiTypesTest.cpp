#include "SrTePolicy/GribiTypes.h"
#include "tests/support/GribiAftWriter.h"
#include "tests/support/Watch.h"

namespace {

using namespace Gribi;

TEST(GribiTypes, RowsOfAGroupAndOfATunnelMapAreInOrderAndTheLastWriteCounts) {
    NhgAftEntry group(NextHopGroupId(1));
    TunnelWeightMap map;
    std::pair<std::uint64_t, std::uint64_t> const rows[] = {{5, 1}, {1 << 30, 2}, {3, 3}, {0, 4},
                                                            {9, 5}, {5, 6},       {9, 0}};
    for (auto const& [id, weight] : rows) {
        group.nextHopIs(NextHopId(id), weight);
        addTunnelWeightEntry(map, Tunnel::TunnelTable::TunnelId(id), weight);
    }
    map.tunnelWeightEntryDel(Tunnel::TunnelTable::TunnelId(3));
    std::string members;
    std::string tunnels;
    for (auto const& [id, weight] : group.nextHop()) {
        members += id.stringValue() + "x" + std::to_string(weight) + " ";
    }
    for (auto const& [id, weight] : map.tunnelWeightEntry()) {
        tunnels += id.stringValue() + "x" + std::to_string(weight) + " ";
    }
    EXPECT_EQ(members, "0x4 3x3 5x6 9x0 1073741824x2 ");
    EXPECT_EQ(tunnels, "0-0x4 0-5x6 0-9x0 0-1073741824x2 ");
}

}  // namespace
