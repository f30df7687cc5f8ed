#include <vector>

#include "Platform/Pooltab/ForwardingStatus.h"
#include "Platform/Quor/RangeError.h"

namespace {

using namespace Pooltab::Fib;
using testing::ThrowsMessage;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;
using Wirex::MplsLabel;

Fec fecOf(std::uint64_t id, std::size_t viaCount) {
    Fec fec{FecId(id)};
    for (std::uint64_t i = 0; i < viaCount; ++i) {
        fec.viaIs(ViaIndex(i), Via(TunnelId::make(TunnelType::srTeSegmentList, i), i + 1));
    }
    return fec;
}

TEST(FecId, hasItsTypeInTheTopByte) {
    auto const id = FecId::fecIdForAdjType(AdjType::srTePolicy, 0x100000007);
    EXPECT_EQ(id.value(), 0x0F00000100000007u);
    EXPECT_EQ(id.adjType(), AdjType::srTePolicy);
    EXPECT_EQ(id.payload(), 0x100000007u);
    EXPECT_EQ(id.masked(), FecId(0x100000007));
    EXPECT_EQ(FecId(0x19FFFFFFFFFFFFFF).adjType(), AdjType{25});
    EXPECT_DEATH((void)FecId(0x1A00000000000000).adjType(), "FecId::adjType");
    EXPECT_DEATH((void)FecId::fecIdForAdjType(AdjType::plain, FecId::payloadMask + 1), "payload");
}

TEST(FecId, ofTunnelsAndPoliciesNamesOneTunnelEach) {
    auto const tiLfa = TunnelId::make(TunnelType::tiLfa, 5);
    auto const ofTunnel = FecId::fecIdForAdjType(AdjType::tunnel, tiLfa.value());
    EXPECT_EQ(ofTunnel.fecIdToTunnelId(), tiLfa);

    auto const ofPolicy = FecId::fecIdForAdjType(AdjType::srTePolicy, 0x1FFFFFFFF);
    EXPECT_EQ(ofPolicy.fecIdToTunnelId(), TunnelId::make(TunnelType::srTePolicy, 0x1FFFFFFFF));

    auto constexpr text =
        "TunnelId::value < TunnelId::minValue or > TunnelId::maxValue not allowed";
    for (auto const beyond :
         {FecId::fecIdForAdjType(AdjType::tunnel, TunnelId::maxValue + 1),
          FecId::fecIdForAdjType(AdjType::srTePolicy, TunnelId::maxIndex + 1)}) {
        EXPECT_THAT([&] { (void)beyond.fecIdToTunnelId(); }, ThrowsMessage<Quor::RangeError>(text));
    }
}

TEST(FecId, ofTheViaOfATunnelConvertsBack) {
    for (std::uint64_t const value : {std::uint64_t{1}, 0x01FFFFFFFFFFFFFFu}) {
        FecId const plain(value);
        EXPECT_NE(plain.forTunnel(), plain);
        EXPECT_EQ(plain.forTunnel().payload(), plain.payload());
        EXPECT_EQ(plain.forTunnel().ofTunnelVia(), plain);
    }
}

TEST(FecId, isReadFromItsOwnTextOnly) {
    EXPECT_EQ(FecId(0x0F00000100000007).stringValue(), "0x0f00000100000007");
    EXPECT_EQ(FecId::fromString("0x0f00000100000007"), FecId(0x0F00000100000007));
    for (auto const* const text : {"", "0x", "0x0f0000010000000", "0x0f000001000000070",
                                   "0X0f00000100000007", "0x0f0000010000000g"}) {
        EXPECT_THAT([&] { FecId::fromString(text); },
                    ThrowsMessage<Quor::RangeError>("Pooltab::Fib::FecId: malformed text"))
            << text;
    }
}

TEST(Via, hasAnIndexBelow600AndAWeight) {
    EXPECT_EQ(ViaIndex(599).value(), 599);
    EXPECT_THAT([] { ViaIndex(600); },
                ThrowsMessage<Quor::RangeError>(
                    "ViaIndex::value < ViaIndex::min or > ViaIndex::max not allowed"));
    EXPECT_EQ(Via(TunnelId(), ~std::uint64_t{0}).weight(), ~std::uint64_t{0});
    EXPECT_THAT([] { Via(TunnelId(), 0); },
                ThrowsMessage<Quor::RangeError>("Via::weight < Via::minWeight not allowed"));
}

// Vias move out of the object at the third, and again at every power of two.
TEST(Fec, keepsItsViasInIndexOrderAtEverySize) {
    for (std::size_t const count : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 9u, 600u}) {
        auto const fec = fecOf(1, count);
        ASSERT_EQ(fec.vias().size(), count);
        for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(fec.vias()[i].weight(), i + 1);

        auto copy = fec;
        EXPECT_EQ(copy, fec);
        copy.viaIs(ViaIndex(count ? count - 1 : 0), Via(TunnelId(), 1000));
        EXPECT_NE(copy, fec);
        EXPECT_EQ(fec, fecOf(1, count)) << "a copy shares nothing";
        copy = fecOf(2, 3);
        EXPECT_EQ(copy, fecOf(2, 3));
        auto const moved = std::move(copy);
        EXPECT_EQ(moved, fecOf(2, 3));
    }
    auto fec = fecOf(1, 4);
    fec.viaIs(ViaIndex(4), fec.vias()[0]);  // of its own, while it moves
    EXPECT_EQ(fec.vias()[4], fecOf(1, 1).vias()[0]);
    EXPECT_NE(fecOf(1, 2), fecOf(2, 2));
    EXPECT_NE(fecOf(1, 2), fecOf(1, 3));
}

TEST(Fec, printsItsVias) {
    Fec fec{FecId(2)};
    fec.viaIs(ViaIndex(0),
              Via(TunnelId::make(TunnelType::srTeSegmentList, 7), 1, MplsLabel::explicitNullV6()));
    EXPECT_EQ(fec.stringValue(), "0x0000000000000002: tunnel 13-7 weight 1 label 2");
}

}  // namespace
