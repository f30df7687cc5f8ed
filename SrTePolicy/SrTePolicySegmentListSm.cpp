#include "SrTePolicy/SrTePolicySegmentListSm.h"

#include <span>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/TaskDump.h"

namespace SrTePolicy {
namespace {

using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::SrTeSegmentListTunnelTable;
using Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry;
using Tunnel::TunnelTable::TiLfaTunnelTable;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

Fastlog::Facility traceFacility("SrTePolicySegmentListSm");

// The list whose tunnel this is; other applications' tunnels may share the table.
std::optional<SegmentListId> segmentListOf(TunnelId tunnelId) {
    if (tunnelId.type() != TunnelType::srTeSegmentList || tunnelId.index() > maxU32()) {
        return std::nullopt;
    }
    return SegmentListId(static_cast<std::uint32_t>(tunnelId.index()));
}

// One via that points at the FEC, below which it still writes the list's labels.
MplsVia viaOverFec(MplsViaSet const& vias, Pooltab::Fib::FecId fecId) {
    MplsVia via;
    via.operation = vias.via().front().operation;
    if (fecId.isTunnel()) {
        auto const tunnelId = fecId.fecIdToTunnelId();
        SRTE_TRACE(8, "Update Tunnel Table TID with tunnel Id (Optimized), " << tunnelId);
        via.intf = Wirex::IntfId::dynamicTunnel(tunnelId.value());
    } else {
        auto const converted = fecId.forTunnel();
        SRTE_TRACE(8, "Update Tunnel Table TID with fecId (Optimized), old " << fecId << " new "
                                                                             << converted);
        via.intf = Wirex::IntfId::hierarchicalFec(converted.value());
    }
    return via;
}

}  // namespace

SegmentListSm::SegmentListSm(Quor::Ptr<NotifyingSegmentListCollection const> notifyingSegmentList,
                             Quor::Ptr<SegmentStatus const> segmentStatus,
                             Quor::Ptr<SegmentListStatus> segmentListStatus,
                             Quor::Ptr<Export::SegmentListCollection> exportedSegmentListColl,
                             Quor::Ptr<TiLfaTunnelTable const> tilfaTunnelTable,
                             Quor::Ptr<SrTeSegmentListTunnelTable> segmentListTunnelTable,
                             Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                             Quor::Ptr<CoreDedupTables const> coreDedupTables,
                             Quor::Ptr<Routing::Hardware::Status const> routingHwStatus,
                             Quor::Ptr<Keel::FieldlogSm> fieldlogSm)
    : notifyingSegmentList_(std::move(notifyingSegmentList)),
      segmentStatus_(std::move(segmentStatus)),
      segmentListStatus_(std::move(segmentListStatus)),
      exportedSegmentListColl_(std::move(exportedSegmentListColl)),
      segmentListTunnelTable_(std::move(segmentListTunnelTable)),
      coreDedupTables_(std::move(coreDedupTables)),
      resolver_(segmentStatus_, std::move(tilfaTunnelTable), routingHwStatus),
      backlog_(std::move(taskScheduler), std::move(fieldlogSm)),
      segmentListReactor_(
          notifyingSegmentList_->notifierSubject(), this,
          [](SegmentListSm& self, Notifier const& notifier) { self.handleSegmentList(notifier); }),
      segmentStatusReactor_(
          segmentStatus_->status(), this,
          [](SegmentListSm& self, SegmentId const& id) { self.handleSegmentStatus(id); }) {
    if (routingHwStatus) {
        hardwareReactor_.emplace(
            routingHwStatus->maxLabelPushDepth, this,
            [](SegmentListSm& self, std::monostate) { self.handlePlatformMaxLabelStackSize(); });
    }
}

void SegmentListSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    markLeftovers();
    backlog_.start("SegmentListSm", [this] { handleTaskRun(); });
    addAllSlsToBacklog();
}

void SegmentListSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;
    backlog_.stop();
    segmentListReactor_.off();
    segmentStatusReactor_.off();
    hardwareReactor_.reset();
    segmentIdToSegmentList_.segmentListDelAll();
    unusedSegmentListIds_.clear();
    cleanupPending_ = false;
    segmentListTunnelTable_->entryDelAll();
    segmentListStatus_->statusDelAll();
    exportedSegmentListColl_->segmentListDelAll();
}

