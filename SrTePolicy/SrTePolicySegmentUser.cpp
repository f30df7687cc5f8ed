#include "SrTePolicy/SrTePolicySegmentUser.h"

namespace SrTePolicy {

void SegmentIdToSegmentList::map(SegmentList const& list) {
    for (std::uint32_t i = 0; i < list.size(); ++i) {
        segmentListIs(list.segment(i)->segmentId()).segmentListIdIs(list.segmentListId());
    }
}

void SegmentIdToSegmentList::unmap(SegmentList const& list) {
    for (std::uint32_t i = 0; i < list.size(); ++i) {
        auto const segmentId = list.segment(i)->segmentId();
        auto* const user = segmentList(segmentId);
        if (!user) continue;  // the second place of a label
        user->segmentListIdDel(list.segmentListId());
        if (user->segmentListId().empty()) segmentListDel(segmentId);
    }
}

bool SegmentIdToSegmentList::isMapped(SegmentList const& list) const {
    if (list.size() == 0) return true;
    auto const* const user = segmentList(list.segment(0)->segmentId());
    return user && user->segmentListId().has(list.segmentListId());
}

void SegmentIdToSegmentList::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cSegmentId to SegmentListId Map: \n", indentCount, ' ');
    for (auto user = users_.begin(); user; user.next()) {
        ctx.print("%*csegmentId: %u\n", indentCount + 2, ' ', user.key().value());
        user.value().segmentListId().forEach([&ctx, indentCount](SegmentListId id) {
            ctx.print("%*c%u", indentCount + 4, ' ', id.value());
        });
        ctx.print("\n");
    }
}

}  // namespace SrTePolicy
