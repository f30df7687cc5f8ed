#include "SrTePolicy/SrTePolicyTunnelMapExportSm.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/TaskDump.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicyTunnelMapExportSm");

// Between two looks at the counters of the tunnels that wait, in seconds.
constexpr double delayTime = 1.0;

PolicyTunnelInfo tunnelInfo(PolicyIdEntry const& entry) {
    PolicyTunnelInfo tunnels;
    for (auto const& list : entry.wSegmentList) tunnels.push_back(list.segmentListId.getTunnelId());
    std::ranges::sort(tunnels);
    auto const* const end = std::unique(tunnels.begin(), tunnels.end());
    while (tunnels.end() != end) tunnels.pop_back();
    return tunnels;
}

}  // namespace

TunnelMapExportSm::TunnelMapExportSm(Quor::Ptr<PolicySelectionInput const> policySelectionInput,
                                     Quor::Ptr<TunnelIdToPolicyKey> tunnelIdToPolicyKey,
                                     Quor::Ptr<Tunnel::CounterTable const> counterTable,
                                     Quor::Ptr<Keel::TaskScheduler> taskScheduler)
    : policySelectionInput_(std::move(policySelectionInput)),
      tunnelIdToPolicyKey_(std::move(tunnelIdToPolicyKey)),
      tunnelCounter_(std::move(counterTable)),
      taskScheduler_(std::move(taskScheduler)),
      policyIdEntryReactor_(
          policySelectionInput_->entrySubject(), this,
          [](TunnelMapExportSm& self, PolicyId const& id) { self.handlePolicyEntry(id); }) {}

TunnelMapExportSm::~TunnelMapExportSm() {
    if (task_) task_->unscheduleTask();
}

// The users of every tunnel are known before the first row is looked at, so that a row of an
// earlier run keeps its policy when that is one of them.
void TunnelMapExportSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    task_ = Quor::makePtr<Keel::TimerTask>(taskScheduler_, "TunnelExportSmTask",
                                           Keel::TaskPriority::normal, [this] { handleTaskRun(); });
    auto const& entries = policySelectionInput_->policyIdEntry();
    for (auto row = entries.begin(); row; row.next()) updatePolicyTunnelInfo(row.key());
    for (auto use = tunnelUse_.begin(); use; use.next()) processTunnel(use.key().tunnelId);
    auto const& rows = tunnelIdToPolicyKey_->entry();
    for (auto row = rows.begin(); row; row.next()) processTunnel(row.key());
}

void TunnelMapExportSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;
    task_->unscheduleTask();
    task_ = nullptr;
    policyIdEntryReactor_.off();
    pendingTunnel_.clear();
    pendingBookmark_.reset();
    tunnelUse_.clear();
    policyTunnelInfo_.clear();
    tunnelIdToPolicyKey_->entryDelAll();
}

// Tunnels that begin to be used get their rows before others lose theirs.
void TunnelMapExportSm::handlePolicyEntry(PolicyId const& policyId) {
    if (!initialized_) return;

    auto const change = updatePolicyTunnelInfo(policyId);
    for (auto const tunnelId : change.added) processTunnel(tunnelId);
    for (auto const tunnelId : change.dropped) processTunnel(tunnelId);
    SRTE_TRACE(
        8, "Policy Id: " << policyId
                         << (policySelectionInput_->policyIdEntry(policyId) ? " has been updated"
                                                                            : " has been removed"));
}

// Writes no row: a write may call back, and must find the users of all tunnels.
TunnelMapExportSm::PolicyTunnelChange TunnelMapExportSm::updatePolicyTunnelInfo(
    PolicyId const& policyId) {
    auto const* const entry = policySelectionInput_->policyIdEntry(policyId);
    auto const* const info = policyTunnelInfo_.find(policyId);
    auto const wanted = entry ? tunnelInfo(*entry) : PolicyTunnelInfo();
    auto const held = info ? *info : PolicyTunnelInfo();

    PolicyTunnelChange change;
    std::ranges::set_difference(wanted, held, std::back_inserter(change.added));
    std::ranges::set_difference(held, wanted, std::back_inserter(change.dropped));
    for (auto const tunnelId : change.added) tunnelUse_.tryEmplace({tunnelId, policyId});
    for (auto const tunnelId : change.dropped) tunnelUse_.erase({tunnelId, policyId});
    if (entry) {
        *policyTunnelInfo_.tryEmplace(policyId).first = wanted;
    } else {
        policyTunnelInfo_.erase(policyId);
    }
    return change;
}