// A crash may have hit between two writes: an identity can stand in any of the three outputs alone.
void SegmentListSm::markLeftovers() {
    auto const& status = segmentListStatus_->status();
    for (auto row = status.begin(); row; row.next()) unusedSegmentListIds_.insert(row.key());
    auto const& exported = exportedSegmentListColl_->segmentList();
    for (auto row = exported.begin(); row; row.next()) unusedSegmentListIds_.insert(row.key());
    auto const& tunnels = segmentListTunnelTable_->entry();
    for (auto row = tunnels.begin(); row; row.next()) {
        if (auto const id = segmentListOf(row.key())) unusedSegmentListIds_.insert(*id);
    }
}

void SegmentListSm::addAllSlsToBacklog() {
    auto const& notifiers = notifyingSegmentList_->segmentListNotifier();
    for (auto row = notifiers.begin(); row; row.next()) {
        auto const& list = *row.value()->segmentListRawPtr();
        // Exported and mapped already, unless this is the start.
        if (list.size() == 0 || !segmentIdToSegmentList_.isMapped(list)) claimSegmentList(list);
        backlog_.mark(list.segmentListId());
    }
    cleanupPending_ = true;
    backlog_.schedule();
}

// A live list is never a leftover, whether it resolves or not.
void SegmentListSm::claimSegmentList(SegmentList const& list) {
    exportSegmentList(list);
    mapSegmentIdUsers(list);
    unusedSegmentListIds_.erase(list.segmentListId());
}

void SegmentListSm::exportSegmentList(SegmentList const& list) {
    Export::SegmentList copy;
    copy.segmentListId = list.segmentListId();
    copy.policyId = list.policyId();
    copy.distinguisherId = list.distinguisherId();
    copy.size = list.size();
    for (std::uint32_t i = 0; i < list.size(); ++i) copy.segment[i] = list.segmentLabel(i);
    exportedSegmentListColl_->segmentListIs(copy);
}

void SegmentListSm::handleSegmentList(Notifier const& notifier) {
    if (!initialized_) return;

    auto const& list = *notifier->segmentListRawPtr();
    SRTE_TRACE(8, "handleSegmentList for segmentList: " << list);
    if (notifyingSegmentList_->segmentListNotifier(notifier)) {
        claimSegmentList(list);
        processSegmentList(list);
    } else {
        backlog_.unmark(list.segmentListId());
        exportedSegmentListColl_->segmentListDel(list.segmentListId());
        unmapSegmentIdUsers(list);
        removeSegmentListStatusById(list.segmentListId());
    }
}

void SegmentListSm::handleSegmentStatus(SegmentId segmentId) {
    if (!initialized_) return;

    auto const* const user = segmentIdToSegmentList_.segmentList(segmentId);
    if (!user) return;
    user->segmentListId().forEach([this](SegmentListId id) { backlog_.mark(id); });
    backlog_.schedule();
}

void SegmentListSm::handlePlatformMaxLabelStackSize() {
    if (initialized_) addAllSlsToBacklog();
}

void SegmentListSm::handleTaskRun() {
    auto const run =
        backlog_.drain([this](SegmentListId id, bool) { processSegmentListById(id); },
                       [](SegmentListId id, [[maybe_unused]] Quor::RangeError const& error) {
                           SRTE_TRACE(6, "segment list " << id << ": " << error.what());
                       },
                       [](SegmentListId) {});
    SRTE_TRACE(9, "Processed " << run.count << " segment lists, delay task: " << run.delayed);
    if (backlog_.empty() && cleanupPending_) cleanupJob();
}

SegmentList const* SegmentListSm::lookupSegmentListById(SegmentListId id) const {
    if (!exportedSegmentListColl_->segmentList(id)) {
        SRTE_TRACE(7, "The SegmentList Id " << id << " not found in exported SLs");
        return nullptr;
    }
    auto const* const list = coreDedupTables_->notifyingSegmentListCollection()->segmentList(id);
    if (!list) SRTE_TRACE(7, "The SegmentList Id " << id << " not found in dedup table");
    return list;
}

void SegmentListSm::processSegmentListById(SegmentListId id) {
    if (auto const* const list = lookupSegmentListById(id)) processSegmentList(*list);
}

void SegmentListSm::processSegmentList(SegmentList const& list) {
    auto const res = resolver_.resolveSegmentList(list);
    if (!res) {
        SRTE_TRACE(8, "Remove the Segment List Status for SlId:" << list.segmentListId());
        removeSegmentListStatus(list);
        return;
    }
    resolver_.traceAndSyslogSegmentListResolveError(list, res);
    SRTE_TRACE(8, "Update the Segment List Status for SlId:" << list.segmentListId());
    updateSegmentListStatus(list, *res);
}

