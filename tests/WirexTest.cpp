#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Quor/RangeError.h"
#include "Platform/Wirex/IntfId.h"
#include "Platform/Wirex/IpGenAddr.h"
#include "Platform/Wirex/MplsLabelStack.h"

namespace {

using namespace Wirex;
using testing::ThrowsMessage;

TEST(IpGenAddrTest, TextsAreReadAndPrintedInTheirShortForm) {
    std::pair<char const*, char const*> const cases[] = {
        {"0.0.0.0", "0.0.0.0"},
        {"255.255.255.255", "255.255.255.255"},
        {"::", "::"},
        {"::1", "::1"},
        {"1::", "1::"},
        {"2001:db8::1", "2001:db8::1"},
        {"2001:DB8:0:0:0:0:0:1", "2001:db8::1"},
        {"2001:0db8:0000::0001", "2001:db8::1"},
        // The longest run of zeros goes; of equal ones the first; never a single group.
        {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
        {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
        {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
        {"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
        {"1:2:3:4:5:6:0:0", "1:2:3:4:5:6::"},
        {"0:0:3:4:5:6:7:8", "::3:4:5:6:7:8"},
        {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
        {"::ffff:192.0.2.1", "::ffff:192.0.2.1"},
        {"::ffff:c000:201", "::ffff:192.0.2.1"},
        {"64:ff9b::192.0.2.1", "64:ff9b::c000:201"},
        {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
    };
    for (auto const& [text, printed] : cases) {
        auto const address = IpGenAddr::parse(text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(address->stringValue(), printed);
        EXPECT_EQ(IpGenAddr::parse(printed), address);
    }
}

TEST(IpGenAddrTest, NothingElseIsAnAddress) {
    std::istringstream texts(
        "| 10.0.0.1|10.0.0|10.0.0.0.1|10.0.0.256|10.0.0.01|10.0.0.-1|10.0.0.|1|0x0a.0.0.1|a|:|:::|"
        "1:|:1|:1::2|1::2::3|1:2:3:4:5:6:7|1:2:3:4:5:6:7:8:9|1:2:3:4::5:6:7:8|12345::|g::|"
        "fe80::1%1|1.2.3.4::|::1.2.3|::1.2.3.4:1|1:2:3:4:5:6:7:1.2.3.4|::1 ");
    for (std::string text; std::getline(texts, text, '|');) {
        EXPECT_FALSE(IpGenAddr::parse(text)) << text;
    }
}

TEST(IpGenAddrTest, OrderIsByFamilyThenByValue) {
    EXPECT_EQ(IpGenAddr().stringValue(), "");
    std::vector<IpGenAddr> addresses = {IpGenAddr()};
    for (auto const* const text : {"0.0.0.0", "9.255.255.255", "10.0.0.1", "128.0.0.1", "::", "::9",
                                   "::8000:0:0:0", "1::"}) {
        addresses.push_back(IpGenAddr::parse(text).value());
    }
    auto shuffled = addresses;
    std::reverse(shuffled.begin(), shuffled.end());
    std::sort(shuffled.begin(), shuffled.end());
    EXPECT_EQ(shuffled, addresses);
    EXPECT_EQ(addresses[3].low(), 0x0A000001u);
}

TEST(IpGenPrefixTest, AnAddressAloneIsAFullLengthPrefix) {
    auto const text = [](IpGenAddr const& address) {
        return IpGenPrefix::fullLength(address).stringValue();
    };
    EXPECT_EQ(text(IpGenAddr::ipv4(0x0A000001)), "10.0.0.1/32");
    EXPECT_EQ(text(IpGenAddr::ipv6({})), "::/128");
    EXPECT_EQ(text(IpGenAddr()), "");
    EXPECT_EQ((IpGenPrefix{IpGenAddr::ipv4(0x0A000000), 8}.stringValue()), "10.0.0.0/8");
}

TEST(MplsLabelTest, NoLabelIsTheDefaultAndNoPacketCarriesIt) {
    EXPECT_EQ(MplsLabel().value(), 0x100000u);
    EXPECT_TRUE(MplsLabel().isNull());
    EXPECT_FALSE(MplsLabel().isReal());
    EXPECT_TRUE(MplsLabel(0xFFFFF).isReal());
    EXPECT_FALSE(MplsLabel(0).isNull());
    EXPECT_EQ(MplsLabel(MplsLabel::luWithdraw).stringValue(), "8388608");
    EXPECT_THAT([] { MplsLabel(0x800001); },
                ThrowsMessage<Quor::RangeError>(
                    "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed"));
}

TEST(MplsLabelStackTest, LabelsArePushedOnTopAndAppendedBelow) {
    BoundedMplsLabelStack stack{200, 300};
    EXPECT_EQ(stack.push(MplsLabel(100)), BoundedMplsLabelStackResult::noError_);
    EXPECT_EQ(stack.append(MplsLabel(400)), BoundedMplsLabelStackResult::noError_);
    EXPECT_EQ(stack.append(BoundedMplsLabelStack{500, 600}), BoundedMplsLabelStackResult::noError_);
    EXPECT_EQ(stack.stringValue(), "TOP ( 100 200 300 400 500 600 ) BOTTOM");
    EXPECT_EQ(stack.label(0), MplsLabel(100));
    EXPECT_TRUE(stack.label(6).isNull());
    stack.pop();
    EXPECT_EQ(stack, (BoundedMplsLabelStack{200, 300, 400, 500, 600}));
    EXPECT_DEATH(BoundedMplsLabelStack().pop(), "size_ > 0");
}

TEST(MplsLabelStackTest, SixteenLabelsFitAndASeventeenthChangesNothing) {
    BoundedMplsLabelStack stack{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    auto const before = stack;
    auto const overflow = BoundedMplsLabelStackResult::overflow;
    EXPECT_EQ(stack.push(MplsLabel(9)), overflow);
    EXPECT_EQ(stack.append(MplsLabel(9)), overflow);
    EXPECT_EQ(stack.append(BoundedMplsLabelStack{9}), overflow);
    EXPECT_EQ(stack, before);
    EXPECT_THROW(BoundedMplsLabelStack({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17}),
                 Quor::RangeError);
}

TEST(MplsLabelStackTest, OrderIsLabelByLabelFromTheTop) {
    EXPECT_LT(BoundedMplsLabelStack{}, (BoundedMplsLabelStack{1}));
    EXPECT_LT((BoundedMplsLabelStack{1}), (BoundedMplsLabelStack{1, 0}));
    EXPECT_LT((BoundedMplsLabelStack{1, 9}), (BoundedMplsLabelStack{2}));
    BoundedMplsLabelStack popped{5, 1};
    popped.pop();
    EXPECT_EQ(popped, BoundedMplsLabelStack{1}) << "what was popped plays no part";
}

TEST(MplsLabelOperationTest, TextNamesTheEntropyLabels) {
    EXPECT_EQ(pushOperation({100, 7, 0x100001, 200}).stringValue(),
              "Operation: 3 Stack Size: 4 MPLS Label Stack: TOP ( 100 ELI EL 200 ) BOTTOM");
    EXPECT_EQ(MplsLabelOperation().stringValue(),
              "Operation: 0 Stack Size: 0 MPLS Label Stack: TOP ( ) BOTTOM");
    EXPECT_THAT([] { MplsStackEntryIndex(8); },
                ThrowsMessage<Quor::RangeError>(
                    "MplsStackEntryIndex::value < MplsStackEntryIndex::min or > "
                    "MplsStackEntryIndex::nullValue not allowed"));
    EXPECT_EQ(MplsStackEntryIndex(7).value(), 7u);
}

TEST(IntfIdTest, TextsAndOrder) {
    std::pair<IntfId, char const*> const ordered[] = {
        {IntfId(), ""},
        {IntfId::physical("Et1"), "Et1"},
        {IntfId::physical("Et10"), "Et10"},
        {IntfId::physical("Et9"), "Et9"},
        {IntfId::dynamicTunnel(std::uint64_t{12} << 44 | 77), "tunnel 12-77"},
        {IntfId::dynamicTunnel(std::uint64_t{40} << 44), "tunnel 40-0"},  // out of range, kept raw
        {IntfId::nextHopGroup(5), "nhg 5"},
        {IntfId::hierarchicalFec(0x1000000000000007), "fec 0x1000000000000007"},
    };
    for (auto const& [intf, text] : ordered) {
        EXPECT_EQ(intf.stringValue(), text);
        for (auto const& [other, otherText] : ordered) {
            EXPECT_EQ(intf < other, &intf < &other) << text << " < " << otherText;
        }
    }
    EXPECT_EQ(IntfId::physical("Et1"), IntfId::physical("Et1"));
    EXPECT_FALSE(IntfId::physical("").isEmpty());
}

}  // namespace
