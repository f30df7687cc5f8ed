#pragma once

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/SmallSet.h"
#include "SrTePolicy/SrTePolicySegmentList.h"

namespace SrTePolicy {

/// The live lists that hold one segment.
class SRTE_EXPORT SegmentUser {
public:
    /// Most segments have two or three lists, the popular ones a million.
    using SegmentListIds = Quor::SmallSet<SegmentListId, 10>;

    explicit SegmentUser(SegmentId id) : segmentId_(id) {}

    SegmentId segmentId() const { return segmentId_; }
    SegmentListIds const& segmentListId() const { return segmentListIds_; }
    void segmentListIdIs(SegmentListId id) { segmentListIds_.insert(id); }
    void segmentListIdDel(SegmentListId id) { segmentListIds_.erase(id); }
    void segmentListIdDelAll() { segmentListIds_.clear(); }

private:
    SegmentId segmentId_;
    SegmentListIds segmentListIds_;
};

/// Finds the lists to resolve again when a segment's status changes. Owned by the segment-list
/// machine.
class SRTE_EXPORT SegmentIdToSegmentList {
public:
    using Users = Quor::DenseMap<SegmentId, SegmentUser>;

    Users const& segmentList() const { return users_; }
    /// Creates the row when it is missing.
    SegmentUser& segmentListIs(SegmentId id) { return *users_.tryEmplace(id, id).first; }
    /// Null when absent; valid until the row goes.
    SegmentUser* segmentList(SegmentId id) { return users_.find(id); }
    SegmentUser const* segmentList(SegmentId id) const { return users_.find(id); }
    void segmentListDel(SegmentId id) { users_.erase(id); }
    void segmentListDelAll() { users_.clear(); }

    /// Adds the list to the users of each of its segments; a label may be in a list twice.
    void map(SegmentList const& list);
    /// Takes it out again; a segment without users loses its row.
    void unmap(SegmentList const& list);
    bool isMapped(SegmentList const& list) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Users users_;
};

}  // namespace SrTePolicy
