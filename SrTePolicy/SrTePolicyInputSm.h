#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Keel/Backlog.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Mpls/Config.h"
#include "Platform/Quor/Attribute.h"
#include "SrTePolicy/SrTePolicyBindingSidUser.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"

namespace SrTePolicy {

/// The protocols whose sources every input machine of the process re-reads as a whole, in order. Each puts
/// in configuration and BGP at its start; the agent may add others.
SRTE_EXPORT std::vector<Protocol>& policyInputProtocols();

/// Turns the candidates of all sources into the selection input.
///
///   reads   the sources; of Config the specified-BSID flag; the SRLB; the merged LFIB, for who holds
///           a binding SID
///   writes  PolicyKeyToIdMap with the verdict on every candidate; PolicySelectionInput with the valid
///           ones; SegmentListIdToPolicyMap and, through it, the life of the segment lists
///   runs    in its task ("InputSmTask"), a candidate at a time; handlers only mark
///
/// A candidate's lists are interned while it is valid, and only then. New lists are registered before old
/// ones are let go, so that a list in both keeps its identity. `handleDel` empties selection input, key map
/// and list users, in this order.
class SRTE_EXPORT PolicyInputSm final : public Quor::PtrInterface {
public:
    PolicyInputSm(Quor::Ptr<Config const> config, Quor::Ptr<PolicyInputSource const> input,
                  Quor::Ptr<Mpls::Config const> mplsConfig,
                  Quor::Ptr<Mpls::LfibStatus const> lfib,
                  Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
                  Quor::Ptr<PolicySelectionInput> policySelectionInput,
                  Quor::Ptr<CoreDedupTables const> coreDedupTables,
                  Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
                  Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap,
                  Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                  Quor::Ptr<Keel::FieldlogSm> fieldlogSm);

    void handleInitialized();
    void handleDel();
    bool drained() const { return backlog_.empty(); }

    /// A protocol's input came, went or was replaced.
    void handlePolicyInput(Protocol protocol);
    void handleProtocolSource(Protocol protocol);
    void handlePolicyEntry(PolicyId const& policyId);
    void handleLabelRange(std::string const& name);
    void handleLFibRoute(Mpls::RouteKey const& routeKey);
    void handleLFibRoute();
    void handleSpecifiedBsidOnly();
    void handleTaskRun();

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    // A protocol's input, and the reactor on it.
    struct Source {
        explicit Source(PolicyInputSm* self, Quor::Ptr<PolicyInput const> input);
        Quor::Ptr<PolicyInput const> input;
        Quor::Reactor<PolicyId> reactor;
    };
    // A candidate that has to leave the selection input, and its verdict unless its source dropped it.
    struct Departure {
        PolicyId policyId;
        bool changed = false;
        std::optional<PolicyInvalidReason> reason;
        Wirex::MplsLabel bindingSid;
    };

    void policyIs(Protocol protocol, Quor::Ptr<PolicyInput const> const& input);
    void policyDel(Protocol protocol) { policy_.erase(protocol); }
    void readSrlb();
    void markUsers(BindingSidUser const& user);
    PolicyInputEntry const* sourceEntry(PolicyId const& policyId) const;

    void processPolicyEntry(PolicyId const& policyId, bool changed);
    std::optional<Departure> updateCandidate(PolicyId const& policyId, bool changed);
    void depart(Departure const& departure);

    PolicyInvalidReason isPolicyEntryValid(PolicyInputEntry const& entry) const;
    PolicyInvalidReason bindingSidVerdict(Wirex::MplsLabel bindingSid) const;
    void addInPolicyKeyToIdMap(PolicyKey const& key, CandidateId const& candidateId, bool changed,
                               PolicyInvalidReason reason, Wirex::MplsLabel bindingSid);
    void deleteFromPolicyKeyToIdMap(PolicyKey const& key, CandidateId const& candidateId);
    void registerForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId);
    void deregisterForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId);
    Wirex::MplsLabel getBindingSidOfPolicy(PolicyId const& policyId) const;

    void addOrUpdatePolicyIdEntry(PolicyInputEntry const& entry);
    void deletePolicyIdEntry(PolicyId const& policyId);
    void registerSegmentListForPolicy(Quor::Ptr<SegmentList const> const& segmentList,
                                      PolicyId const& policyId);
    void deregisterSegmentListForPolicy(SegmentListId segmentListId, PolicyId const& policyId);

    Quor::Ptr<Config const> const config_;
    Quor::Ptr<PolicyInputSource const> const input_;
    Quor::Ptr<Mpls::Config const> const mplsConfig_;
    Quor::Ptr<PolicySelectionInput> const policySelectionInput_;
    Quor::Ptr<CoreDedupTables const> const coreDedupTables_;
    Quor::Ptr<SegmentListIdToPolicyMap> const segmentListIdToPolicyMap_;
    Quor::Ptr<PolicyKeyToIdMap> const policyKeyToIdMap_;
    Quor::Ptr<Keel::TaskScheduler> const taskScheduler_;

    bool initialized_ = false;
    Mpls::LabelRange srlbConfigRange_;
    BindingSidUsers bsidUser_;
    Keel::Backlog<Keel::PendingKeys<PolicyId>> backlog_;

    // Declared last, destroyed first: no event reaches a half-destroyed machine.
    std::map<Protocol, std::unique_ptr<Source>> policy_;
    Quor::Reactor<Protocol> inputReactor_;
    Quor::Reactor<std::string> labelRangeReactor_;
    Quor::Reactor<Mpls::RouteKey> routeReactor_;
    Quor::AttributeReactor specifiedBsidOnlyReactor_;
};

SRTE_EXPORT Quor::Ptr<PolicyInputSm> policyInputSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicyInputSource const> input,
    Quor::Ptr<Mpls::Config const> mplsConfig, Quor::Ptr<Mpls::LfibStatus const> lfib,
    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
    Quor::Ptr<PolicySelectionInput> policySelectionInput,
    Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
    Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
    Quor::Ptr<Keel::FieldlogSm> fieldlogSm);

}  // namespace SrTePolicy
