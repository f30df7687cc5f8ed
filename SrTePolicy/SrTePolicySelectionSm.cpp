#include "SrTePolicy/SrTePolicySelectionSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/TaskDump.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicySelectionSm");

}  // namespace

PolicySelectionSm::PolicySelectionSm(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<SegmentListStatus const> segmentListStatus, Quor::Ptr<EcPolicy> ecPolicy,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<Keel::FieldlogSm const> fieldlogSm)
    : config_(std::move(config)),
      policySelectionInput_(std::move(policySelectionInput)),
      segmentListIdToPolicyMap_(std::move(segmentListIdToPolicyMap)),
      segmentListStatus_(std::move(segmentListStatus)),
      ecPolicy_(std::move(ecPolicy)),
      backlog_(std::move(taskScheduler), std::move(fieldlogSm)),
      policyIdEntryReactor_(
          policySelectionInput_->entrySubject(), this,
          [](PolicySelectionSm& self, PolicyId const& id) { self.handlePolicyIdEntry(id); }),
      bindingSidReactor_(
          policySelectionInput_->bindingSidSubject(), this,
          [](PolicySelectionSm& self, PolicyId const& id) { self.handleBindingSid(id); }),
      statusReactor_(
          segmentListStatus_->status(), this,
          [](PolicySelectionSm& self, SegmentListId id) { self.handleSegmentListStatus(id); }),
      statusWithSbfdReactor_(segmentListStatus_->statusWithSbfd(), this,
                             [](PolicySelectionSm& self, Sbfd::SbfdKey const& key) {
                                 self.handleSegmentListStatusWithSbfd(key);
                             }),
      staticPolicyReactor_(
          config_->policy(), this,
          [](PolicySelectionSm& self, PolicyKey const& key) { self.handleStaticPolicy(key); }),
      tieBreakingReactor_(config_->tieBreaking, this, [](PolicySelectionSm& self, std::monostate) {
          self.handleTieBreakingLogicChange();
      }) {}

void PolicySelectionSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    backlog_.start("SelectionSmTask", [this] { handleTaskRun(); });
    markEveryCandidate();
}

void PolicySelectionSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;
    backlog_.stop();
    policyIdEntryReactor_.off();
    bindingSidReactor_.off();
    statusReactor_.off();
    statusWithSbfdReactor_.off();
    staticPolicyReactor_.off();
    tieBreakingReactor_.off();
    ecPolicy_->policyDelAll();
}

void PolicySelectionSm::handlePolicyIdEntry(PolicyId const& policyId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "handlePolicyIdEntry: " << policyId);
    backlog_.markAndSchedule(policyId);
}

// The binding SID takes no part in the order, so that nothing has to be selected again.
void PolicySelectionSm::handleBindingSid(PolicyId const& policyId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Updating Binding SID for policy Id: " << policyId);
    if (auto const* const idEntry = policySelectionInput_->policyIdEntry(policyId)) {
        ecPolicy_->bindingSidIs(policyId, idEntry->bindingSid);
    }
}

void PolicySelectionSm::handleSegmentListStatus(SegmentListId segmentListId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Applying segmentList status change of SegmentList key: " << segmentListId);
    markUsers(segmentListId);
}

void PolicySelectionSm::handleSegmentListStatusWithSbfd(Sbfd::SbfdKey const& sbfdKey) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Applying segmentList status change of SegmentList key: " << sbfdKey);
    markUsers(sbfdKey);
}

void PolicySelectionSm::handleStaticPolicy(PolicyKey const& key) {
    if (!initialized_) return;

    SRTE_TRACE(8, "handleStaticPolicy: " << key);
    auto const& entries = policySelectionInput_->policyIdEntry();
    for (auto row = entries.lowerBound(PolicyId::lowest(key)); row && row.key().key == key;
         row.next()) {
        backlog_.markAndSchedule(row.key());
    }
}

void PolicySelectionSm::handleTieBreakingLogicChange() {
    if (!initialized_) return;

    SRTE_TRACE(8, "Handling tie-breaking logic change");
    markEveryCandidate();
}

