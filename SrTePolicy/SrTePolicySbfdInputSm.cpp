#include "SrTePolicy/SrTePolicySbfdInputSm.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/TaskDump.h"

namespace SrTePolicy {

using Sbfd::SbfdKey;
using Sbfd::SbfdParams;

namespace {

Fastlog::Facility traceFacility("SrTePolicySbfdSm");

Bfd::BfdInterval saturated(std::uint64_t milliseconds) {
    constexpr std::uint64_t max = std::numeric_limits<std::uint32_t>::max();
    return Bfd::BfdInterval(static_cast<std::uint32_t>(std::min(milliseconds, max)));
}

}  // namespace

SbfdInputSm::SbfdInputSm(Quor::Ptr<Config const> config, Quor::Ptr<InitStage> initStage,
                         Quor::Ptr<PolicyKeyToIdMap const> policyKeyToIdMap,
                         Quor::Ptr<PolicySelectionInput const> policySelectionInput,
                         Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
                         Quor::Ptr<Sbfd::SbfdInputConfig> sbfdInputConfig,
                         Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                         Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal)
    : config_(std::move(config)),
      initStage_(std::move(initStage)),
      policyKeyToIdMap_(std::move(policyKeyToIdMap)),
      policySelectionInput_(std::move(policySelectionInput)),
      segmentListIdToPolicyMap_(std::move(segmentListIdToPolicyMap)),
      sbfdInputConfig_(std::move(sbfdInputConfig)),
      taskScheduler_(std::move(taskScheduler)),
      bfdConfigGlobal_(std::move(bfdConfigGlobal)),
      policyReactor_(config_->policy(), this,
                     [](SbfdInputSm& self, PolicyKey const& key) { self.handleConfig(key); }),
      userReactor_(segmentListIdToPolicyMap_->useSubject(), this,
                   [](SbfdInputSm& self, SegmentListUse const& use) {
                       self.handleSegmentListUser(use.segmentListId, use.policyId);
                   }),
      globalReactor_(bfdConfigGlobal_->timers, this,
                     [](SbfdInputSm& self, std::monostate) { self.handleBfdGlobalCfg(); }) {}

SbfdInputSm::~SbfdInputSm() {
    if (task_) task_->unscheduleTask();
}

void SbfdInputSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    task_ = Quor::makePtr<Keel::TimerTask>(taskScheduler_, "SbfdInputSmTask",
                                           Keel::TaskPriority::normal, [this] { handleTaskRun(); });
    task_->scheduleTask();
    auto const& configs = sbfdInputConfig_->config();
    for (auto row = configs.begin(); row; row.next()) unusedConfigs_.tryEmplace(row.key());
    handleConfig();
    handleSegmentListUser();
    for (auto row = unusedConfigs_.begin(); row; row.next()) configDel(row.key());
    unusedConfigs_.clear();
}

void SbfdInputSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;

    task_->unscheduleTask();
    task_ = nullptr;
    policyReactor_.off();
    userReactor_.off();
    globalReactor_.off();
    globalIntervalPolicies_.clear();
    sbfdInputConfig_->configDelAll();
}

void SbfdInputSm::handleConfig() {
    auto const& policies = config_->policy();
    for (auto row = policies.begin(); row; row.next()) handleConfig(row.key());
}

void SbfdInputSm::handleConfig(PolicyKey const& policyKey) {
    if (!initialized_) return;

    auto const* const policy = config_->policy(policyKey);
    if (policy && policy->sbfd) {
        addSegmentListSbfdConfig(policyKey);
        return;
    }
    if (policy) {
        SRTE_TRACE(8, "sbfdconfig removed key=" << policyKey);
    } else {
        SRTE_TRACE(8, "policyconfig removed key=" << policyKey);
    }
    globalIntervalPolicies_.erase(policyKey);
    deleteSegmentListSbfdConfig(policyKey);
}

void SbfdInputSm::handleSegmentListUser() {
    auto const& users = segmentListIdToPolicyMap_->segmentListUser();
    for (auto row = users.begin(); row; row.next()) {
        for (auto const& policyKey : segmentListIdToPolicyMap_->policies(row.key())) {
            processSegmentListUser(row.key(), policyKey);
        }
    }
}

void SbfdInputSm::handleSegmentListUser(SegmentListId segmentListId, PolicyId const& policyId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "handleSegmentListUser: " << segmentListId << " " << policyId);
    processSegmentListUser(segmentListId, policyId.key);
}

// All policies without an interval of their own have the same one.
void SbfdInputSm::handleBfdGlobalCfg() {
    if (!initialized_) return;

    auto const& timers = bfdConfigGlobal_->timers();
    SRTE_TRACE(8, "handleBfdGlobalCfg: I:" << timers.interval << " M:" << timers.multiplier);
    if (!globalIntervalPolicies_.empty()) updateMaxInterval(PolicySbfdConfig());
}

void SbfdInputSm::handleTaskRun() {
    if (!initialized_) {
        SRTE_TRACE(9, "SbfdInputSm::handleTaskRun not initialized");
        return;
    }
    SRTE_TRACE(9, "SbfdInputSm::handleTaskRun set sbfdReady");
    initStage_->sbfdReadyIs(true);
}

