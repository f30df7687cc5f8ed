#include <algorithm>
#include <string>
#include <vector>

#include "Platform/Quor/RangeError.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"
#include "tests/support/Routes.h"
#include "tests/support/Watch.h"

namespace SrTePolicy {
namespace {

using Wirex::MplsLabel;

PolicyId id(char const* endpoint, std::uint32_t color, Protocol protocol, char const* originator,
            std::uint32_t as, std::uint32_t discriminator) {
    return {{address(endpoint), color}, {protocol, address(originator), as, discriminator}};
}
PolicyId const P = id("192.0.2.5", 100, Protocol::bgp, "192.0.2.9", 65001, 1);

TEST(PolicyTypes, IdentitiesAreOrderedFieldByField) {
    using enum Protocol;
    std::vector<PolicyId> const inOrder = {
        id("", 1, bgp, "::", 9, 9),        id("0.0.0.0", 1, bgp, "", 9, 9),
        id("0.0.0.0", 2, pcep, "", 9, 9),  id("0.0.0.0", 2, bgp, "", 9, 9),
        id("0.0.0.0", 2, bgp, "::", 1, 9), id("0.0.0.0", 2, bgp, "::", 2, 1),
        id("0.0.0.0", 2, bgp, "::", 2, 2), id("0.0.0.0", 2, config, "", 0, 0),
        id("9.0.0.0", 1, bgp, "", 0, 0),   id("::", 1, bgp, "", 0, 0),
        id("::1", 1, bgp, "", 0, 0)};
    EXPECT_TRUE(std::is_sorted(inOrder.begin(), inOrder.end()));
    for (std::size_t i = 1; i < inOrder.size(); ++i) {
        EXPECT_NE(inOrder[i - 1], inOrder[i]);
        EXPECT_NE(inOrder[i - 1].hash(7), inOrder[i].hash(7));
        EXPECT_LE(PolicyId::lowest(inOrder[i].key), inOrder[i]);
    }
    EXPECT_NE(P.hash(1), P.hash(2));

    // The originator that ranks a candidate: the AS first, an IPv4 address as a small number.
    std::vector<Originator> const ranked = {{address(""), 1},
                                            {address("192.0.2.9"), 1},
                                            {address("::c000:209"), 1},
                                            {address("2001:db8::"), 1},
                                            {address("10.0.0.1"), 2}};
    EXPECT_TRUE(std::is_sorted(ranked.begin(), ranked.end()));
    EXPECT_NE(ranked[1].hash(), ranked[2].hash());
}

TEST(PolicyTypes, TheEmptyIdIsTheDefault) {
    PolicyId const empty;
    EXPECT_EQ(empty, id("", maxU32(), static_cast<Protocol>(maxU32()), "", maxU32(), maxU32()));
    EXPECT_EQ(empty.stringValue(),
              "endpoint  color 4294967295 protocol 4294967295 originator (AS4294967295) "
              "discriminator 4294967295");
}

TEST(PolicyTypes, TheyPrintTheirFields) {
    auto const text = P.stringValue();
    EXPECT_EQ(text,
              "endpoint 192.0.2.5 color 100 protocol BGP originator 192.0.2.9(AS65001) "
              "discriminator 1");
    EXPECT_EQ(protocolEnumToString(Protocol::pcep), "PCEP");
    EXPECT_EQ(protocolEnumToString(Protocol::config), "config");
    EXPECT_EQ(protocolEnumToString(static_cast<Protocol>(40)), "40");
    EXPECT_EQ(Enlp(4), Enlp::none());
    EXPECT_THAT([] { Enlp(5); }, testing::ThrowsMessage<Quor::RangeError>(
                                     "Enlp::value < Enlp::min or > Enlp::max not allowed"));

    PolicyInputEntry offered(P);
    offered.bindingSid = MplsLabel(1000);
    offered.segmentList = {{Wirex::pushOperation({16, 17}), 3}};
    offered.originator = {address("192.0.2.1"), 1};
    EXPECT_EQ(offered.stringValue(),
              text +
                  " bindingSid 1000 enlp 0 preference 0 originator 192.0.2.1(AS1) "
                  "segmentList #1 Operation: 3 Stack Size: 2 MPLS Label Stack: "
                  "TOP ( 16 17 ) BOTTOM weight 3");
    PolicyIdEntry handedOn(P, Preference(100), offered.originator);
    handedOn.enlp = Enlp::both();
    handedOn.wSegmentList = {{SegmentListId(5), 3}, {SegmentListId(6), 1}};
    handedOn.versionInc();
    EXPECT_EQ(handedOn.stringValue(),
              text +
                  " preference 100 originator 192.0.2.1(AS1) bindingSid 1048576 enlp 3 "
                  "wSegmentList #2 5 weight 3 6 weight 1 version 1");
    PolicyCandidateInfo const info{1.5, PolicyInvalidReason::bsidInUse, MplsLabel(1000)};
    EXPECT_EQ(info.stringValue(), "creationTime 1.500000 reason 3 bindingSid 1000");
}

TEST(PolicyTypes, AnEntryOfTheIdAloneIsTheAbsentOne) {
    auto const input = policyInputFactory(Protocol::bgp);
    EXPECT_EQ(input->policyInputEntry().get(P), PolicyInputEntry());
    PolicyInputEntry entry(P);
    EXPECT_EQ(entry, PolicyInputEntry(P));
    EXPECT_TRUE(entry.bindingSid.isNull());
    EXPECT_EQ(entry.bindingSid, MplsLabel(0x100000));

    auto const differs = [&entry](auto const& change) {
        auto changed = entry;
        change(changed);
        EXPECT_NE(changed, entry);
        EXPECT_NE(changed.hash(), entry.hash());
    };
    differs([](PolicyInputEntry& e) { e.bindingSid = MplsLabel(0); });  // an ordinary label
    differs([](PolicyInputEntry& e) { e.segmentList.resize(1); });
    differs([](PolicyInputEntry& e) { e.enlp = Enlp::ipv4(); });
    differs([](PolicyInputEntry& e) { e.preference = Preference(1); });
    differs([](PolicyInputEntry& e) { e.originator.as = 1; });
}

TEST(PolicyTypes, SelectionInputTellsMembershipVersionAndBindingSid) {
    auto const table = policySelectionInputFactory();
    std::string told;
    Watch const entries(table->entrySubject(), [&](PolicyId const& id) {
        told += table->policyIdEntry(id) ? "entry " : "gone ";
    });
    Watch const bindingSids(table->bindingSidSubject(), [&](auto const&) { told += "bsid "; });
    auto const write = [&](PolicyIdEntry const& row) {
        table->policyIdEntryIs(row);
        return std::exchange(told, {});
    };
    PolicyIdEntry row(P, Preference(100), {});
    row.bindingSid = MplsLabel(1000);
    EXPECT_EQ(write(row), "entry ");
    EXPECT_EQ(write(row), "");
    row.versionInc();
    EXPECT_EQ(write(row), "entry ");
    row.bindingSid = MplsLabel(1001);
    EXPECT_EQ(write(row), "bsid entry ");
    row.preference = Preference(200);
    row.bindingSid = MplsLabel(1002);
    EXPECT_EQ(write(row), "entry ");  // another entry, not another binding SID
    table->policyIdEntryDelAll();
    table->policyIdEntryDel(P);
    EXPECT_EQ(told, "gone ");
}

}  // namespace
}  // namespace SrTePolicy