// Also those that stand in the output alone: their entries went while nobody looked.
void PolicySelectionSm::markEveryCandidate() {
    auto const& entries = policySelectionInput_->policyIdEntry();
    for (auto row = entries.begin(); row; row.next()) backlog_.mark(row.key());
    auto const& policies = ecPolicy_->policy();
    for (auto row = policies.begin(); row; row.next()) {
        for (auto const& entry : row.value().candidates()) backlog_.mark(entry.policyId);
        if (row.value().candidates().empty()) {
            SRTE_TRACE(7, "Policy: " << row.key() << " has no candidates and should not exist");
            ecPolicy_->policyDel(row.key());
        }
    }
    if (!backlog_.empty()) backlog_.schedule();
}

// A list without users is not a policy's, or belongs to a candidate that is not registered yet: its
// new version will be told.
void PolicySelectionSm::markUsers(SegmentListId segmentListId) {
    auto const* const user = segmentListIdToPolicyMap_->segmentListUser(segmentListId);
    if (!user) return;
    user->policyId().forEach([this](PolicyId const& id) { backlog_.markAndSchedule(id); });
}

// Other policies have a combined status of their own: a session that many share stays cheap.
void PolicySelectionSm::markUsers(Sbfd::SbfdKey const& sbfdKey) {
    auto const* const user = segmentListIdToPolicyMap_->segmentListUser(sbfdKey.segmentListId);
    if (!user) return;
    auto const key = sbfdKey.policyKey();
    PolicyId id;
    for (bool more = user->policyId().atOrAfter(PolicyId::lowest(key), id); more && id.key == key;
         more = user->policyId().after(id, id)) {
        backlog_.markAndSchedule(id);
    }
}

void PolicySelectionSm::handleTaskRun() {
    if (!initialized_) return;

    auto const run = backlog_.drain(
        [this](PolicyId const& policyId, bool) { processPolicyEntry(policyId); },
        [](PolicyId const& policyId, Quor::RangeError const& error) {
            SRTE_TRACE(6, "handleTaskRun: " << policyId << ": " << error.what());
        },
        [](PolicyId const& next) { SRTE_TRACE(8, "PS sm Bookmark placed at Id: " << next); });
    SRTE_TRACE(9, "Processed " << run.count << " selection entries, delay task: " << run.delayed);
}

void PolicySelectionSm::processPolicyEntry(PolicyId const& policyId) {
    auto const& key = policyId.key;
    auto const* policy = ecPolicy_->policy(key);
    auto const previous = choice(policy);
    bool previousLeaves = updateCandidate(policyId, policy);
    policy = ecPolicy_->policy(key);
    if (!policy) return;
    if (previous && (previousLeaves || policy->best() != policy->active())) {
        previousLeaves |= updatePendingCandidates(key);
        policy = ecPolicy_->policy(key);
    }
    if (!policy->best(previousLeaves ? policy->active() : nullptr)) {
        ecPolicy_->policyDel(key);
        return;
    }
    selectNewActive(key, *policy, previous, previousLeaves);
    if (previousLeaves) ecPolicy_->candidateDel({key, previous->candidate});
}

std::optional<PolicySelectionSm::Choice> PolicySelectionSm::choice(Policy const* policy) {
    auto const* const active = policy ? policy->active() : nullptr;
    if (!active) return std::nullopt;
    return Choice{active->policyId.candidate, active->priority};
}

// Brings one candidate of the output up to date, in `policy` unless that has still to be made. Only
// the active one stays although it has to leave, which is what the result says: its successor must
// be chosen first.
bool PolicySelectionSm::updateCandidate(PolicyId const& policyId, Policy const* policy) {
    auto const* const held = policy ? policy->candidate(policyId.candidate) : nullptr;
    SRTE_TRACE(8, "Process policy Id: " << policyId << (held ? " is updated" : " is added"));

    auto const* const idEntry = policySelectionInput_->policyIdEntry(policyId);
    auto const entry = idEntry ? policyEntry(*idEntry) : PolicyEntry();
    if (!entry.wTunnelId.empty()) {
        if (!policy) ecPolicy_->policyIs(policyId.key);
        ecPolicy_->candidateIs(entry);
        return false;
    }
    if (!held) return false;
    if (held == policy->active()) return true;
    ecPolicy_->candidateDel(policyId);
    return false;
}

