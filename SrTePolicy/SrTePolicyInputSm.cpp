#include "SrTePolicy/SrTePolicyInputSm.h"

#include <algorithm>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/TaskDump.h"
#include "SrTePolicy/SrTePolicyInputSyslog.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicyInputSm");

constexpr char const* srlbName = "srlb";

void addProtocol(Protocol protocol) {
    auto& protocols = policyInputProtocols();
    if (std::ranges::find(protocols, protocol) == protocols.end()) protocols.push_back(protocol);
}

// Whether interning the list cannot fail, and packets can carry its labels.
bool isInternable(WeightedLabels const& list) {
    auto const& stack = list.labels.stack;
    if (stack.size() > SegmentList::maxSize) return false;
    for (std::size_t i = 0; i < stack.size(); ++i) {
        if (!stack.label(i).isReal()) return false;
    }
    return true;
}

}  // namespace

std::vector<Protocol>& policyInputProtocols() {
    static std::vector<Protocol> protocols;
    return protocols;
}

PolicyInputSm::Source::Source(Quor::Ptr<PolicyInput const> observed, PolicyInputSm* self)
    : input(std::move(observed)),
      reactor(input->policyInputEntry(), self,
              [](PolicyInputSm& sm, PolicyId const& id) { sm.handlePolicyEntry(id); }) {}

PolicyInputSm::PolicyInputSm(Quor::Ptr<Config const> config,
                             Quor::Ptr<PolicyInputSource const> input,
                             Quor::Ptr<Mpls::Config const> mplsConfig,
                             Quor::Ptr<Mpls::LfibStatus const> lfib,
                             Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
                             Quor::Ptr<PolicySelectionInput> policySelectionInput,
                             Quor::Ptr<CoreDedupTables const> coreDedupTables,
                             Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
                             Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap,
                             Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                             Quor::Ptr<Keel::FieldlogSm const> fieldlogSm)
    : config_(std::move(config)),
      input_(std::move(input)),
      mplsConfig_(std::move(mplsConfig)),
      policySelectionInput_(policySelectionInput),
      segmentListIdToPolicyMap_(segmentListIdToPolicyMap),
      policyKeyToIdMap_(std::move(policyKeyToIdMap)),
      taskScheduler_(taskScheduler),
      bsidUser_(std::move(lfib), std::move(lfibTrackingStatus)),
      entryWriter_(std::move(policySelectionInput), std::move(coreDedupTables),
                   std::move(segmentListIdToPolicyMap)),
      backlog_(std::move(taskScheduler), std::move(fieldlogSm)),
      inputReactor_(
          input_->policyInput(), this,
          [](PolicyInputSm& self, Protocol protocol) { self.handlePolicyInput(protocol); }),
      labelRangeReactor_(
          mplsConfig_->labelRange(), this,
          [](PolicyInputSm& self, std::string const& name) { self.handleLabelRange(name); }),
      routeReactor_(bsidUser_.routeSubject(), this,
                    [](PolicyInputSm& self, Mpls::RouteKey key) { self.handleLFibRoute(key); }),
      specifiedBsidOnlyReactor_(
          config_->specifiedBsidOnly, this,
          [](PolicyInputSm& self, std::monostate) { self.handleSpecifiedBsidOnly(); }) {}

void PolicyInputSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    SRTE_TRACE(8, "handleInitialized called with segmentListSharing: "
                      << segmentListSharingToString(config_->segmentListSharing()));
    backlog_.start("InputSmTask", [this] { handleTaskRun(); });
    addProtocol(Protocol::config);
    addProtocol(Protocol::bgp);
    updateSrlbConfigRange();

    auto const& survivors = policySelectionInput_->policyIdEntry();
    for (auto row = survivors.begin(); row; row.next()) backlog_.mark(row.key(), true);
    policyKeyToIdMap_->policyDelAll();
    segmentListIdToPolicyMap_->segmentListUserDelAll();

    auto const& inputs = input_->policyInput();
    for (auto row = inputs.begin(); row; row.next()) policyIs(row.key(), row.value());
    handleEveryProtocolSource();
    handleLFibRoute();
    schedule();
}

void PolicyInputSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;
    backlog_.stop();
    policy_.clear();
    inputReactor_.off();
    labelRangeReactor_.off();
    routeReactor_.off();
    specifiedBsidOnlyReactor_.off();
    bsidUser_.clear();
    policySelectionInput_->policyIdEntryDelAll();
    policyKeyToIdMap_->policyDelAll();
    segmentListIdToPolicyMap_->segmentListUserDelAll();
}

void PolicyInputSm::handlePolicyInput(Protocol protocol) {
    if (!initialized_) return;

    if (auto const input = input_->policyInput(protocol)) {
        policyIs(protocol, input);
    } else {
        policyDel(protocol);
    }
    handleProtocolSource(protocol);
}

void PolicyInputSm::policyIs(Protocol protocol, Quor::Ptr<PolicyInput const> const& input) {
    policy_.erase(protocol);
    policy_.try_emplace(protocol, input, this);
}

