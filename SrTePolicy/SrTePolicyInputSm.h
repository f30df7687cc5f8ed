#pragma once

#include <map>
#include <string>
#include <vector>

#include "Platform/Keel/Backlog.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Mpls/Config.h"
#include "SrTePolicy/SrTePolicyBindingSidUser.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTePolicy/SrTePolicyIdEntryWriter.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"

namespace SrTePolicy {

/// The protocols whose sources every PolicyInputSm of the process reads again before all others. A
/// machine's start puts in 30 and 20.
SRTE_EXPORT std::vector<Protocol>& policyInputProtocols();

/// Judges the candidate paths of every source (RFC 9256, 2.10 and 6.2), hands the valid ones to
/// selection and keeps their segment lists interned.
///
///   reads   PolicyInputSource and each PolicyInput in it; the label range "srlb" of Mpls::Config;
///           the routes of the merged LFIB; of Config the specified-BSID flag
///   writes  PolicyKeyToIdMap, PolicySelectionInput and SegmentListIdToPolicyMap, as their only
///           writer; segment lists into the dedup tables
///   runs    in its task ("InputSmTask"); events only mark candidates
///
/// When a candidate is about to go or to be rewritten, the other pending ones of its policy are
/// processed first, however the task's time is sliced: a policy that keeps a usable candidate
/// through a burst of changes keeps one all the time.
class SRTE_EXPORT PolicyInputSm final : public Quor::PtrInterface {
public:
    PolicyInputSm(Quor::Ptr<Config const> config, Quor::Ptr<PolicyInputSource const> input,
                  Quor::Ptr<Mpls::Config const> mplsConfig, Quor::Ptr<Mpls::LfibStatus const> lfib,
                  Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
                  Quor::Ptr<PolicySelectionInput> policySelectionInput,
                  Quor::Ptr<CoreDedupTables const> coreDedupTables,
                  Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
                  Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap,
                  Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                  Quor::Ptr<Keel::FieldlogSm const> fieldlogSm);

    /// Has every candidate judged anew, those included that only an earlier run knew.
    void handleInitialized();
    /// Empties PolicySelectionInput, PolicyKeyToIdMap and SegmentListIdToPolicyMap.
    void handleDel();
    bool drained() const { return backlog_.empty(); }

    /// A protocol's input came, went or was replaced.
    void handlePolicyInput(Protocol protocol);
    /// All that the protocol offers, or offered, is to be read again.
    void handleProtocolSource(Protocol protocol);
    void handlePolicyEntry(PolicyId const& policyId);
    void handleLabelRange(std::string const& name);
    void handleLFibRoute(Mpls::RouteKey routeKey);
    void handleLFibRoute();
    void handleSpecifiedBsidOnly();
    void handleTaskRun();

    /// The verdict on `entry`; the operator hears of a bad one. A binding SID in the SRLB must have
    /// its user.
    PolicyInvalidReason isPolicyEntryValid(PolicyInputEntry const& entry) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    // The input of one protocol, observed.
    struct Source {
        Source(Quor::Ptr<PolicyInput const> observed, PolicyInputSm* self);
        Quor::Ptr<PolicyInput const> const input;
        Quor::Reactor<PolicyId> reactor;
    };
    // Whether the other pending candidates of the policy still have to come first.
    enum class Siblings { first, done };

    void policyIs(Protocol protocol, Quor::Ptr<PolicyInput const> const& input);
    void policyDel(Protocol protocol) { policy_.erase(protocol); }
    void handleEveryProtocolSource();
    void updateSrlbConfigRange();
    void markEntries(PolicyInput const& input, bool changed);
    void markUsers(BindingSidUser const& user);
    void schedule();

    void processPolicyEntry(PolicyId const& policyId, bool changed, Siblings siblings);
    void processPendingSiblings(PolicyId const& policyId);
    PolicyInputEntry const* inputEntry(PolicyId const& policyId) const;
    PolicyInvalidReason bindingSidVerdict(Wirex::MplsLabel bindingSid) const;

    void registerForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId);
    void deregisterForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId);
    Wirex::MplsLabel getBindingSidOfPolicy(PolicyId const& policyId) const;

    void addInPolicyKeyToIdMap(PolicyKey const& key, CandidateId const& candidateId, bool changed,
                               PolicyInvalidReason reason, Wirex::MplsLabel bindingSid);
    void deleteFromPolicyKeyToIdMap(PolicyKey const& key, CandidateId const& candidateId);

    Quor::Ptr<Config const> const config_;
    Quor::Ptr<PolicyInputSource const> const input_;
    Quor::Ptr<Mpls::Config const> const mplsConfig_;
    Quor::Ptr<PolicySelectionInput> const policySelectionInput_;
    Quor::Ptr<SegmentListIdToPolicyMap> const segmentListIdToPolicyMap_;
    Quor::Ptr<PolicyKeyToIdMap> const policyKeyToIdMap_;
    Quor::Ptr<Keel::TaskScheduler> const taskScheduler_;

    bool initialized_ = false;
    Mpls::LabelRange srlbConfigRange_;
    BindingSidUsers bsidUser_;
    PolicyIdEntryWriter entryWriter_;
    // The flag: the candidate itself changed, so that more than its verdict is in question.
    Keel::Backlog<Keel::PendingKeys<PolicyId>> backlog_;

    // Declared last, destroyed first: no event reaches a half-destroyed machine.
    std::map<Protocol, Source> policy_;
    Quor::Reactor<Protocol> inputReactor_;
    Quor::Reactor<std::string> labelRangeReactor_;
    Quor::Reactor<Mpls::RouteKey> routeReactor_;
    Quor::AttributeReactor specifiedBsidOnlyReactor_;
};

/// `lfib` is the merged LFIB and `lfibTrackingStatus`, which may be null, tells of it.
SRTE_EXPORT Quor::Ptr<PolicyInputSm> policyInputSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicyInputSource const> input,
    Quor::Ptr<Mpls::Config const> mplsConfig, Quor::Ptr<Mpls::LfibStatus const> lfib,
    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
    Quor::Ptr<PolicySelectionInput> policySelectionInput,
    Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
    Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
    Quor::Ptr<Keel::FieldlogSm const> fieldlogSm);

}  // namespace SrTePolicy
