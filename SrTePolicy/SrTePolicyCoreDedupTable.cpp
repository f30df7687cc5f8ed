#include "SrTePolicy/SrTePolicyCoreDedupTable.h"

#include <span>

namespace SrTePolicy {

void CoreDedupTables::handleInitialized() {
    notifyingSegmentCollectionIs();
    segLifeTimeNotifieeIs();
    segDedupTablePtrIs();
    notifyingSegmentListCollectionIs();
    segListLifeTimeNotifieeIs();
    segListDedupTablePtrIs();
}

Quor::Ptr<Keel::DedupHashTable> CoreDedupTables::createDedupHashTable() {
    return Quor::makePtr<Keel::DedupHashTable>();
}

void CoreDedupTables::notifyingSegmentCollectionIs() {
    if (notifyingSegmentCollection_) return;
    notifyingSegmentCollection_ = Quor::makePtr<NotifyingSegmentCollection>();
}

void CoreDedupTables::segLifeTimeNotifieeIs() {
    if (segLifeTimeNotifiee_) return;
    segLifeTimeNotifiee_ =
        Quor::makePtr<SegmentLifeTimeNotifiee const>(notifyingSegmentCollection_);
}

void CoreDedupTables::segDedupTablePtrIs() {
    if (segDedupTablePtr_) return;
    segDedupTablePtr_ = Quor::makePtr<SegmentDedupTable>(segLifeTimeNotifiee_);
    segDedupTablePtr_->handleInitialized();
}

void CoreDedupTables::notifyingSegmentListCollectionIs() {
    if (notifyingSegmentListCollection_) return;
    notifyingSegmentListCollection_ = Quor::makePtr<NotifyingSegmentListCollection>();
}

void CoreDedupTables::segListLifeTimeNotifieeIs() {
    if (segListLifeTimeNotifiee_) return;
    segListLifeTimeNotifiee_ =
        Quor::makePtr<SegmentListLifeTimeNotifiee const>(notifyingSegmentListCollection_);
}

void CoreDedupTables::segListDedupTablePtrIs() {
    if (segListDedupTablePtr_) return;
    segListDedupTablePtr_ = Quor::makePtr<SegmentListDedupTable>(segListLifeTimeNotifiee_);
    segListDedupTablePtr_->handleInitialized();
}

void CoreDedupTables::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cCoreDedupTables:\n", indentCount, ' ');
    notifyingSegmentCollection_->dumpState(ctx, indentCount + 2);
    segDedupTablePtr_->dumpState(ctx, indentCount + 2);
    notifyingSegmentListCollection_->dumpState(ctx, indentCount + 2);
    segListDedupTablePtr_->dumpState(ctx, indentCount + 2);
}

Quor::Ptr<CoreDedupTables> coreDedupTablesFactory() {
    auto const tables = Quor::makePtr<CoreDedupTables>();
    tables->handleInitialized();
    return tables;
}

std::vector<Quor::Ptr<SegmentList const>> reinternSurvivingLists(
    Quor::Ptr<CoreDedupTables> const& coreDedupTables,
    Quor::Ptr<Export::SegmentListCollection const> const& exported) {
    auto const& lists = exported->segmentList();
    std::vector<Quor::Ptr<SegmentList const>> references;
    references.reserve(lists.size());
    for (auto row = lists.begin(); row; row.next()) {
        auto const& list = row.value();
        coreDedupTables->notifyingSegmentListCollection()->uniqueIdIs(
            SegmentListId(row.key().value() - 1));
        references.push_back(SegmentList::createDedup(
            coreDedupTables->segListDedupTablePtr(), coreDedupTables->segDedupTablePtr(),
            std::span(list.segment.data(), list.size), list.policyId, list.distinguisherId));
    }
    return references;
}

}  // namespace SrTePolicy