void PolicyInputSm::handleProtocolSource(Protocol protocol) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Source change: add new policies");
    if (auto const source = policy_.find(protocol); source != policy_.end()) {
        markEntries(*source->second.input, true);
    }
    SRTE_TRACE(8, "Source change: cleanup of stale policies");
    auto const& held = policyKeyToIdMap_->candidate();
    for (auto row = held.begin(); row; row.next()) {
        if (row.key().candidate.protocol == protocol) backlog_.mark(row.key(), true);
    }
    schedule();
}

void PolicyInputSm::handlePolicyEntry(PolicyId const& policyId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Policy Entry: " << policyId << " has changed");
    backlog_.markAndSchedule(policyId, true);
}

void PolicyInputSm::handleLabelRange(std::string const& name) {
    if (!initialized_ || name != srlbName) return;

    SRTE_TRACE(8, "SRLB Range has changed");
    updateSrlbConfigRange();
    for (auto const& [protocol, source] : policy_) markEntries(*source.input, false);
    schedule();
}

// A range without labels is no range, whatever its base.
void PolicyInputSm::updateSrlbConfigRange() {
    auto const* const range = mplsConfig_->labelRange(srlbName);
    srlbConfigRange_ = range && !range->empty() ? *range : Mpls::LabelRange();
}

void PolicyInputSm::handleLFibRoute(Mpls::RouteKey routeKey) {
    if (!initialized_) return;

    if (auto const* const user = bsidUser_.recheck(routeKey.topLabel())) markUsers(*user);
}

void PolicyInputSm::handleLFibRoute() {
    if (!initialized_) return;

    bsidUser_.recheckAll([this](BindingSidUser const& user) { markUsers(user); });
}

void PolicyInputSm::handleSpecifiedBsidOnly() {
    if (initialized_) handleEveryProtocolSource();
}

// Configured and BGP policies first; the others are read again all the same.
void PolicyInputSm::handleEveryProtocolSource() {
    auto const& first = policyInputProtocols();
    for (auto const protocol : first) handleProtocolSource(protocol);
    for (auto const& [protocol, source] : policy_) {
        if (std::ranges::find(first, protocol) == first.end()) handleProtocolSource(protocol);
    }
}

void PolicyInputSm::markEntries(PolicyInput const& input, bool changed) {
    auto const& entries = input.policyInputEntry();
    for (auto row = entries.begin(); row; row.next()) backlog_.mark(row.key(), changed);
}

void PolicyInputSm::markUsers(BindingSidUser const& user) {
    SRTE_TRACE(8, "handleLFibRoute: " << user.bsid());
    user.policyId().forEach([this](PolicyId const& id) { backlog_.mark(id, false); });
    schedule();
}

void PolicyInputSm::schedule() {
    if (!backlog_.empty()) backlog_.schedule();
}

void PolicyInputSm::handleTaskRun() {
    if (!initialized_) return;

    auto const run = backlog_.drain(
        [this](PolicyId const& policyId, bool changed) {
            processPolicyEntry(policyId, changed, Siblings::first);
        },
        [](PolicyId const& policyId, Quor::RangeError const& error) {
            SRTE_TRACE(6, "handleTaskRun: " << policyId << ": " << error.what());
        },
        [](PolicyId const&) {});
    SRTE_TRACE(9,
               "Processed " << run.count << " input policy entries, delay task: " << run.delayed);
}

void PolicyInputSm::processPolicyEntry(PolicyId const& policyId, bool changed, Siblings siblings) {
    SRTE_TRACE(8, "Processing policy entry: " << policyId);
    auto const remove = [&] {
        if (siblings == Siblings::first) processPendingSiblings(policyId);
        entryWriter_.deletePolicyIdEntry(policyId);
    };
    auto const* const entry = inputEntry(policyId);
    if (!entry) {
        deregisterForBindingSid(getBindingSidOfPolicy(policyId), policyId);
        deleteFromPolicyKeyToIdMap(policyId.key, policyId.candidate);
        remove();
        return;
    }
    auto const bindingSid = entry->bindingSid;
    registerForBindingSid(bindingSid, policyId);
    auto const reason = isPolicyEntryValid(*entry);
    if (reason != PolicyInvalidReason::usable) {
        remove();
    } else if (changed || !policySelectionInput_->policyIdEntry(policyId)) {
        PolicyInputEntry const accepted(*entry);
        if (siblings == Siblings::first) processPendingSiblings(policyId);
        entryWriter_.addOrUpdatePolicyIdEntry(accepted);
    }
    addInPolicyKeyToIdMap(policyId.key, policyId.candidate, changed, reason, bindingSid);
}

// Selection may run between two runs of this task. Were a candidate gone, or its lists exchanged
// for worse ones, before its successor has come, it would withdraw the policy.
void PolicyInputSm::processPendingSiblings(PolicyId const& policyId) {
    if (!policySelectionInput_->policyIdEntry(policyId)) return;
    auto const& key = policyId.key;
    auto const& pending = backlog_.pending();
    PolicyId id;
    for (bool more = pending.atOrAfter(PolicyId::lowest(key), id); more && id.key == key;
         more = pending.after(id, id)) {
        if (auto const changed = backlog_.take(id)) {
            processPolicyEntry(id, *changed, Siblings::done);
        }
    }
}

