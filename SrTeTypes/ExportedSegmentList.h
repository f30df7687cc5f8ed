#pragma once

#include <array>
#include <cstdint>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy::Export {

/// A plain copy of a live segment list for other agents; it outlives the list over a restart.
struct SRTE_EXPORT SegmentList {
    static constexpr std::uint32_t maxSize = 8;

    SegmentListId segmentListId;
    PolicyId policyId;
    DistinguisherId distinguisherId;
    std::uint32_t size = 0;
    std::array<Wirex::MplsLabel, maxSize> segment{};  ///< index 0 is the top; null beyond `size`

    friend bool operator==(SegmentList const&, SegmentList const&) = default;
};

/// The live segment lists, by id. Written by SegmentListSm alone.
class SRTE_EXPORT SegmentListCollection final : public Quor::PtrInterface {
public:
    using Lists = Quor::NotifyingDenseMap<SegmentListId, SegmentList>;

    Lists const& segmentList() const { return lists_; }
    SegmentList const* segmentList(SegmentListId id) const { return lists_.find(id); }
    void segmentListIs(SegmentList const& list) { lists_.entryIs(list.segmentListId, list); }
    void segmentListDel(SegmentListId id) { lists_.entryDel(id); }
    void segmentListDelAll() { lists_.entryDelAll(); }

private:
    Lists lists_;
};

SRTE_EXPORT Quor::Ptr<SegmentListCollection> segmentListCollectionFactory();

}  // namespace SrTePolicy::Export
