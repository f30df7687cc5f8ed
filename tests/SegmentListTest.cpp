#include <string>
#include <vector>

#include "Platform/Quor/RangeError.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "tests/support/Captures.h"
#include "tests/support/Watch.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;
using Labels = std::initializer_list<std::uint32_t>;
using ListPtr = Quor::Ptr<SegmentList const>;

PolicyId policy(std::uint32_t color) {
    PolicyId id;
    id.key = {Wirex::IpGenAddr::ipv4(0x0A000001), color};
    id.candidate = {Protocol::config, Wirex::IpGenAddr::ipv4(0x0A000009), 65001, 1};
    return id;
}
constexpr auto indexError =
    "MplsStackEntryIndex::value < MplsStackEntryIndex::min or > "
    "MplsStackEntryIndex::nullValue not allowed";

class SegmentListTest : public testing::Test {
protected:
    ListPtr list(Labels labels, PolicyId const& owner = policy(1),
                 DistinguisherId distinguisher = DistinguisherId()) const {
        return tables->segmentList(Wirex::pushOperation(labels), owner, distinguisher);
    }
    auto lastListId() const {
        return tables->notifyingSegmentListCollection()->uniqueId()().value();
    }
    auto lastSegmentId() const {
        return tables->notifyingSegmentCollection()->uniqueId()().value();
    }

    Quor::Ptr<CoreDedupTables> tables = coreDedupTablesFactory();
};

TEST_F(SegmentListTest, EqualLabelsOfOneOwnerAreOneList) {
    auto const first = list({16, 17});
    EXPECT_EQ(first->segmentListId(), SegmentListId(1));
    EXPECT_EQ(list({16, 17}), first);
    EXPECT_EQ(lastListId(), 1u);

    auto const others = {list({16, 17}, policy(2)), list({17, 16}), list({16}), list({}),
                         list({16, 17}, policy(1), DistinguisherId(7))};
    std::uint32_t id = 2;
    for (auto const& other : others) EXPECT_EQ(other->segmentListId().value(), id++);
    EXPECT_EQ((*others.begin())->segment(1), first->segment(1)) << "segments are shared";
    EXPECT_EQ(lastSegmentId(), 2u);
}

TEST_F(SegmentListTest, ALabelMayBeInAListTwice) {
    auto const again = list({16, 17, 16});
    EXPECT_EQ(again->segment(0), again->segment(2));
    EXPECT_EQ(again->segmentLabel(2).value(), 16u);
    EXPECT_EQ(again->stringValue(), "segmentListId: 1, size: 3, segmentIds: 1 2 1");
    EXPECT_EQ(dumpOf(*again), "  segments #3 [  1  2  1  ]segmentListId: 1 size: 3 \n");
}

TEST_F(SegmentListTest, EightLabelsFitAndANinthInternsNothing) {
    EXPECT_EQ(list({1, 2, 3, 4, 5, 6, 7, 8})->segmentLabel(7).value(), 8u);
    EXPECT_THAT(
        [&] {
            list({11, 12, 13, 14, 15, 16, 17, 18, 19});
        },
        ThrowsMessage<Quor::RangeError>(indexError));
    EXPECT_EQ(lastListId(), 1u);
    EXPECT_EQ(lastSegmentId(), 8u);
}

TEST_F(SegmentListTest, IsBuiltByIndexUntilItIsInterned) {
    auto const interned = list({16, 17});
    SegmentList& made = *Quor::makePtr<SegmentList>(policy(1), DistinguisherId()).release();
    ListPtr const owner = ListPtr::adopt(&made);
    made.segmentIs(0, interned->segment(0));
    made.segmentIs(1, interned->segment(0));
    made.segmentIs(1, interned->segment(1));
    EXPECT_TRUE(made.compare(interned.get()));
    EXPECT_EQ(made.hash(), interned->hash());
    made.segmentDel(1);
    EXPECT_EQ(made.size(), 1u);
    EXPECT_FALSE(made.compare(interned.get()));
    EXPECT_DEATH((void)made.segmentLabel(1), "segment\\(index\\)");
    made.segmentDelAll();
    EXPECT_EQ(made.size(), 0u);
    auto const outOfRange = ThrowsMessage<Quor::RangeError>(indexError);
    EXPECT_THAT([&] { made.segmentIs(8, interned->segment(0)); }, outOfRange);
    EXPECT_THAT([&] { made.segmentDel(0xFFFFFFFF); }, outOfRange);
    EXPECT_THAT([&] { (void)made.segmentLabel(8); }, outOfRange);
    auto& frozen = const_cast<SegmentList&>(*interned);
    EXPECT_DEATH(frozen.segmentIs(2, interned->segment(0)), "!isDeduped\\(\\)");
    EXPECT_DEATH(frozen.segmentDelAll(), "!isDeduped\\(\\)");
}

