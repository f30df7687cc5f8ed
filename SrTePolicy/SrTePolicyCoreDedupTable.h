#pragma once

#include <vector>

#include "Platform/Keel/Dedup.h"
#include "Platform/Keel/DumpContext.h"
#include "SrTePolicy/SrTePolicySegment.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/ExportedSegmentList.h"

namespace SrTePolicy {

/// The tables of interned segments and segment lists with their notifying collections: one per
/// agent, new in every run. The members end in reverse order: lists release segments.
class SRTE_EXPORT CoreDedupTables final : public Quor::PtrInterface {
public:
    /// Makes what is missing, in the order of the members.
    void handleInitialized();
    static Quor::Ptr<Keel::DedupHashTable> createDedupHashTable();

    Quor::Ptr<NotifyingSegmentCollection> const& notifyingSegmentCollection() const {
        return notifyingSegmentCollection_;
    }
    Quor::Ptr<SegmentLifeTimeNotifiee const> const& segLifeTimeNotifiee() const {
        return segLifeTimeNotifiee_;
    }
    Quor::Ptr<SegmentDedupTable const> segDedupTablePtr() const { return segDedupTablePtr_; }
    Quor::Ptr<NotifyingSegmentListCollection> const& notifyingSegmentListCollection() const {
        return notifyingSegmentListCollection_;
    }
    Quor::Ptr<SegmentListLifeTimeNotifiee const> const& segListLifeTimeNotifiee() const {
        return segListLifeTimeNotifiee_;
    }
    Quor::Ptr<SegmentListDedupTable const> segListDedupTablePtr() const {
        return segListDedupTablePtr_;
    }

    void notifyingSegmentCollectionIs();
    void notifyingSegmentCollectionDel() { notifyingSegmentCollection_ = nullptr; }
    void segLifeTimeNotifieeIs();
    void segLifeTimeNotifieeDel() { segLifeTimeNotifiee_ = nullptr; }
    void segDedupTablePtrIs();
    void segDedupTablePtrDel() { segDedupTablePtr_ = nullptr; }
    void notifyingSegmentListCollectionIs();
    void notifyingSegmentListCollectionDel() { notifyingSegmentListCollection_ = nullptr; }
    void segListLifeTimeNotifieeIs();
    void segListLifeTimeNotifieeDel() { segListLifeTimeNotifiee_ = nullptr; }
    void segListDedupTablePtrIs();
    void segListDedupTablePtrDel() { segListDedupTablePtr_ = nullptr; }

    /// The interned list of `labels`, in these tables.
    Quor::Ptr<SegmentList const> segmentList(Wirex::MplsLabelOperation const& labels,
                                             PolicyId const& policyId,
                                             DistinguisherId distinguisherId) const {
        return SegmentList::createDedup(segListDedupTablePtr(), segDedupTablePtr(), labels,
                                        policyId, distinguisherId);
    }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::Ptr<NotifyingSegmentCollection> notifyingSegmentCollection_;
    Quor::Ptr<SegmentLifeTimeNotifiee const> segLifeTimeNotifiee_;
    Quor::Ptr<SegmentDedupTable> segDedupTablePtr_;
    Quor::Ptr<NotifyingSegmentListCollection> notifyingSegmentListCollection_;
    Quor::Ptr<SegmentListLifeTimeNotifiee const> segListLifeTimeNotifiee_;
    Quor::Ptr<SegmentListDedupTable> segListDedupTablePtr_;
};

/// Ready to use.
SRTE_EXPORT Quor::Ptr<CoreDedupTables> coreDedupTablesFactory();

/// Interns the lists that an earlier run exported again, each under its old identity, so that
/// tunnels, FECs and sessions that name them stay true. Call it on new tables, before any machine
/// starts; set the collection's `uniqueId` to the largest identity that any surviving table names
/// afterwards. The returned references keep the lists until their owners have claimed them: drop
/// them when the start is over.
SRTE_EXPORT std::vector<Quor::Ptr<SegmentList const>> reinternSurvivingLists(
    Quor::Ptr<CoreDedupTables> const& coreDedupTables,
    Quor::Ptr<Export::SegmentListCollection const> const& exported);

}  // namespace SrTePolicy
