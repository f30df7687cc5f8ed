#include "SrTePolicy/SrTePolicyPublishSm.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Quor/Assert.h"
#include "Platform/Quor/RangeError.h"
#include "Platform/Syslog/Syslog.h"

namespace SrTePolicy {
namespace {

using Pooltab::Fib::FecId;

Fastlog::Facility traceFacility("SrTePolicyPublishSm");

Syslog::Message const conflictBsidInUse(
    "SRTE_POLICY_CONFLICT_BSID_IN_USE",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable, "
    "BSID(%u) already present, conflicts with Endpoint %s, color %u, protocol %s, originator "
    "%s(AS%u), discriminator %u",
    "Policy received has the same Binding SID as an existing policy",
    "Binding SID needs to unique across all policies");

// In seconds, for a run that is delayed. Nothing delays publishing: it has no log to wait for.
constexpr double delayTime = 0.1;

bool names(PolicyStatusEntry const& entry, FecId fecId) {
    return fecId == entry.labelFecId || fecId == entry.v4FecId || fecId == entry.v6FecId;
}

// Calls `action` once for each FEC that `entry` names and `other` does not.
template <class Action>
void forEachFecId(PolicyStatusEntry const& entry, PolicyStatusEntry const& other,
                  Action const& action) {
    FecId const fecIds[] = {entry.labelFecId, entry.v4FecId, entry.v6FecId};
    for (auto const* fecId = std::begin(fecIds); fecId != std::end(fecIds); ++fecId) {
        bool const seen = std::find(std::begin(fecIds), fecId, *fecId) != fecId;
        if (!seen && !fecId->isNone() && !names(other, *fecId)) action(*fecId);
    }
}

}  // namespace

PolicyPublishSm::PolicyPublishSm(
    FecIdRange fecIdRange, Quor::Ptr<EcPolicy const> ecPolicy,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<PolicyStatus> status,
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus,
    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> policyTunnelTable,
    Quor::Ptr<Config const> config)
    : ecPolicy_(std::move(ecPolicy)),
      taskScheduler_(std::move(taskScheduler)),
      status_(std::move(status)),
      fwdStatus_(std::move(fwdStatus)),
      policyTunnelTable_(std::move(policyTunnelTable)),
      staticCfg_(std::move(config)),
      fecWriter_(fecIdRange, fwdStatus_),
      backlog_(taskScheduler_, nullptr),
      policyReactor_(ecPolicy_->policySubject(), this,
                     [](auto& self, auto const& key) { self.handlePolicy(key); }),
      activeReactor_(ecPolicy_->activeSubject(), this,
                     [](auto& self, auto const& key) { self.handlePolicy(key); }),
      activeEntryReactor_(ecPolicy_->activeEntrySubject(), this,
                          [](auto& self, auto const& key) { self.handlePolicy(key); }),
      coloredRibReactor_(staticCfg_->coloredRib, this,
                         [](auto& self, auto) { self.handlePopulateColoredRib(); }),
      coloredRibPreferenceReactor_(staticCfg_->coloredRibPreference, this,
                                   [](auto& self, auto) { self.handlePopulateColoredRib(); }) {}

void PolicyPublishSm::handleInitialized() {
    if (initialized_) return;

    backlog_.start("PublishSmTask", [this] { handleTaskRun(); });
    initialized_ = true;
    fecWriter_.initializeNumAllocator();
    rebuildLocalCache();
    sweepPolicyTunnels();
    fecWriter_.reserveFecIds(status_->fecIdToPolicyKey());
    auto const& policies = ecPolicy_->policy();
    for (auto policy = policies.begin(); policy; policy.next()) backlog_.mark(policy.key());
    backlog_.schedule();
}

// What was published stays, holds its binding SID, and is processed anew.
void PolicyPublishSm::rebuildLocalCache() {
    auto const& entries = status_->policyStatusEntry();
    for (auto row = entries.begin(); row; row.next()) {
        PolicyStatusEntry const entry = row.value();
        updateFecIdToPolicyKey(entry);
        if (!entry.bindingSid.isNull()) claims_.request(entry.bindingSid, entry.key);
        backlog_.mark(entry.key);
    }
    auto const& rows = status_->fecIdToPolicyKey();
    for (auto row = rows.begin(); row; row.next()) {
        auto const* const entry = entries.find(row.value());
        if (!entry || !names(*entry, row.key())) status_->fecIdToPolicyKeyDel(row.key());
    }
}

void PolicyPublishSm::sweepPolicyTunnels() {
    auto const& tunnels = policyTunnelTable_->entry();
    for (auto row = tunnels.begin(); row; row.next()) {
        auto const fecId =
            FecId::fecIdForAdjType(Pooltab::Fib::AdjType::srTePolicy, row.key().index());
        auto const* const key = status_->fecIdToPolicyKey().find(fecId);
        auto const* const entry = key ? status_->policyStatusEntry().find(*key) : nullptr;
        bool const used =
            entry && entry->labelFecId == fecId && row.key() == fecId.fecIdToTunnelId();
        if (!used) policyTunnelTable_->entryDel(row.key());
    }
}

void PolicyPublishSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;

