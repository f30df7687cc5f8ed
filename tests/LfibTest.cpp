#include <string>
#include <utility>
#include <vector>

#include "Platform/Mpls/Config.h"
#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Mpls/LfibWriter.h"
#include "Platform/Quor/RangeError.h"

namespace {

using namespace Mpls;
using testing::ElementsAre;
using testing::IsEmpty;
using Wirex::MplsLabel;

RouteKey keyOf(std::uint32_t label) {
    return RouteKey::fromLabel(MplsLabel(label));
}

LfibMplsVia viaTo(std::uint32_t nextHop) {
    return {Wirex::IpGenAddr::ipv4(nextHop), Wirex::IntfId::physical("et1"),
            Wirex::pushOperation({100})};
}

ConsolidatedLfibRoute mplsRoute(std::uint32_t label, std::vector<LfibMplsVia> vias) {
    ConsolidatedLfibRoute route;
    route.key = keyOf(label);
    route.viaType = LfibViaType::mpls;
    route.mplsVias = std::move(vias);
    return route;
}

ConsolidatedLfibRoute fecRoute(std::uint32_t label, LFib::Source source, std::uint64_t fecId) {
    ConsolidatedLfibRoute route;
    route.key = keyOf(label);
    route.source = source;
    route.metric = RouteMetric(1);
    route.viaType = LfibViaType::extFec;
    route.extFecVia = LfibExtFecVia::popInto(Pooltab::Fib::FecId(fecId));
    return route;
}

TEST(Lfib, aLookupThatMissesYieldsTheDefault) {
    auto const lfib = Quor::makePtr<LfibStatus>();
    LfibViaSetKey const set{keyOf(0)};
    EXPECT_EQ(lfib->route(keyOf(0)), LfibRoute());
    EXPECT_EQ(lfib->viaSet(set), LfibViaSet());
    EXPECT_EQ(lfib->mplsVia({set, LfibViaIndexRange(3)}), LfibMplsVia());
    EXPECT_EQ(lfib->extFecVia(set), LfibExtFecVia());

    // The route of label 0 is none of these.
    LfibWriter(lfib).lfibRouteIs(mplsRoute(0, {}));
    EXPECT_NE(lfib->route(keyOf(0)), LfibRoute());
}

TEST(Lfib, aRouteCanMissItsViaSetAndAViaSetItsVias) {
    auto const lfib = Quor::makePtr<LfibStatus>();
    LfibWriter writer(lfib);
    ConsolidatedLfibRoute withoutSet;
    withoutSet.key = keyOf(16);
    writer.lfibRouteIs(withoutSet);
    EXPECT_EQ(lfib->viaSet(lfib->route(keyOf(16)).viaSetKey), LfibViaSet());

    writer.lfibRouteIs(mplsRoute(17, {LfibMplsVia(), viaTo(7)}));
    auto const set = lfib->viaSet(lfib->route(keyOf(17)).viaSetKey);
    EXPECT_EQ(set.count, 2u);
    EXPECT_EQ(lfib->mplsVia(set.key(0)), LfibMplsVia());
    EXPECT_EQ(lfib->mplsVia(set.key(1)), viaTo(7));
}

TEST(Lfib, viaIndexesEndAt599) {
    EXPECT_EQ(LfibViaSet().key(599).index.value(), 599);
    constexpr auto text =
        "LfibViaIndexRange::value < LfibViaIndexRange::min or > LfibViaIndexRange::max not allowed";
    for (auto const index : {-1, 600, 65536}) {
        EXPECT_THAT([&] { LfibViaIndexRange{index}; },
                    testing::ThrowsMessage<Quor::RangeError>(text));
    }
}

// Writes down what a reader sees at the moment it is told.
struct Reader {
    explicit Reader(Quor::Ptr<LfibStatus const> read) : lfib(std::move(read)) {}

    void handleRoute(RouteKey key) {
        auto const route = lfib->route(key);
        if (route == LfibRoute()) return events.push_back(key.stringValue() + " gone");
        auto const set = lfib->viaSet(route.viaSetKey);
        auto text = key.stringValue() + ":";
        for (std::uint32_t i = 0; i < set.count; ++i) {
            text += ' ';
            text += set.type == LfibViaType::mpls
                        ? lfib->mplsVia(set.key(i)).nextHop.stringValue()
                        : lfib->extFecVia(set.viaSetKey).fecId.stringValue();
        }
        events.push_back(text);
    }
    std::vector<std::string> take() { return std::exchange(events, {}); }

