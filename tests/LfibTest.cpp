#include <string>
#include <utility>
#include <vector>

#include "Platform/Mpls/Config.h"
#include "Platform/Quor/RangeError.h"
#include "tests/support/Routes.h"
#include "tests/support/Watch.h"

namespace {

using namespace Mpls;
using testing::ElementsAre;
using Wirex::MplsLabel;

LfibMplsVia viaTo(std::uint32_t nextHop) {
    return {Wirex::IpGenAddr::ipv4(nextHop), Wirex::IntfId::physical("et1"),
            Wirex::pushOperation({100})};
}
ConsolidatedLfibRoute fecRoute(LFib::Source source, std::uint64_t fecId) {
    auto route = routeInto(1000, fecId);
    route.source = source;
    return route;
}

TEST(Lfib, aRouteCanMissItsViaSetAndAViaSetItsVias) {
    auto const lfib = Quor::makePtr<LfibStatus>();
    LfibWriter writer(lfib);
    ConsolidatedLfibRoute withoutSet;
    withoutSet.key = keyOf(16);
    writer.lfibRouteIs(withoutSet);
    EXPECT_EQ(lfib->viaSet(lfib->route(keyOf(16)).viaSetKey), LfibViaSet());

    writer.lfibRouteIs(routeOver(17, {LfibMplsVia(), viaTo(7)}));
    auto const set = lfib->viaSet(lfib->route(keyOf(17)).viaSetKey);
    EXPECT_EQ(set.count, 2u);
    EXPECT_EQ(lfib->mplsVia(set.key(0)), LfibMplsVia());
    EXPECT_EQ(lfib->mplsVia({{keyOf(0)}, LfibViaIndexRange(3)}), LfibMplsVia()) << "no route";
    EXPECT_EQ(lfib->mplsVia(set.key(1)), viaTo(7));
}

// Writes down what a reader sees at the moment it is told.
struct Reader {
    explicit Reader(Quor::Ptr<LfibStatus const> read) : lfib(std::move(read)) {}

    std::string seen(RouteKey const& key) const {
        auto const route = lfib->route(key);
        if (route == LfibRoute()) return key.stringValue() + " gone";
        auto const set = lfib->viaSet(route.viaSetKey);
        auto text = key.stringValue() + ":";
        for (std::uint32_t i = 0; i < set.count; ++i) {
            auto const via = set.type == LfibViaType::mpls
                                 ? lfib->mplsVia(set.key(i)).nextHop.stringValue()
                                 : lfib->extFecVia(set.viaSetKey).fecId.stringValue();
            text.append(" ").append(via);
        }
        return text;
    }
    std::vector<std::string> take() { return std::exchange(events, {}); }

    Quor::Ptr<LfibStatus const> lfib;
    std::vector<std::string> events;
    Watch<RouteKey> watch{lfib->rows(), [this](auto const& key) { events.push_back(seen(key)); }};
};

TEST(LfibWriter, aRouteChangesWithItsViasAsOneEvent) {
    auto const lfib = Quor::makePtr<LfibStatus>();
    LfibWriter writer(lfib);
    Reader reader(lfib);

    writer.lfibRouteIs(routeOver(17, {viaTo(1), viaTo(2)}));
    writer.lfibRouteIs(routeOver(17, {viaTo(1), viaTo(2)}));
    writer.lfibRouteIs(routeOver(17, {viaTo(3)}));
    EXPECT_THAT(reader.take(), ElementsAre("17: 0.0.0.1 0.0.0.2", "17: 0.0.0.3"));

    writer.lfibRouteIs(routeOver(16, {viaTo(4)}));
    writer.lfibRouteDel(keyOf(18));
    reader.take();
    writer.lfibRouteDelAll();
    EXPECT_THAT(reader.take(), ElementsAre("16 gone", "17 gone"));
}

class LfibMergeTest : public testing::Test, protected RouterLfib {
protected:
    using Source = LFib::Source;

    // Whether the merged table and its tracking status told of label 1000 since the last look.
    std::string told() {
        auto const tracked = std::exchange(tracked_, 0) ? "tracked" : "";
        return (reader_.take().empty() ? "" : "changed ") + std::string(tracked);
    }
    std::uint32_t source() const {
        return static_cast<std::uint32_t>(tracking_->route(keyOf(1000)).source);
    }

    LfibWriter gribi_{gribiLfib};
    LfibWriter policy_{policyLfib};
    Quor::Ptr<LfibTrackingStatus const> tracking_ = merge->lfibTrackingStatus();
    Reader reader_{merge->lfibStatus()};
    int tracked_ = 0;
    Watch<RouteKey> watch_{tracking_->changed(), [this](auto const& key) {
                               EXPECT_EQ(key, keyOf(1000));
                               ++tracked_;
                           }};
};

TEST_F(LfibMergeTest, anotherApplicationWinsOverGribiAndGribiOverThePolicies) {
    policy_.lfibRouteIs(fecRoute(Source::srTePolicy, 1));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 24u);
    gribi_.lfibRouteIs(fecRoute(Source::gribi, 2));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 1u);
    route(1000, {viaTo(1)});
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 0u);

    // What is shadowed comes and goes unseen.
    gribi_.lfibRouteDel(keyOf(1000));
    policy_.lfibRouteIs(fecRoute(Source::srTePolicy, 3));
    EXPECT_EQ(told(), "");

    routeDel(1000);
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 24u);
    policy_.lfibRouteDel(keyOf(1000));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(tracking_->route(keyOf(1000)), LfibRoute());
}

TEST_F(LfibMergeTest, aNewMergeStartsWithTheRoutesThatAreThereAndSharesThem) {
    route(1000, {viaTo(1)});
    policy_.lfibRouteIs(fecRoute(Source::srTePolicy, 1));
    gribi_.lfibRouteIs(fecRoute(Source::gribi, 2));
    LfibMerge const again(lfib, gribiLfib, policyLfib);
    EXPECT_EQ(again.lfibStatus()->consolidatedRoute(keyOf(1000)),
              lfib->consolidatedRoute(keyOf(1000)));

    told();
    merge = nullptr;
    routeDel(1000);
    EXPECT_EQ(told(), "") << "a merge that is gone follows no table";
}

TEST(LabelRange, holdsTheLabelsFromItsBaseOn) {
    LabelRange const srlb(1000, 10);
    EXPECT_FALSE(srlb.contains(MplsLabel(999)));
    EXPECT_TRUE(srlb.contains(MplsLabel(1009)));
    EXPECT_FALSE(srlb.contains(MplsLabel(1010)));
    EXPECT_FALSE(LabelRange().contains(MplsLabel(0)));
    EXPECT_TRUE(LabelRange(0xFFFFF, 0xFFFFFFFF).contains(MplsLabel(0xFFFFF)));
    EXPECT_THAT([] { LabelRange(0x100000, 1); },
                testing::ThrowsMessage<Quor::RangeError>(
                    "LabelRange::base > Wirex::MplsLabel::max not allowed"));
}

}  // namespace