    backlog_.stop();
    coloredRibBookmark_.reset();
    for (auto* const reactor : {&policyReactor_, &activeReactor_, &activeEntryReactor_}) {
        reactor->off();
    }
    coloredRibReactor_.off();
    coloredRibPreferenceReactor_.off();

    status_->policyStatusEntryDelAll();
    policyTunnelTable_->entryDelAll();
    auto const& rows = status_->fecIdToPolicyKey();
    for (auto row = rows.begin(); row; row.next()) fwdStatus_->fecDel(row.key());
    status_->fecIdToPolicyKeyDelAll();
}

void PolicyPublishSm::handlePolicy(PolicyKey const& key) {
    if (!initialized_) return;

    SRTE_TRACE(8, "handlePolicy: " << key);
    backlog_.markAndSchedule(key);
}

void PolicyPublishSm::handlePopulateColoredRib() {
    if (!initialized_) return;

    SRTE_TRACE(8, "handlePopulateColoredRib: " << staticCfg_->coloredRib());
    auto const first = status_->policyStatusEntry().begin();
    if (!first) return;
    coloredRibBookmark_ = first.key();
    backlog_.schedule();
}

void PolicyPublishSm::handleTaskRun() {
    auto const run = backlog_.drain(
        [this](PolicyKey const& key, bool) { processPolicy(key); },
        [](PolicyKey const& key, Quor::RangeError const& error) {
            SRTE_TRACE(7, "Policy: " << key << " failed: " << error.what());
        },
        [](PolicyKey const& key) { SRTE_TRACE(9, "Bookmark placed at policy: " << key); });
    SRTE_TRACE(9, "Processed " << run.count << " publish entries, delay task: " << run.delayed);
    walkColoredRib();
}

void PolicyPublishSm::processPolicy(PolicyKey const& key) {
    auto const old = status_->policyStatusEntry(key);
    auto const active = publishable(key);
    auto const held = claims_.bindingSid(key);

    bool granted = active.has_value();
    if (active) {
        if (!active->bindingSid.isNull()) granted = claims_.request(active->bindingSid, key);
        if (!held.isNull() && held != active->bindingSid) releaseBindingSid(held, key);
    }
    if (granted) {
        publish(key, *active, old);
        return;
    }
    if (old) withdraw(old);
    if (active) {
        emitBsidConflictSyslog(key, *active);
    } else if (!held.isNull()) {
        releaseBindingSid(held, key);
    }
}

// The active candidate, if FECs can express it; their vias are ready then. This is known before
// anything is claimed, allocated or written for the policy.
std::optional<PolicyPublishSm::Publishable> PolicyPublishSm::publishable(PolicyKey const& key) {
    auto const* const policy = ecPolicy_->policy(key);
    auto const* const active = policy ? policy->active() : nullptr;
    if (!active) return std::nullopt;
    try {
        fecWriter_.viasAre(active->wTunnelId);
    } catch (Quor::RangeError const& error) {
        SRTE_TRACE(7, "Policy: " << key << " cannot be published: " << error.what());
        return std::nullopt;
    }
    return Publishable{active->policyId.candidate, active->bindingSid, active->enlp};
}

void PolicyPublishSm::publish(PolicyKey const& key, Publishable const& active,
                              PolicyStatusEntry const& old) {
    PolicyStatusEntry entry;
    entry.key = key;
    entry.candidate = active.candidate;
    entry.bindingSid = active.bindingSid;
    entry.labelFecId = fecWriter_.labelFecId(old);
    entry.v4FecId = fecWriter_.v4FecId(key.endpoint, active.enlp, old, entry.labelFecId);
    entry.v6FecId = fecWriter_.v6FecId(key.endpoint, active.enlp, old, entry.labelFecId);
    bool const sameCandidate = old && entry.candidate == old.candidate;
    entry.changeTime = sameCandidate ? old.changeTime : taskScheduler_->clock().systemTime();

    status_->policyStatusEntryIs(entry);
    updateFecIdToPolicyKey(entry);
    forEachFecId(old, entry, [this](FecId fecId) {
        status_->fecIdToPolicyKeyDel(fecId);
        fecWriter_.deleteSrTePolicyFec(fecId);
    });
    SRTE_TRACE(7, "Policy: " << key << " Candidate: " << entry.candidate << " is now active ");
    handlePopulateColoredRib(entry, staticCfg_->coloredRib());
}

void PolicyPublishSm::withdraw(PolicyStatusEntry const& old) {
    SRTE_TRACE(7, "Policy: " << old.key << " will be removed");
    PolicyStatusEntry const none;
    handlePopulateColoredRib(old, false);
    forEachFecId(old, none, [this](FecId fecId) { fecWriter_.deleteSrTePolicyFec(fecId); });
    forEachFecId(old, none, [this](FecId fecId) { status_->fecIdToPolicyKeyDel(fecId); });
    status_->policyStatusEntryDel(old.key);
}

