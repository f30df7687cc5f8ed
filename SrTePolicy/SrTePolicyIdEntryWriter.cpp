#include "SrTePolicy/SrTePolicyIdEntryWriter.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "Platform/Fastlog/Trace.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicyIdEntryWriter");

bool isRewrite(PolicyIdEntry const& before, PolicyIdEntry const& after) {
    return before.bindingSid != after.bindingSid || before.enlp != after.enlp ||
           before.wSegmentList != after.wSegmentList;
}

// In order, each once.
std::vector<SegmentListId> listIds(PolicyIdEntry const& entry) {
    std::vector<SegmentListId> ids;
    ids.reserve(entry.wSegmentList.size());
    for (auto const& list : entry.wSegmentList) ids.push_back(list.segmentListId);
    std::ranges::sort(ids);
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

std::vector<SegmentListId> droppedListIds(PolicyIdEntry const& before, PolicyIdEntry const& after) {
    std::vector<SegmentListId> dropped;
    if (before.wSegmentList == after.wSegmentList) return dropped;
    std::ranges::set_difference(listIds(before), listIds(after), std::back_inserter(dropped));
    return dropped;
}

}  // namespace

PolicyIdEntryWriter::PolicyIdEntryWriter(
    Quor::Ptr<PolicySelectionInput> policySelectionInput,
    Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap)
    : policySelectionInput_(std::move(policySelectionInput)),
      coreDedupTables_(std::move(coreDedupTables)),
      segmentListIdToPolicyMap_(std::move(segmentListIdToPolicyMap)) {}

// The new lists are registered before the entry names them, and the old ones let go when it no
// longer does: a list that stays keeps its identity.
void PolicyIdEntryWriter::addOrUpdatePolicyIdEntry(PolicyInputEntry const& entry) {
    auto const& id = entry.policyId;
    PolicyIdEntry next(id, entry.preference, entry.originator);
    next.bindingSid = entry.bindingSid;
    next.enlp = entry.enlp;
    next.wSegmentList.reserve(entry.segmentList.size());
    for (auto const& [labels, weight] : entry.segmentList) {
        auto const list =
            coreDedupTables_->segmentList(labels, id, DistinguisherId(DistinguisherId::policyList));
        registerSegmentListForPolicy(list, id);
        next.wSegmentList.push_back({list->segmentListId(), weight});
    }

    std::vector<SegmentListId> dropped;
    auto const* const previous = policySelectionInput_->policyIdEntry(id);
    if (previous) {
        next.version = previous->version;
        dropped = droppedListIds(*previous, next);
    }
    if (!previous || isRewrite(*previous, next)) next.versionInc();
    policySelectionInput_->policyIdEntryIs(std::move(next));
    for (auto const listId : dropped) deregisterSegmentListForPolicy(listId, id);
}

void PolicyIdEntryWriter::deletePolicyIdEntry(PolicyId const& policyId) {
    SRTE_TRACE(8, "Policy Id " << policyId << " will be removed");
    auto const* const entry = policySelectionInput_->policyIdEntry(policyId);
    if (!entry) return;
    for (auto const listId : listIds(*entry)) deregisterSegmentListForPolicy(listId, policyId);
    policySelectionInput_->policyIdEntryDel(policyId);
}

void PolicyIdEntryWriter::registerSegmentListForPolicy(
    Quor::Ptr<SegmentList const> const& segmentList, PolicyId const& policyId) {
    auto const id = segmentList->segmentListId();
    SRTE_TRACE(8, "Registration of SegmentList Id: " << id << " for Policy Id: " << policyId);
    segmentListIdToPolicyMap_->segmentListUserIs(id, segmentList);
    segmentListIdToPolicyMap_->policyIdIs(id, policyId);
}

// A list that only an earlier run registered has no user in this one.
void PolicyIdEntryWriter::deregisterSegmentListForPolicy(SegmentListId segmentListId,
                                                         PolicyId const& policyId) {
    SRTE_TRACE(8, "Removing registration of SegmentList Id: " << segmentListId
                                                              << " for Policy Id: " << policyId);
    if (!segmentListIdToPolicyMap_->policyIdDel(segmentListId, policyId)) return;
    auto const* const user = segmentListIdToPolicyMap_->segmentListUser(segmentListId);
    if (user && user->policyId().empty()) {
        segmentListIdToPolicyMap_->segmentListUserDel(segmentListId);
    }
}

}  // namespace SrTePolicy