// A list is told before its candidate is complete, so that nothing but its users counts here.
void SbfdInputSm::processSegmentListUser(SegmentListId segmentListId, PolicyKey const& policyKey) {
    if (!config_->sbfdConfigured(policyKey)) return;
    auto const key = SbfdKey::of(policyKey, segmentListId);
    // Another candidate of the policy may still use the list.
    if (segmentListIdToPolicyMap_->hasPolicy(segmentListId, policyKey)) {
        configIs(key);
    } else {
        configDel(key);
    }
}

void SbfdInputSm::addSegmentListSbfdConfig(PolicyKey const& policyKey) {
    auto const settings = *config_->policy(policyKey)->sbfd;
    updateMaxInterval(settings);
    if (settings.interval.value() == 0) {
        globalIntervalPolicies_.tryEmplace(policyKey);
    } else {
        globalIntervalPolicies_.erase(policyKey);
    }
    rewriteSbfdConfig(policyKey);
    auto row = policyKeyToIdMap_->firstCandidate(policyKey);
    if (!row || row.key().key != policyKey) {
        SRTE_TRACE(8, "policyKeyToIdMap no key: " << policyKey);
        return;
    }
    for (; row && row.key().key == policyKey; row.next()) {
        auto const* entry = policySelectionInput_->policyIdEntry(row.key());
        if (!entry) SRTE_TRACE(8, "policySelectionInput no id: " << row.key());
        // Found again for each list, as whoever hears of one may do anything.
        for (std::size_t i = 0; entry && i < entry->wSegmentList.size(); ++i) {
            configIs(SbfdKey::of(policyKey, entry->wSegmentList[i].segmentListId));
            entry = policySelectionInput_->policyIdEntry(row.key());
        }
    }
}

// The lists of a candidate that is not complete yet have their rows already.
void SbfdInputSm::rewriteSbfdConfig(PolicyKey const& policyKey) {
    auto const& configs = sbfdInputConfig_->config();
    for (auto row = configs.lowerBound(SbfdKey::of(policyKey, SegmentListId()));
         row && row.key().policyKey() == policyKey; row.next()) {
        auto const listId = row.key().segmentListId;
        if (segmentListIdToPolicyMap_->hasPolicy(listId, policyKey)) configIs(row.key());
    }
}

void SbfdInputSm::deleteSegmentListSbfdConfig(PolicyKey const& policyKey) {
    auto const& configs = sbfdInputConfig_->config();
    for (auto row = configs.lowerBound(SbfdKey::of(policyKey, SegmentListId()));
         row && row.key().policyKey() == policyKey; row.next()) {
        configDel(row.key());
    }
}

// As the settings are now: an earlier row of the same event may have ended them, or the machine.
void SbfdInputSm::configIs(SbfdKey const& key) {
    auto const* const policy = config_->policy(key.policyKey());
    if (!initialized_ || !policy || !policy->sbfd) return;

    unusedConfigs_.erase(key);
    Sbfd::SegmentListSbfdConfig const config{key, policy->sbfd->remoteDiscriminator,
                                             SbfdParams::of(*policy->sbfd)};
    if (sbfdInputConfig_->configIs(config)) SRTE_TRACE(7, "add sbfdInputConfig " << config);
}

void SbfdInputSm::configDel(SbfdKey const& key) {
    if (sbfdInputConfig_->configDel(key)) SRTE_TRACE(7, "remove sbfdInputConfig key:" << key);
}

void SbfdInputSm::updateMaxInterval(PolicySbfdConfig const& policySbfdConfig) {
    Bfd::Timers timers{policySbfdConfig.interval, policySbfdConfig.multiplier};
    if (timers.interval.value() == 0) {
        timers = bfdConfigGlobal_->timers();
        SRTE_TRACE(8, "update maxInterval with globalCfg I:" << timers.interval
                                                             << " M:" << timers.multiplier);
    } else {
        SRTE_TRACE(8, "update maxInterval I:" << timers.interval << " M:" << timers.multiplier);
    }
    maxIntervalIs(std::max(maxInterval_, saturated(timers.detectionTime())));
}

void SbfdInputSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cTask Dump:\n", indentCount, ' ');
    if (task_) Keel::dumpTaskTimer(ctx, indentCount + 2, *task_);
    ctx.print("%*cmaxInterval: %u\n", indentCount, ' ', maxInterval_.value());
}

Quor::Ptr<SbfdInputSm> sbfdInputSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<InitStage> initStage,
    Quor::Ptr<PolicyKeyToIdMap const> policyKeyToIdMap,
    Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<Sbfd::SbfdInputConfig> sbfdInputConfig, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
    Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal) {
    return Quor::makePtr<SbfdInputSm>(
        std::move(config), std::move(initStage), std::move(policyKeyToIdMap),
        std::move(policySelectionInput), std::move(segmentListIdToPolicyMap),
        std::move(sbfdInputConfig), std::move(taskScheduler), std::move(bfdConfigGlobal));
}

}  // namespace SrTePolicy