TEST_F(SegmentListTest, ObserversFindEachListIntactWhenItComesAndWhenItGoes) {
    auto const& collection = *tables->notifyingSegmentListCollection();
    std::string events;
    Watch const watch(collection.notifierSubject(), [&](auto const& notifier) {
        auto const* const found = notifier->segmentListRawPtr();
        bool const live = collection.segmentListNotifier(notifier);
        EXPECT_EQ(collection.segmentList(found->segmentListId()), live ? found : nullptr);
        events += (live ? "+" : "-") + found->segmentLabel(0).stringValue() + " ";
    });
    TraceLines traces("SrTePolicySegmentList");
    list({16});
    list({17});
    EXPECT_EQ(events, "+16 -16 +17 -17 ");
    EXPECT_THAT(traces.take(), ElementsAre("Next SL ID: 1", "Next SL ID: 2"));
    EXPECT_EQ(dumpOf(collection, 0), " NotifyingSegmentListCollection: uniqueIds:2\n");

    auto const notifiee = tables->segListLifeTimeNotifiee();
    auto const handle = Quor::makePtr<SegmentList>(policy(1), DistinguisherId());
    EXPECT_DEATH(notifiee->handleRemove(handle.get()), "__null != lifeTimeNotifier");
    EXPECT_DEATH(notifiee->handleInsert(const_cast<SegmentList*>(list({18}).get())),
                 "__null == segmentList->segmentListLifeTimeNotifier\\(\\)");
}

class SegmentListUserTest : public SegmentListTest {
protected:
    std::string take() { return std::exchange(told, {}); }
    void use(ListPtr const& used) { users->segmentListUserIs(used->segmentListId(), used); }

    static constexpr SegmentListId first{1};

    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    std::string told;
    Watch<SegmentListId> watch{users->segmentListUserSubject(), [this](auto const& id) {
                                   auto const* const user = users->segmentListUser(id);
                                   auto const count =
                                       user ? std::to_string(user->policyId().size()) : "gone";
                                   told += id.stringValue() + ":" + count + " ";
                               }};
};

TEST_F(SegmentListUserTest, AListLivesAsLongAsItsRow) {
    use(list({16}));
    use(list({16}));
    EXPECT_EQ(take(), "1:0 ");
    EXPECT_EQ(list({16})->segmentListId(), first);
    users->segmentListUserDel(first);
    users->segmentListUserDel(first);
    EXPECT_EQ(take(), "1:gone ");
    EXPECT_EQ(tables->segListDedupTablePtr()->dedupHashTable()->size(), 0u);

    use(list({16}));
    EXPECT_DEATH(users->segmentListUserIs(SegmentListId(2), list({17})),
                 "user->segmentList\\(\\) == list");
}

TEST_F(SegmentListUserTest, UsersAreASetInOrder) {
    use(list({16}));
    take();
    EXPECT_TRUE(users->policyIdIs(first, policy(2)));
    EXPECT_FALSE(users->policyIdIs(first, policy(2)));
    EXPECT_EQ(dumpOf(*users), "  segmentListUsers #1 \n    SegmentListId: 1 size: 1 policyId: " +
                                  policy(2).stringValue() + "\n");
    EXPECT_TRUE(users->policyIdIs(first, policy(3)));
    EXPECT_TRUE(users->policyIdIs(first, policy(1)));
    EXPECT_TRUE(users->policyIdDel(first, policy(2)));
    EXPECT_FALSE(users->policyIdDel(first, policy(2)));
    EXPECT_FALSE(users->policyIdDel(SegmentListId(9), policy(2)));
    EXPECT_EQ(take(), "1:1 1:2 1:3 1:2 ");
    EXPECT_EQ(dumpOf(*users->segmentListUser(first)), "  PolicyIds #2 \n    " +
                                                          policy(1).stringValue() + "\n    " +
                                                          policy(3).stringValue() + "\n");
    EXPECT_DEATH(users->policyIdIs(SegmentListId(9), policy(1)), "user");
}

TEST_F(SegmentListUserTest, EveryCandidateThatComesOrGoesIsTold) {
    std::string uses;
    Watch<SegmentListUse> const useWatch(users->useSubject(), [&](SegmentListUse const& use) {
        uses += use.segmentListId.stringValue() + ":" + std::to_string(use.policyId.key.color) +
                (users->hasPolicy(use.segmentListId, use.policyId.key) ? " " : "- ");
    });
    use(list({16}));
    for (std::uint32_t color = 20; color > 0; --color) users->policyIdIs(first, policy(color));
    EXPECT_EQ(users->policies(first).size(), 20u);
    for (std::uint32_t color = 1; color <= 18; ++color) users->policyIdDel(first, policy(color));
    uses.clear();
    users->segmentListUserDel(first);
    EXPECT_EQ(uses, "1:19- 1:20- ");
}

}  // namespace
}  // namespace SrTePolicy
