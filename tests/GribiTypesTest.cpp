#include "SrTePolicy/GribiTypes.h"
#include "SrTeTypes/GribiAfts.h"
#include "tests/support/Watch.h"

namespace {

using namespace Gribi;
using testing::ElementsAre;
using Tunnel::TunnelTable::TunnelId;

TEST(GribiTypes, AWriteOfAnEqualRowIsTold) {
    auto const afts = gribiAftsFactory();
    std::string told;
    auto const tell = [&told](auto const& key) { told += key.stringValue() + " "; };
    Watch<NextHopId> const nextHops(afts->nhAft->nhAftEntry(), tell);
    Watch<NextHopGroupId> const groups(afts->nhgAft->nhgAftEntry(), tell);
    Watch<Wirex::MplsLabel> const labels(afts->mplsAft->mplsAftEntry(), tell);
    for (int i = 0; i < 2; ++i) {
        afts->nhAft->nhAftEntryIs({NextHopId(1), Wirex::pushOperation({16})});
        afts->nhgAft->nhgAftEntryIs(NhgAftEntry(NextHopGroupId(2)));
        afts->mplsAft->mplsAftEntryIs({Wirex::MplsLabel(3), NextHopGroupId(2)});
    }
    EXPECT_EQ(told, "1 2 3 1 2 3 ");
}

TEST(GribiTypes, TheNextHopsOfAGroupAreInOrderAndOnceEach) {
    NhgAftEntry group(NextHopGroupId(1));
    constexpr std::pair<std::uint64_t, std::uint64_t> members[] = {
        {5, 1}, {~0ull, 2}, {3, 3}, {0, 4}, {9, 5}, {5, 6}, {9, 0}};
    for (auto const& [id, weight] : members) group.nextHopIs(NextHopId(id), weight);
    EXPECT_THAT(group.nextHop(),
                ElementsAre(NextHopWeight{NextHopId(0), 4}, NextHopWeight{NextHopId(3), 3},
                            NextHopWeight{NextHopId(5), 6}, NextHopWeight{NextHopId(9), 0},
                            NextHopWeight{NextHopId(), 2}));
}

TEST(GribiTypes, TunnelWeightsAreByTunnelAndTheLastOneCounts) {
    TunnelWeightMap map;
    for (auto const tunnel : {5u, 9u, 2u, 7u}) addTunnelWeightEntry(map, TunnelId(tunnel), tunnel);
    addTunnelWeightEntry(map, TunnelId(5), 50);
    map.tunnelWeightEntryDel(TunnelId(7));
    map.tunnelWeightEntryDel(TunnelId(8));
    std::string text;
    for (auto const& [tunnelId, weight] : map.tunnelWeightEntry()) {
        text += std::to_string(tunnelId.value()) + "=" + std::to_string(weight) + " ";
    }
    EXPECT_EQ(text, "2=2 5=50 9=9 ");
}

}  // namespace