bool PolicySelectionSm::updatePendingCandidates(PolicyKey const& key) {
    bool activeLeaves = false;
    auto const& pending = backlog_.pending();
    PolicyId id;
    for (bool more = pending.atOrAfter(PolicyId::lowest(key), id); more && id.key == key;
         more = pending.after(id, id)) {
        backlog_.take(id);
        activeLeaves |= updateCandidate(id, ecPolicy_->policy(key));
    }
    return activeLeaves;
}

// Without tunnels when no list of the candidate is usable.
PolicyEntry PolicySelectionSm::policyEntry(PolicyIdEntry const& idEntry) const {
    auto const& id = idEntry.policyId;
    PolicyEntry entry;
    entry.policyId = id;
    entry.priority = {idEntry.preference, id.candidate.protocol, idEntry.originator,
                      id.candidate.discriminator};
    entry.bindingSid = idEntry.bindingSid;
    entry.enlp = idEntry.enlp;
    bool const sbfd = config_->sbfdConfigured(id.key);
    for (auto const& [segmentListId, weight] : idEntry.wSegmentList) {
        if (segListStatusValid(segmentListId, id.key, sbfd)) {
            entry.wTunnelId.push_back({segmentListId.getTunnelId(), weight});
        }
    }
    return entry;
}

bool PolicySelectionSm::segListStatusValid(SegmentListId segmentListId, PolicyKey const& key,
                                           bool sbfd) const {
    auto const status =
        sbfd ? segmentListStatus_->statusWithSbfd(Sbfd::SbfdKey::of(key, segmentListId))
             : segmentListStatus_->status(segmentListId);
    return status == SegmentListResolveError::noError;
}

void PolicySelectionSm::selectNewActive(PolicyKey const& key, Policy const& policy,
                                        std::optional<Choice> const& previous,
                                        bool previousLeaves) {
    QUOR_ASSERT(!policy.candidates().empty(), "policy->candidates()");
    auto const& best = *policy.best(previousLeaves ? policy.active() : nullptr);
    if (previous && previous->candidate == best.policyId.candidate &&
        previous->priority == best.priority) {
        SRTE_TRACE(7, "Policy: " << key << ", Pri: [" << best.priority << "] retained as active");
        return;
    }
    ecPolicy_->activeIs(best.policyId);
    SRTE_TRACE(7, "Policy: " << key << ", Pri : [" << ecPolicy_->policy(key)->active()->priority
                             << "] is the new active");
}

void PolicySelectionSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cTask Dump:\n", indentCount, ' ');
    if (auto const* const task = backlog_.task()) Keel::dumpTaskTimer(ctx, indentCount + 2, *task);

    auto const& pending = backlog_.pending();
    ctx.print("%*cpendingPolicyId #%u \n", indentCount, ' ', static_cast<unsigned>(pending.size()));
    PolicyId id;
    for (bool more = pending.first(id); more; more = pending.after(id, id)) {
        ctx.print("%*cPolicy Id: %s\n", indentCount + 2, ' ', id.stringValue().c_str());
    }
    ctx.print("%*cpendingBookmark: %s \n", indentCount, ' ',
              backlog_.bookmark() ? backlog_.bookmark()->stringValue().c_str() : "");

    auto const& policies = ecPolicy_->policy();
    ctx.print("%*cecPolicy #%u \n", indentCount, ' ', static_cast<unsigned>(policies.size()));
    for (auto row = policies.begin(); row; row.next()) {
        ctx.print("%*cPolicy: %s\n", indentCount + 2, ' ', row.key().stringValue().c_str());
        for (auto const& entry : row.value().candidates()) {
            bool const active = &entry == row.value().active();
            ctx.print("%*cPri: [%s]%s\n", indentCount + 4, ' ',
                      entry.priority.stringValue().c_str(), active ? " active" : "");
        }
    }
}

Quor::Ptr<PolicySelectionSm> policySelectionSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<SegmentListStatus const> segmentListStatus, Quor::Ptr<EcPolicy> ecPolicy,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<Keel::FieldlogSm const> fieldlogSm) {
    return Quor::makePtr<PolicySelectionSm>(std::move(config), std::move(policySelectionInput),
                                            std::move(segmentListIdToPolicyMap),
                                            std::move(segmentListStatus), std::move(ecPolicy),
                                            std::move(taskScheduler), std::move(fieldlogSm));
}

}  // namespace SrTePolicy