// Brings one row up to date with the tunnel's users and, when it has none, with its counter.
void TunnelMapExportSm::processTunnel(TunnelId tunnelId) {
    if (!initialized_) return;  // an earlier row of the same event ended the machine

    auto const key = rightfulKey(tunnelId);
    if (!key) {
        checkAndRemoveTunnel(tunnelId);
        return;
    }
    pendingTunnelDel(tunnelId);
    if (tunnelIdToPolicyKey_->entryIs({tunnelId, *key})) {
        SRTE_TRACE(
            7, "Mapping tunnel " << tunnelId.stringValue() << " to policy " << key->stringValue());
    }
}

// The policy that the row has to name: the one that it names, if that uses the tunnel, else the
// lowest that does, if any.
std::optional<PolicyKey> TunnelMapExportSm::rightfulKey(TunnelId tunnelId) const {
    if (auto const* const row = tunnelIdToPolicyKey_->entry(tunnelId)) {
        auto const user = lowestUser(tunnelId, row->policyKey);
        if (user == row->policyKey) return user;
    }
    return lowestUser(tunnelId, PolicyKey{{}, 0});
}

std::optional<PolicyKey> TunnelMapExportSm::lowestUser(TunnelId tunnelId,
                                                       PolicyKey const& from) const {
    auto const use = tunnelUse_.lowerBound({tunnelId, PolicyId::lowest(from)});
    if (!use || use.key().tunnelId != tunnelId) return std::nullopt;
    return use.key().policyId.key;
}

void TunnelMapExportSm::checkAndRemoveTunnel(TunnelId tunnelId) {
    if (!tunnelCounter_->tunnelCounter(tunnelId)) {
        pendingTunnelDel(tunnelId);
        SRTE_TRACE(7, "Tunnel: " << tunnelId.stringValue() << " is no longer in use");
        tunnelIdToPolicyKey_->entryDel(tunnelId);
    } else if (!pendingTunnel_.has(tunnelId)) {
        SRTE_TRACE(7, "Queueing tunnel " << tunnelId.stringValue()
                                         << " for deletion as it is still in use");
        pendingTunnel_.insert(tunnelId);
        handlePendingTunnelEntry();
    }
}

void TunnelMapExportSm::pendingTunnelDel(TunnelId tunnelId) {
    if (!pendingTunnel_.has(tunnelId)) return;
    pendingTunnel_.erase(tunnelId);
    handlePendingTunnelEntry();
}

// A poll that is armed already stays where it is.
void TunnelMapExportSm::handlePendingTunnelEntry() {
    if (!pendingTunnel_.empty()) {
        task_->scheduleTaskLowestDelay(delayTime);
    } else {
        task_->unscheduleTask();
        pendingBookmark_.reset();
    }
}

void TunnelMapExportSm::handleTaskRun() {
    if (!initialized_) return;

    std::uint64_t count = 0;
    std::uint64_t removed = 0;
    TunnelId tunnelId;
    auto const from = std::exchange(pendingBookmark_, std::nullopt);
    bool more =
        (from && pendingTunnel_.atOrAfter(*from, tunnelId)) || pendingTunnel_.first(tunnelId);
    while (more) {
        ++count;
        if (!tunnelCounter_->tunnelCounter(tunnelId)) {
            ++removed;
            pendingTunnelDel(tunnelId);
            tunnelIdToPolicyKey_->entryDel(tunnelId);
            if (!initialized_) return;  // the write ended the machine
        }
        more = pendingTunnel_.after(tunnelId, tunnelId);
        if (more && task_->taskShouldYield()) {
            pendingBookmark_ = tunnelId;
            break;
        }
    }
    task_->taskWorkCountInc(count);
    SRTE_TRACE(9, "Processed " << count << " pending tunnel entries and removed " << removed
                               << " entries");
    handlePendingTunnelEntry();
}

void TunnelMapExportSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cTask Dump\n", indentCount, ' ');
    if (task_) Keel::dumpTaskTimer(ctx, indentCount, *task_);
    ctx.print("%*cpendingTunnels #%u \n", indentCount, ' ',
              static_cast<unsigned>(pendingTunnel_.size()));
    TunnelId tunnelId;
    for (bool more = pendingTunnel_.first(tunnelId); more;
         more = pendingTunnel_.after(tunnelId, tunnelId)) {
        ctx.print("%*c%llu\n", indentCount, ' ', static_cast<unsigned long long>(tunnelId.value()));
    }
}

Quor::Ptr<TunnelMapExportSm> tunnelMapExportSmFactory(
    Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<PolicyKeyToIdMap const> /*policyKeyToIdMap*/,
    Quor::Ptr<TunnelIdToPolicyKey> tunnelIdToPolicyKey,
    Quor::Ptr<Tunnel::CounterTable const> counterTable,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler) {
    return Quor::makePtr<TunnelMapExportSm>(std::move(policySelectionInput),
                                            std::move(tunnelIdToPolicyKey), std::move(counterTable),
                                            std::move(taskScheduler));
}

}  // namespace SrTePolicy
