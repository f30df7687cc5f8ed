#pragma once

#include <variant>

#include "Platform/Bfd/BfdTables.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/Task.h"
#include "Platform/Quor/OrderedMap.h"
#include "SrTePolicy/SrTePolicySbfdTables.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/InitStage.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"

namespace SrTePolicy {

/// Turns the S-BFD settings of a policy into one configuration for each list that a candidate of
/// the policy uses, whatever source the candidate comes from.
///
///   reads   Config; PolicyKeyToIdMap and PolicySelectionInput, for the lists of a policy whose
///           settings change; SegmentListIdToPolicyMap, for lists that come and go; the global BFD
///           settings
///   writes  SbfdInputConfig, as its only writer; InitStage.sbfdReady
///   runs    inside its reactors; its task ("SbfdInputSmTask") only says that the start is done
class SRTE_EXPORT SbfdInputSm final : public Quor::PtrInterface {
public:
    SbfdInputSm(Quor::Ptr<Config const> config, Quor::Ptr<InitStage> initStage,
                Quor::Ptr<PolicyKeyToIdMap const> policyKeyToIdMap,
                Quor::Ptr<PolicySelectionInput const> policySelectionInput,
                Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
                Quor::Ptr<Sbfd::SbfdInputConfig> sbfdInputConfig,
                Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal);
    ~SbfdInputSm() override;

    /// Writes every row, then removes those that an earlier run left.
    void handleInitialized();
    /// Empties SbfdInputConfig; what has been said ready stays so.
    void handleDel();
    /// Nothing waits to be said ready.
    bool drained() const { return !task_ || !task_->isScheduled(); }

    /// The static policy of the key.
    void handleConfig(PolicyKey const& policyKey);
    /// A list gained or lost a candidate.
    void handleSegmentListUser(SegmentListId segmentListId, PolicyId const& policyId);
    void handleBfdGlobalCfg();
    void handleTaskRun();

    /// The longest detection time that was ever asked for, in milliseconds: how long a start may
    /// have to wait until dead paths have shown.
    Bfd::BfdInterval maxInterval() const { return maxInterval_; }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    void handleConfig();           // every policy
    void handleSegmentListUser();  // every list
    void processSegmentListUser(SegmentListId segmentListId, PolicyKey const& policyKey);
    void addSegmentListSbfdConfig(PolicyKey const& policyKey);
    void rewriteSbfdConfig(PolicyKey const& policyKey);
    void deleteSegmentListSbfdConfig(PolicyKey const& policyKey);
    void configIs(Sbfd::SbfdKey const& key);
    void configDel(Sbfd::SbfdKey const& key);
    void updateMaxInterval(PolicySbfdConfig const& policySbfdConfig);
    void maxIntervalIs(Bfd::BfdInterval interval) { maxInterval_ = interval; }

    Quor::Ptr<Config const> const config_;
    Quor::Ptr<InitStage> const initStage_;
    Quor::Ptr<PolicyKeyToIdMap const> const policyKeyToIdMap_;
    Quor::Ptr<PolicySelectionInput const> const policySelectionInput_;
    Quor::Ptr<SegmentListIdToPolicyMap const> const segmentListIdToPolicyMap_;
    Quor::Ptr<Sbfd::SbfdInputConfig> const sbfdInputConfig_;
    Quor::Ptr<Keel::TaskScheduler> const taskScheduler_;
    Quor::Ptr<Bfd::ConfigGlobal const> const bfdConfigGlobal_;

    bool initialized_ = false;
    Bfd::BfdInterval maxInterval_;
    Quor::Ptr<Keel::TimerTask> task_;
    // Those whose interval is the global one.
    Quor::OrderedSet<PolicyKey> globalIntervalPolicies_;
    // Of an earlier run, and not written again yet.
    Quor::OrderedSet<Sbfd::SbfdKey> unusedConfigs_;

    Quor::Reactor<PolicyKey> policyReactor_;
    Quor::Reactor<SegmentListUse> userReactor_;
    Quor::AttributeReactor globalReactor_;
};

SRTE_EXPORT Quor::Ptr<SbfdInputSm> sbfdInputSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<InitStage> initStage,
    Quor::Ptr<PolicyKeyToIdMap const> policyKeyToIdMap,
    Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<Sbfd::SbfdInputConfig> sbfdInputConfig, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
    Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal);

}  // namespace SrTePolicy