void SegmentListSm::updateSegmentListStatus(SegmentList const& list,
                                            SegmentListResolveResult const& res) {
    auto const id = list.segmentListId();
    if (segmentListStatus_->status(id)) {
        SRTE_TRACE(8, "Update existing status for SegmentList: " << id);
    } else {
        SRTE_TRACE(8, "Add new status for SegmentList: " << id);
    }
    if (res.error == SegmentListResolveError::noError) {
        updateTunnelTable(id.getTunnelId(), res.mplsViaSet, res.externalFecId);
    } else {
        segmentListTunnelTable_->entryDel(id.getTunnelId());
    }
    segmentListStatus_->statusIs(id, res.error);
    unusedSegmentListIds_.erase(id);
}

void SegmentListSm::updateTunnelTable(TunnelId tunnelId, MplsViaSet const& vias,
                                      Pooltab::Fib::FecId fecId) {
    SRTE_TRACE(8, "Update Tunnel Table TID " << tunnelId << " With " << vias.via().size() << " vias"
                                             << " fecId " << fecId);
    if (!fecId.isNone()) {
        auto const via = viaOverFec(vias, fecId);
        segmentListTunnelTable_->entryIs(
            SrTeSegmentListTunnelTableEntry(tunnelId, std::span(&via, 1)));
        return;
    }
    SRTE_TRACE(8, "Update Tunnel Table with TID: " << tunnelId);
    segmentListTunnelTable_->entryIs(SrTeSegmentListTunnelTableEntry(tunnelId, vias.via()));
}

void SegmentListSm::removeSegmentListStatus(SegmentList const& list) {
    removeSegmentListStatusById(list.segmentListId());
}

void SegmentListSm::removeSegmentListStatusById(SegmentListId id) {
    SRTE_TRACE(8, "removeSegmentListStatusById for id: " << id);
    segmentListTunnelTable_->entryDel(id.getTunnelId());
    segmentListStatus_->statusDel(id);
}

// In slices, like all work of the task: an earlier run may leave a million lists.
void SegmentListSm::cleanupJob() {
    cleanupPending_ = false;
    SegmentListId id;
    while (unusedSegmentListIds_.first(id)) {
        unusedSegmentListIds_.erase(id);
        SRTE_TRACE(7, "Deleting segmentListId from segmentListStatus:" << id);
        removeSegmentListStatusById(id);
        exportedSegmentListColl_->segmentListDel(id);
        if (backlog_.shouldYield() && !unusedSegmentListIds_.empty()) {
            cleanupPending_ = true;
            backlog_.schedule();
            return;
        }
    }
}

void SegmentListSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cTask Dump: \n", indentCount, ' ');
    if (auto const* const task = backlog_.task()) Keel::dumpTaskStats(ctx, indentCount, *task);
    segmentIdToSegmentList_.dumpState(ctx, indentCount);
    SegmentListId id;
    for (bool more = backlog_.pending().first(id); more; more = backlog_.pending().after(id, id)) {
        if (auto const* const list = notifyingSegmentList_->segmentList(id)) {
            ctx.print("%*c%s\n", indentCount, ' ', list->stringValue().c_str());
        }
    }
}

Quor::Ptr<SegmentListSm> segmentListSmFactory(
    Quor::Ptr<NotifyingSegmentListCollection const> notifyingSegmentList,
    Quor::Ptr<SegmentStatus const> segmentStatus, Quor::Ptr<SegmentListStatus> segmentListStatus,
    Quor::Ptr<Export::SegmentListCollection> exportedSegmentListColl,
    Quor::Ptr<TiLfaTunnelTable const> tilfaTunnelTable,
    Quor::Ptr<SrTeSegmentListTunnelTable> segmentListTunnelTable,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<Routing::Hardware::Status const> routingHwStatus,
    Quor::Ptr<Keel::FieldlogSm> fieldlogSm) {
    return Quor::makePtr<SegmentListSm>(
        std::move(notifyingSegmentList), std::move(segmentStatus), std::move(segmentListStatus),
        std::move(exportedSegmentListColl), std::move(tilfaTunnelTable),
        std::move(segmentListTunnelTable), std::move(taskScheduler), std::move(coreDedupTables),
        std::move(routingHwStatus), std::move(fieldlogSm));
}

}  // namespace SrTePolicy