// Null when the source of the id's protocol holds no such candidate.
PolicyInputEntry const* PolicyInputSm::inputEntry(PolicyId const& policyId) const {
    auto const source = policy_.find(policyId.candidate.protocol);
    if (source == policy_.end()) return nullptr;
    auto const* const entry = source->second.input->policyInputEntry(policyId);
    return entry && *entry != PolicyInputEntry(policyId) ? entry : nullptr;
}

PolicyInvalidReason PolicyInputSm::isPolicyEntryValid(PolicyInputEntry const& entry) const {
    auto reason = bindingSidVerdict(entry.bindingSid);
    auto const& lists = entry.segmentList;
    bool const bsidValid = reason == PolicyInvalidReason::usable;
    if (lists.empty() || (bsidValid && !std::ranges::all_of(lists, isInternable))) {
        reason = PolicyInvalidReason::noSegmentLists;
    }
    emitInvalidPolicySyslog(entry, reason, srlbConfigRange_);
    return reason;
}

PolicyInvalidReason PolicyInputSm::bindingSidVerdict(Wirex::MplsLabel bindingSid) const {
    if (bindingSid.isNull()) {
        return config_->specifiedBsidOnly() ? PolicyInvalidReason::bsidMissing
                                            : PolicyInvalidReason::usable;
    }
    // The range may reach beyond the labels that packets carry.
    if (!srlbConfigRange_.contains(bindingSid) || !bindingSid.isReal()) {
        return PolicyInvalidReason::bsidOutOfRange;
    }
    auto const* const bsidUserInfo = bsidUser_.bsidUser(bindingSid);
    if (!bsidUserInfo) {
        SRTE_TRACE(
            6, "BindingSid: " << bindingSid << "is not available in reverse mapping collection");
    }
    QUOR_ASSERT(bsidUserInfo, "bsidUserInfo");
    return bsidUserInfo->available() ? PolicyInvalidReason::usable : PolicyInvalidReason::bsidInUse;
}

void PolicyInputSm::registerForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId) {
    auto const previous = getBindingSidOfPolicy(policyId);
    if (previous != bindingSid) deregisterForBindingSid(previous, policyId);
    bsidUser_.policyIdIs(bindingSid, policyId);
}

void PolicyInputSm::deregisterForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId) {
    bsidUser_.policyIdDel(bindingSid, policyId);
}

Wirex::MplsLabel PolicyInputSm::getBindingSidOfPolicy(PolicyId const& policyId) const {
    auto const* const info = policyKeyToIdMap_->candidate(policyId);
    return info ? info->bindingSid : Wirex::MplsLabel();
}

void PolicyInputSm::addInPolicyKeyToIdMap(PolicyKey const& key, CandidateId const& candidateId,
                                          bool changed, PolicyInvalidReason reason,
                                          Wirex::MplsLabel bindingSid) {
    auto policyInfo = policyKeyToIdMap_->policyIs(key);
    auto const* const listed = changed ? nullptr : policyInfo.candidate(candidateId);
    auto const time = listed ? listed->creationTime : taskScheduler_->clock().systemTime();
    policyInfo.candidateIs(candidateId, {time, reason, bindingSid});
}

void PolicyInputSm::deleteFromPolicyKeyToIdMap(PolicyKey const& key,
                                               CandidateId const& candidateId) {
    policyKeyToIdMap_->policyIs(key).candidateDel(candidateId);
}

void PolicyInputSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cTask Dump:\n", indentCount, ' ');
    if (auto const* const task = backlog_.task()) Keel::dumpTaskTimer(ctx, indentCount + 2, *task);
    ctx.print("%*csrlbConfigRange \n", indentCount, ' ');
    ctx.print("%*csrlbConfigRangeBase: %u\n", indentCount, ' ', srlbConfigRange_.base());
    ctx.print("%*csrlbConfigRangeSize: %u\n", indentCount, ' ', srlbConfigRange_.size());
    ctx.print("%*csrlbConfigRangeMax: %u\n", indentCount, ' ', srlbConfigRange_.max());
    bsidUser_.dumpState(ctx, indentCount);
}

Quor::Ptr<PolicyInputSm> policyInputSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicyInputSource const> input,
    Quor::Ptr<Mpls::Config const> mplsConfig, Quor::Ptr<Mpls::LfibStatus const> lfib,
    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
    Quor::Ptr<PolicySelectionInput> policySelectionInput,
    Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
    Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
    Quor::Ptr<Keel::FieldlogSm const> fieldlogSm) {
    return Quor::makePtr<PolicyInputSm>(
        std::move(config), std::move(input), std::move(mplsConfig), std::move(lfib),
        std::move(lfibTrackingStatus), std::move(policySelectionInput), std::move(coreDedupTables),
        std::move(segmentListIdToPolicyMap), std::move(policyKeyToIdMap), std::move(taskScheduler),
        std::move(fieldlogSm));
}

}  // namespace SrTePolicy
