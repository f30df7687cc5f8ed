#include "SrTePolicy/SrTePolicySegmentUser.h"

#include <algorithm>

namespace SrTePolicy {

bool SegmentListIdSet::has(SegmentListId id) const {
    if (many_) return many_->has(id);
    return std::binary_search(few_.begin(), few_.begin() + count_, id);
}

void SegmentListIdSet::insert(SegmentListId id) {
    if (many_) {
        many_->tryEmplace(id);
        return;
    }
    auto* const end = few_.data() + count_;
    auto* const place = std::lower_bound(few_.data(), end, id);
    if (place != end && *place == id) return;
    if (count_ < capacity) {
        std::copy_backward(place, end, end + 1);
        *place = id;
        ++count_;
        return;
    }
    many_ = std::make_unique<Quor::OrderedSet<SegmentListId>>();
    for (auto const old : few_) many_->tryEmplace(old);
    many_->tryEmplace(id);
    count_ = 0;
}

void SegmentListIdSet::erase(SegmentListId id) {
    if (many_) {
        many_->erase(id);
        if (many_->empty()) many_ = nullptr;
        return;
    }
    auto* const end = few_.data() + count_;
    auto* const place = std::lower_bound(few_.data(), end, id);
    if (place == end || *place != id) return;
    std::copy(place + 1, end, place);
    --count_;
}

void SegmentListIdSet::clear() {
    many_ = nullptr;
    count_ = 0;
}

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
