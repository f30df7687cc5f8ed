#pragma once

#include <optional>

#include "Platform/Keel/Backlog.h"
#include "Platform/Keel/DumpContext.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/EcPolicy.h"
#include "SrTeTypes/PolicySelectionInput.h"
#include "SrTeTypes/SegmentListStatus.h"

namespace SrTePolicy {

/// Keeps, for every policy, the candidates that have a usable segment list, and chooses the best of
/// them (RFC 9256, 2.9). Nothing but the present inputs decides, never the order of arrival.
///
///   reads   PolicySelectionInput; SegmentListStatus, and of it the S-BFD combined status for a
///           policy that has S-BFD settings in Config; SegmentListIdToPolicyMap, for whom the
///           status of a list concerns
///   writes  EcPolicy, as its only writer
///   runs    in its task ("SelectionSmTask"); only a changed binding SID is copied at once
///
/// Before a choice is given up, the pending candidates of the same policy are looked at, however
/// the task's time is sliced: a policy that keeps a usable candidate through a burst of changes is
/// never withdrawn in between.
class SRTE_EXPORT PolicySelectionSm final : public Quor::PtrInterface {
public:
    PolicySelectionSm(Quor::Ptr<Config const> config,
                      Quor::Ptr<PolicySelectionInput const> policySelectionInput,
                      Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
                      Quor::Ptr<SegmentListStatus const> segmentListStatus,
                      Quor::Ptr<EcPolicy> ecPolicy, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                      Quor::Ptr<Keel::FieldlogSm const> fieldlogSm);

    /// Has every candidate selected anew, those included that only an earlier run knew.
    void handleInitialized();
    /// Empties EcPolicy.
    void handleDel();
    bool drained() const { return backlog_.empty(); }

    /// A candidate that came, went, or has a new version.
    void handlePolicyIdEntry(PolicyId const& policyId);
    void handleBindingSid(PolicyId const& policyId);
    void handleSegmentListStatus(SegmentListId segmentListId);
    void handleSegmentListStatusWithSbfd(Sbfd::SbfdKey const& sbfdKey);
    /// The static policy of the key, and with it perhaps the status that counts.
    void handleStaticPolicy(PolicyKey const& key);
    void handleTieBreakingLogicChange();
    void handleTaskRun();

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    // What a selection may retain. A copy, as the table changes meanwhile.
    struct Choice {
        CandidateId candidate;
        Priority priority;
    };

    void markEveryCandidate();
    void markUsers(SegmentListId segmentListId);
    void markUsers(Sbfd::SbfdKey const& sbfdKey);

    void processPolicyEntry(PolicyId const& policyId);
    static std::optional<Choice> choice(Policy const* policy);
    bool updateCandidate(PolicyId const& policyId, Policy const* policy);
    bool updatePendingCandidates(PolicyKey const& key);
    PolicyEntry policyEntry(PolicyIdEntry const& idEntry) const;
    bool segListStatusValid(SegmentListId segmentListId, PolicyKey const& key, bool sbfd) const;
    void selectNewActive(PolicyKey const& key, Policy const& policy,
                         std::optional<Choice> const& previous, bool previousLeaves);

    Quor::Ptr<Config const> const config_;
    Quor::Ptr<PolicySelectionInput const> const policySelectionInput_;
    Quor::Ptr<SegmentListIdToPolicyMap const> const segmentListIdToPolicyMap_;
    Quor::Ptr<SegmentListStatus const> const segmentListStatus_;
    Quor::Ptr<EcPolicy> const ecPolicy_;

    bool initialized_ = false;
    Keel::Backlog<Keel::PendingKeys<PolicyId>> backlog_;

    // Declared last, destroyed first: no event reaches a half-destroyed machine.
    Quor::Reactor<PolicyId> policyIdEntryReactor_;
    Quor::Reactor<PolicyId> bindingSidReactor_;
    Quor::Reactor<SegmentListId> statusReactor_;
    Quor::Reactor<Sbfd::SbfdKey> statusWithSbfdReactor_;
    Quor::Reactor<PolicyKey> staticPolicyReactor_;
    Quor::AttributeReactor tieBreakingReactor_;
};

SRTE_EXPORT Quor::Ptr<PolicySelectionSm> policySelectionSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<SegmentListStatus const> segmentListStatus, Quor::Ptr<EcPolicy> ecPolicy,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<Keel::FieldlogSm const> fieldlogSm);

}  // namespace SrTePolicy
