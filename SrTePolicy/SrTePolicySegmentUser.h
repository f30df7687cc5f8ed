#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "SrTePolicy/SrTePolicySegmentList.h"

namespace SrTePolicy {

/// Identities of lists in order: a few lie inside the object, many in a tree. Most segments have a
/// few lists, the popular ones a million.
class SRTE_EXPORT SegmentListIdSet {
public:
    bool empty() const { return count_ == 0 && !many_; }
    bool has(SegmentListId id) const;
    void insert(SegmentListId id);
    void erase(SegmentListId id);
    void clear();

    template <class F>
    void forEach(F const& visit) const {
        for (std::uint32_t i = 0; i < count_; ++i) visit(few_[i]);
        if (!many_) return;
        for (auto id = many_->begin(); id; id.next()) visit(id.key());
    }

private:
    static constexpr std::uint32_t capacity = 10;

    std::array<SegmentListId, capacity> few_;
    std::uint32_t count_ = 0;
    std::unique_ptr<Quor::OrderedSet<SegmentListId>> many_;  // all of them, while there is one
};

/// The live lists that hold one segment.
class SRTE_EXPORT SegmentUser {
public:
    explicit SegmentUser(SegmentId id) : segmentId_(id) {}

    SegmentId segmentId() const { return segmentId_; }
    SegmentListIdSet const& segmentListId() const { return segmentListIds_; }
    void segmentListIdIs(SegmentListId id) { segmentListIds_.insert(id); }
    void segmentListIdDel(SegmentListId id) { segmentListIds_.erase(id); }
    void segmentListIdDelAll() { segmentListIds_.clear(); }

private:
    SegmentId segmentId_;
    SegmentListIdSet segmentListIds_;
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