    Quor::Ptr<LfibStatus const> lfib;
    std::vector<std::string> events;
    Quor::Reactor<RouteKey> reactor{
        lfib->rows(), this, [](Reader& self, RouteKey const& key) { self.handleRoute(key); }};
};

TEST(LfibWriter, aRouteChangesWithItsViasAsOneEvent) {
    auto const lfib = Quor::makePtr<LfibStatus>();
    LfibWriter writer(lfib);
    Reader reader(lfib);

    writer.lfibRouteIs(mplsRoute(17, {viaTo(1), viaTo(2)}));
    writer.lfibRouteIs(mplsRoute(17, {viaTo(1), viaTo(2)}));
    writer.lfibRouteIs(mplsRoute(17, {viaTo(3)}));
    EXPECT_THAT(reader.take(), ElementsAre("17: 0.0.0.1 0.0.0.2", "17: 0.0.0.3"));

    writer.lfibRouteIs(mplsRoute(16, {viaTo(4)}));
    writer.lfibRouteDel(keyOf(18));
    reader.take();
    writer.lfibRouteDelAll();
    EXPECT_THAT(reader.take(), ElementsAre("16 gone", "17 gone"));
}

class LfibMergeTest : public testing::Test {
protected:
    using Source = LFib::Source;

    // Whether the merged table and its tracking status told of label 1000 since the last look.
    std::string told() {
        auto const text =
            (reader_.take().empty() ? "" : "changed ") + std::string(tracked_ ? "tracked" : "");
        tracked_ = 0;
        return text;
    }
    std::uint32_t source() const {
        return static_cast<std::uint32_t>(tracking_->route(keyOf(1000)).source);
    }
    void handleTracked(RouteKey key) {
        EXPECT_EQ(key, keyOf(1000));
        ++tracked_;
    }

    Quor::Ptr<LfibStatus> others_ = Quor::makePtr<LfibStatus>(EqualWrites::notify);
    Quor::Ptr<LfibStatus> gribi_ = Quor::makePtr<LfibStatus>();
    Quor::Ptr<LfibStatus> policies_ = Quor::makePtr<LfibStatus>();
    LfibWriter other_{others_};
    LfibWriter gribiWriter_{gribi_};
    LfibWriter policy_{policies_};
    Quor::Ptr<LfibMerge> merge_ = Quor::makePtr<LfibMerge>(others_, gribi_, policies_);
    Quor::Ptr<LfibTrackingStatus const> tracking_ = merge_->lfibTrackingStatus();
    Reader reader_{merge_->lfibStatus()};
    int tracked_ = 0;
    Quor::Reactor<RouteKey> trackingReactor_{
        tracking_->changed(), this,
        [](LfibMergeTest& self, RouteKey const& key) { self.handleTracked(key); }};
};

TEST_F(LfibMergeTest, anotherApplicationWinsOverGribiAndGribiOverThePolicies) {
    policy_.lfibRouteIs(fecRoute(1000, Source::srTePolicy, 1));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 24u);
    gribiWriter_.lfibRouteIs(fecRoute(1000, Source::gribi, 2));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 1u);
    other_.lfibRouteIs(mplsRoute(1000, {viaTo(1)}));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 0u);

    // What is shadowed comes and goes unseen.
    gribiWriter_.lfibRouteDel(keyOf(1000));
    policy_.lfibRouteIs(fecRoute(1000, Source::srTePolicy, 3));
    EXPECT_EQ(told(), "");

    other_.lfibRouteDel(keyOf(1000));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(source(), 24u);
    policy_.lfibRouteDel(keyOf(1000));
    EXPECT_EQ(told(), "changed tracked");
    EXPECT_EQ(tracking_->route(keyOf(1000)), LfibRoute());
}

TEST_F(LfibMergeTest, onlyAnotherApplicationTouches) {
    other_.lfibRouteIs(mplsRoute(1000, {viaTo(1)}));
    told();
    other_.lfibRouteIs(mplsRoute(1000, {viaTo(1)}));
    EXPECT_EQ(told(), "tracked");
    other_.lfibRouteDel(keyOf(1000));
    other_.lfibRouteDel(keyOf(1000));
    told();

    gribiWriter_.lfibRouteIs(fecRoute(1000, Source::gribi, 2));
    told();
    gribiWriter_.lfibRouteIs(fecRoute(1000, Source::gribi, 2));
    EXPECT_EQ(told(), "");
}

TEST_F(LfibMergeTest, aNewMergeStartsWithTheRoutesThatAreThereAndSharesThem) {
    other_.lfibRouteIs(mplsRoute(1000, {viaTo(1)}));
    policy_.lfibRouteIs(fecRoute(1000, Source::srTePolicy, 1));
    gribiWriter_.lfibRouteIs(fecRoute(1000, Source::gribi, 2));
    LfibMerge const again(others_, gribi_, policies_);
    EXPECT_EQ(again.lfibStatus()->consolidatedRoute(keyOf(1000)),
              others_->consolidatedRoute(keyOf(1000)));

    told();
    merge_ = nullptr;
    other_.lfibRouteDel(keyOf(1000));
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