void PolicyPublishSm::releaseBindingSid(Wirex::MplsLabel bsid, PolicyKey const& key) {
    if (auto const waiting = claims_.release(bsid, key)) backlog_.markAndSchedule(*waiting);
}

void PolicyPublishSm::emitBsidConflictSyslog(PolicyKey const& key,
                                             Publishable const& refused) const {
    auto const chosen = claims_.chosen(refused.bindingSid);
    auto const* const chosenStatusEntry =
        chosen ? status_->policyStatusEntry().find(*chosen) : nullptr;
    QUOR_ASSERT(chosenStatusEntry, "!!chosenStatusEntry: Chosen policy does not exist in status");
    auto const& holder = chosenStatusEntry->candidate;
    auto const& candidate = refused.candidate;
    Syslog::emit(conflictBsidInUse, key.endpoint.stringValue(), key.color,
                 protocolEnumToString(candidate.protocol), candidate.originator.stringValue(),
                 candidate.originatorAs, candidate.discriminator, refused.bindingSid.value(),
                 chosen->endpoint.stringValue(), chosen->color,
                 protocolEnumToString(holder.protocol), holder.originator.stringValue(),
                 holder.originatorAs, holder.discriminator);
}

void PolicyPublishSm::updateFecIdToPolicyKey(PolicyStatusEntry const& entry) {
    forEachFecId(entry, PolicyStatusEntry(),
                 [&](FecId fecId) { status_->fecIdToPolicyKeyIs(fecId, entry.key); });
}

void PolicyPublishSm::handlePopulateColoredRib(PolicyStatusEntry const& entry, bool add) {
    if (entry.labelFecId.isNone()) return;

    auto const tunnelId = entry.labelFecId.fecIdToTunnelId();
    if (add) {
        SRTE_TRACE(7, "Adding policy: " << entry.key << " to the policy tunnel table");
        policyTunnelTable_->entryIs({tunnelId, Wirex::IpGenPrefix::fullLength(entry.key.endpoint),
                                     entry.key.color, staticCfg_->coloredRibPreference()});
    } else {
        SRTE_TRACE(7, "Removing policy: " << entry.key << " from the policy tunnel table");
        policyTunnelTable_->entryDel(tunnelId);
    }
}

// The bookmark moves on before an entry is written: the write may begin the walk anew.
void PolicyPublishSm::walkColoredRib() {
    auto const& entries = status_->policyStatusEntry();
    std::uint64_t count = 0;
    while (initialized_ && coloredRibBookmark_) {
        auto row = entries.lowerBound(*std::exchange(coloredRibBookmark_, std::nullopt));
        if (!row) break;
        PolicyStatusEntry const entry = row.value();
        row.next();
        if (row) coloredRibBookmark_ = row.key();
        handlePopulateColoredRib(entry, staticCfg_->coloredRib());
        ++count;
        if (backlog_.shouldYield()) break;
    }
    if (count == 0 || !initialized_) return;
    backlog_.task()->taskWorkCountInc(count);
    SRTE_TRACE(9, "Processed " << count << " colored RIB entries");
    if (coloredRibBookmark_) backlog_.schedule();
}

void PolicyPublishSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    auto const* const task = backlog_.task();
    ctx.print("%*cTask Dump: \n", indentCount, ' ');
    if (task) {
        ctx.print("%*ctaskName: %s, taskPriority: %u, currentExpirationTime: %f\n", indentCount,
                  ' ', task->name().c_str(), static_cast<unsigned>(task->priority()),
                  task->currentExpirationTime());
    }
    ctx.print("%*cdelayTime#: %f\n", indentCount, ' ', delayTime);
    auto const& pending = backlog_.pending();
    ctx.print("%*cpendingPolicies #%u \n", indentCount, ' ', static_cast<unsigned>(pending.size()));
    PolicyKey key;
    for (bool more = pending.first(key); more; more = pending.after(key, key)) {
        ctx.print("%*cPolicy: %s\n", indentCount, ' ', key.stringValue().c_str());
    }
    ctx.print("%*cpendingBookmark: %s \n", indentCount, ' ',
              backlog_.bookmark().value_or(PolicyKey()).stringValue().c_str());
    claims_.dumpState(ctx, indentCount);
}

Quor::Ptr<PolicyPublishSm> policyPublishSmFactory(
    FecIdRange fecIdRange, Quor::Ptr<EcPolicy const> ecPolicy,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<PolicyStatus> status,
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus,
    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> policyTunnelTable,
    Quor::Ptr<Config const> config) {
    return Quor::makePtr<PolicyPublishSm>(fecIdRange, std::move(ecPolicy), std::move(taskScheduler),
                                          std::move(status), std::move(fwdStatus),
                                          std::move(policyTunnelTable), std::move(config));
}

}  // namespace SrTePolicy
