#include "SrTePolicy/GribiTypes.h"
#include "tests/support/GribiAftWriter.h"
#include "tests/support/Watch.h"

namespace {

using namespace Gribi;

TEST(GribiTypes, AWriteOfAnEqualRowIsTold) {
    GribiAftWriter const client;
    std::string told;
    auto const tell = [&told](auto const& key) { told += key.stringValue() + " "; };
    Watch<NextHopId> const nextHops(client.afts->nhAft->nhAftEntry(), tell);
    Watch<NextHopGroupId> const groups(client.afts->nhgAft->nhgAftEntry(), tell);
    Watch<Wirex::MplsLabel> const labels(client.afts->mplsAft->mplsAftEntry(), tell);
    for (int i = 0; i < 2; ++i) {
        client.nextHop(1, {16});
        client.group(2, {{1, 1}});
        client.label(3, 2);
    }
    EXPECT_EQ(told, "1 2 3 1 2 3 ");
}

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
