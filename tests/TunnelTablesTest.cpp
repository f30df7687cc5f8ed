#include <set>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

#include "Platform/Quor/RangeError.h"
#include "Platform/Tunnel/SrTeSegmentListTunnelTable.h"

namespace {

using namespace Tunnel::TunnelTable;
using Pooltab::Fib::ViaIndex;
using testing::ThrowsMessage;
using Wirex::IntfId;
using Wirex::IpGenAddr;

TEST(TunnelId, isATypeAndAnIndex) {
    auto const id = TunnelId::make(TunnelType::srTeSegmentList, 0xFFFFFFFF);
    EXPECT_EQ(id.value(), 0xD000FFFFFFFFu);
    EXPECT_EQ(id.type(), TunnelType::srTeSegmentList);
    EXPECT_EQ(id.index(), 0xFFFFFFFFu);
    EXPECT_EQ(id.stringValue(), "13-4294967295");
    EXPECT_EQ(TunnelId(0x1FFFFFFFFFFFF).stringValue(), "31-17592186044415");

    auto constexpr text =
        "TunnelId::value < TunnelId::minValue or > TunnelId::maxValue not allowed";
    EXPECT_THAT([] { TunnelId(0x2000000000000); }, ThrowsMessage<Quor::RangeError>(text));
    EXPECT_THAT([] { TunnelId::make(TunnelType::srTePolicy, TunnelId::maxIndex + 1); },
                ThrowsMessage<Quor::RangeError>(text));
}

TEST(TunnelId, isReadFromItsOwnTextOnly) {
    EXPECT_EQ(TunnelId::fromString("12-5"), TunnelId::make(TunnelType::tiLfa, 5));
    EXPECT_EQ(TunnelId::fromString("31-17592186044415"), TunnelId(TunnelId::maxValue));
    for (auto const* const text : {"", "12", "12-", "-5", "12-05", "12-5 ", "12 5", "32-0",
                                   "12-17592186044416", "268-5", "12-99999999999999999999"}) {
        EXPECT_THAT(
            [&] { TunnelId::fromString(text); },
            ThrowsMessage<Quor::RangeError>("Tunnel::TunnelTable::TunnelId: malformed text"))
            << text;
    }
}

// Every family, every kind of interface, and stacks of no, some and the most labels.
std::vector<MplsVia> variedVias() {
    auto const stack =
        Wirex::BoundedMplsLabelStack{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0xFFFFF};
    return {{},
            {IpGenAddr::ipv4(0xC0000201), IntfId::physical("et1"), Wirex::pushOperation({100, 0})},
            {*IpGenAddr::parse("2001:db8::1"),
             IntfId::physical("et2"),
             {Wirex::MplsLabelAction::swap, stack}},
            {{}, IntfId::dynamicTunnel(~std::uint64_t{0}), {Wirex::MplsLabelAction::pop, {}}},
            {IpGenAddr::ipv6({}), IntfId::hierarchicalFec(0x1000000000000005), {}}};
}

TEST(SrTeSegmentListTunnelTable, keepsEveryViaAsItWasAndTellsOneFromAnother) {
    auto const vias = variedVias();
    auto const id = TunnelId::make(TunnelType::srTeSegmentList, 3);
    SrTeSegmentListTunnelTableEntry const entry(id, vias);
    EXPECT_EQ(SrTeSegmentListTunnelTableEntry(id, {}).stringValue(), "13-3:");
    auto const copy = entry;
    EXPECT_EQ(copy.vias(), vias);
    std::set<MplsVia> ordered;
    std::unordered_set<MplsVia> hashed;
    for (std::size_t i = 0; i < vias.size(); ++i) {
        EXPECT_EQ(copy.via(ViaIndex(i)), vias[i]);
        ordered.insert(vias[i]);
        hashed.insert(vias[i]);
        for (auto const& other : vias) {
            EXPECT_EQ((SrTeSegmentListTunnelTableEntry(id, std::span(&vias[i], 1)) ==
                       SrTeSegmentListTunnelTableEntry(id, std::span(&other, 1))),
                      &vias[i] == &other);
        }
    }
    EXPECT_EQ(ordered.size(), vias.size());
    EXPECT_EQ(hashed.size(), vias.size());
}

TEST(SrTeSegmentListTunnelTable, takesSixHundredVias) {
    auto const id = TunnelId::make(TunnelType::srTeSegmentList, 3);
    std::vector<MplsVia> vias(600, variedVias()[1]);
    EXPECT_EQ(SrTeSegmentListTunnelTableEntry(id, vias).viaCount(), 600u);
    vias.emplace_back();
    EXPECT_THAT([&] { SrTeSegmentListTunnelTableEntry(id, vias); },
                ThrowsMessage<Quor::RangeError>(
                    "ViaIndex::value < ViaIndex::min or > ViaIndex::max not allowed"));
}

}  // namespace
