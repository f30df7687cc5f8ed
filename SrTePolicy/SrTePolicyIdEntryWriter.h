#pragma once

#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicySelectionInput.h"

namespace SrTePolicy {

/// Writes the entries of valid candidates for PolicyInputSm, and keeps their segment lists alive.
///
/// Every list that an entry names is interned and has the candidate as its user; between two calls
/// there are no other users. What an earlier run of the agent left is the exception: its entries
/// have no users until they are written again.
class SRTE_EXPORT PolicyIdEntryWriter {
public:
    PolicyIdEntryWriter(Quor::Ptr<PolicySelectionInput> policySelectionInput,
                        Quor::Ptr<CoreDedupTables const> coreDedupTables,
                        Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap);

    /// The lists of `entry` must be internable. The version grows exactly when the binding SID, the
    /// explicit-null policy or the row of lists and weights changes.
    void addOrUpdatePolicyIdEntry(PolicyInputEntry const& entry);
    /// Nothing happens when there is no entry.
    void deletePolicyIdEntry(PolicyId const& policyId);

private:
    void registerSegmentListForPolicy(Quor::Ptr<SegmentList const> const& segmentList,
                                      PolicyId const& policyId);
    void deregisterSegmentListForPolicy(SegmentListId segmentListId, PolicyId const& policyId);

    Quor::Ptr<PolicySelectionInput> const policySelectionInput_;
    Quor::Ptr<CoreDedupTables const> const coreDedupTables_;
    Quor::Ptr<SegmentListIdToPolicyMap> const segmentListIdToPolicyMap_;
};

}  // namespace SrTePolicy
