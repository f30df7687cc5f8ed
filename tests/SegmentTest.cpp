#include <string>
#include <tuple>
#include <vector>

#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "tests/support/Captures.h"
#include "tests/support/Watch.h"

namespace SrTePolicy {
namespace {

using testing::ElementsAre;
using Wirex::MplsLabel;

TEST(SegmentHash, IsJenkinsOneAtATimeOverTypeAndLabel) {
    std::tuple<std::uint32_t, std::uint32_t, std::uint32_t> const cases[] = {
        {1, 0, 0x98adb391},  {1, 3, 0x463c9a38},      {1, 16, 0xdf862b7c},      {0, 16, 0xf07a20ce},
        {2, 16, 0x27674865}, {1, 100000, 0x4e724982}, {1, 0xfffff, 0x10ac5d02},
    };
    for (auto const& [type, label, hash] : cases) {
        auto const segment =
            segmentMplsLabelFactory(static_cast<SegmentType>(type), MplsLabel(label));
        EXPECT_EQ(segment->hash(), hash) << type << ' ' << label;
    }
}

class SegmentTest : public testing::Test {
protected:
    Quor::Ptr<SegmentMplsLabel> intern(std::uint32_t label,
                                       SegmentType type = SegmentType::mplsLabel) const {
        return segmentMplsLabelFactory(type, MplsLabel(label))->dedup(table());
    }
    SegmentDedupTable const* table() const { return tables->segDedupTablePtr().get(); }
    std::uint32_t lastId() const {
        return tables->notifyingSegmentCollection()->uniqueId()().value();
    }
    Quor::Ptr<CoreDedupTables> tables = coreDedupTablesFactory();
};

TEST_F(SegmentTest, ALabelIsOneSegmentWithOneIdentity) {
    auto const candidate = segmentMplsLabelFactory(SegmentType::mplsLabel, MplsLabel(16));
    EXPECT_EQ(candidate->segmentId(), SegmentId());
    EXPECT_EQ(candidate->lookup(table()), nullptr);
    auto const segment = candidate->dedup(table());
    EXPECT_EQ(segment->segmentId(), SegmentId(1));
    EXPECT_EQ(intern(16), segment);

    auto const otherType = intern(16, static_cast<SegmentType>(2));
    EXPECT_EQ(otherType->segmentId(), SegmentId(2));
    EXPECT_EQ(table()->lookupByLabel(MplsLabel(16)), segment) << "looks for type 1 alone";
    EXPECT_EQ(table()->lookupByLabel(MplsLabel(17)), nullptr);
    EXPECT_EQ(lastId(), 2u);
    EXPECT_EQ(segment->stringValue(), "Id: 1, Type: mplsLabel, Label: 16");
    EXPECT_EQ(otherType->stringValue(), "Id: 2, Type: 2, Label: 16");
}

TEST_F(SegmentTest, AnIdentityIsGivenAgainOnlyAfterAllOthersAndNeverWhileItIsInUse) {
    auto segment = intern(16);
    segment = nullptr;
    EXPECT_EQ(table()->lookupByLabel(MplsLabel(16)), nullptr);
    EXPECT_EQ(intern(16)->segmentId(), SegmentId(2));

    auto const& collection = tables->notifyingSegmentCollection();
    EXPECT_EQ(collection->uniqueIdInc(0), SegmentId(2));
    EXPECT_EQ(collection->uniqueIdInc(5), SegmentId(7));
    collection->uniqueIdIs(SegmentId(0));
    auto const first = intern(17);
    collection->uniqueIdIs(SegmentId(0xFFFFFFFE));
    auto const last = intern(18);
    EXPECT_EQ(last->segmentId(), SegmentId(0xFFFFFFFF));
    auto const second = intern(19);
    EXPECT_EQ(second->segmentId(), SegmentId(2));
    collection->uniqueIdIs(SegmentId(0));
    EXPECT_EQ(intern(20)->segmentId(), SegmentId(3));
}

TEST_F(SegmentTest, ObserversSeeWhoCameAndWhoWent) {
    auto const& collection = *tables->notifyingSegmentCollection();
    std::vector<std::string> events;
    Quor::Ptr<SegmentLifeTimeNotifier const> last;
    Watch const watch(collection.notifierSubject(), [&](auto const& notifier) {
        EXPECT_EQ(notifier->segmentRawPtr()->segmentLifeTimeNotifier(), notifier.get());
        events.push_back((collection.segmentNotifier(notifier) ? "+ " : "- ") +
                         notifier->toStrep());
        last = notifier;
    });
    TraceLines traces("SrTePolicySegment");
    intern(16);
    EXPECT_THAT(events, ElementsAre("+ Id: 1, Type: mplsLabel, Label: 16",
                                    "- Id: 1, Type: mplsLabel, Label: 16"));
    EXPECT_THAT(traces.take(), ElementsAre("Insert Segment: Id: 1, Type: mplsLabel, Label: 16"));

    // Who keeps a notifier holds one that stands for nothing.
    EXPECT_EQ(last->segmentRawPtr(), nullptr);
    EXPECT_EQ(last->toStrep(), "");
    EXPECT_FALSE(collection.segmentNotifier(last));
}

TEST_F(SegmentTest, TheTablesAreMadeOnceAndEndWithNobodyLeftInTheCollection) {
    auto const before = tables->segDedupTablePtr();
    tables->handleInitialized();
    EXPECT_EQ(tables->segDedupTablePtr(), before);
    EXPECT_EQ(dumpOf(*tables, 0),
              " CoreDedupTables:\n"
              "  NotifyingSegmentCollection: uniqueIds:0\n"
              "  SegmentDedupTable: segments:0\n"
              "  NotifyingSegmentListCollection: uniqueIds:0\n"
              "  SegmentListDedupTable: segmentLists:0\n");

    auto const collection = tables->notifyingSegmentCollection();
    auto const survivor = intern(16);
    tables = nullptr;
    EXPECT_FALSE(collection->segmentNotifier().empty()) << "somebody still holds the table";
    const_cast<Quor::Ptr<SegmentDedupTable const>&>(before) = nullptr;
    EXPECT_TRUE(collection->segmentNotifier().empty());
    EXPECT_FALSE(survivor->isDeduped());
    EXPECT_EQ(survivor->segmentLifeTimeNotifier(), nullptr);
}

struct Abstract final : SegmentBase {
    Abstract() : SegmentBase(SegmentType::unset) {}
    std::uint32_t hash() const override { return 0; }
};

TEST_F(SegmentTest, ProgrammingErrorsStopTheAgent) {
    auto const abstract = Quor::makePtr<Abstract>();
    EXPECT_DEATH((void)abstract->compare(abstract.get()), ": 0\n");
    EXPECT_DEATH((void)abstract->resolveSegment(nullptr), ": 0\n");
    EXPECT_EQ(abstract->stringValue(), "Id: 0, Type: 0");

    auto const notifiee = tables->segLifeTimeNotifiee();
    EXPECT_DEATH(notifiee->handleInsert(intern(16)),
                 "__null == segment->segmentLifeTimeNotifier\\(\\)");
    EXPECT_DEATH(notifiee->handleRemove(abstract.get()), "__null != lifeTimeNotifier");
}

TEST(SegmentStatus, EveryWriteIsToldAndTheDumpIsInOrder) {
    auto const status = segmentStatusFactory();
    std::string told;
    Watch const watch(status->status(), [&](SegmentId const& id) {
        told += id.stringValue() + (status->status(id) ? "+ " : "- ");
    });
    auto const viaInfo = segmentViaInfoFactory(Mpls::LfibViaType::mpls);
    auto const three = Quor::makePtr<SegmentResolve>(SegmentId(3), viaInfo);
    status->statusIs(three);
    status->statusIs(three);
    status->statusIs(Quor::makePtr<SegmentResolve>(SegmentId(2), nullptr));
    EXPECT_EQ(dumpOf(*status),
              "  statuses #2 \n"
              "    segmentId: 2\n"
              "    segmentId: 3, viaInfo: ViaType: 1, Vias: \n");
    status->statusDel(SegmentId(4));
    status->statusDelAll();
    EXPECT_EQ(told, "3+ 3+ 2+ 2- 3- ");
}

}  // namespace
}  // namespace SrTePolicy
