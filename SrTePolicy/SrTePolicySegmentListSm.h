#pragma once

#include <string>

#include "Platform/Keel/Backlog.h"
#include "Platform/Tunnel/SrTeSegmentListTunnelTable.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTePolicy/SrTePolicySegmentListResolver.h"
#include "SrTePolicy/SrTePolicySegmentUser.h"
#include "SrTeTypes/ExportedSegmentList.h"
#include "SrTeTypes/SegmentListStatus.h"

namespace SrTePolicy {

/// Keeps the status, the tunnel and the exported copy of every live segment list.
///
///   reads   the live lists; SegmentStatus; the hardware's depth; the TI-LFA tunnels, unwatched
///   writes  SegmentListStatus.status, the segment-list tunnel table, the exported lists
///   runs    in the handler for a new or a dead list, else in its task ("SegmentListSm")
///
/// A tunnel is written before its status says usable, and goes before the status does: what
/// selection takes for usable always has a tunnel. Outputs of an earlier run stay until the first
/// backlog has drained; then those that no live list claimed go.
class SRTE_EXPORT SegmentListSm final : public Quor::PtrInterface {
public:
    using Notifier = Quor::Ptr<SegmentListLifeTimeNotifier const>;

    SegmentListSm(Quor::Ptr<NotifyingSegmentListCollection const> notifyingSegmentList,
                  Quor::Ptr<SegmentStatus const> segmentStatus,
                  Quor::Ptr<SegmentListStatus> segmentListStatus,
                  Quor::Ptr<Export::SegmentListCollection> exportedSegmentListColl,
                  Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable const> tilfaTunnelTable,
                  Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable> segmentListTunnelTable,
                  Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                  Quor::Ptr<CoreDedupTables const> coreDedupTables,
                  Quor::Ptr<Routing::Hardware::Status const> routingHwStatus,
                  Quor::Ptr<Keel::FieldlogSm> fieldlogSm);

    void handleInitialized();
    /// Empties the tunnel table, the status and the exported lists, in this order.
    void handleDel();
    /// No list waits, and nothing of an earlier run is left to remove.
    bool drained() const { return backlog_.empty() && !cleanupPending_; }

    /// A list that came or went.
    void handleSegmentList(Notifier const& notifier);
    void handleSegmentStatus(SegmentId segmentId);
    void handlePlatformMaxLabelStackSize();
    void handleTaskRun();

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    using HardwareReactor = Quor::AttributeReactor;

    void markLeftovers();
    void addAllSlsToBacklog();
    void claimSegmentList(SegmentList const& list);
    void exportSegmentList(SegmentList const& list);
    void mapSegmentIdUsers(SegmentList const& list) { segmentIdToSegmentList_.map(list); }
    void unmapSegmentIdUsers(SegmentList const& list) { segmentIdToSegmentList_.unmap(list); }
    SegmentList const* lookupSegmentListById(SegmentListId id) const;

    void processSegmentListById(SegmentListId id);
    void processSegmentList(SegmentList const& list);
    void updateSegmentListStatus(SegmentList const& list, SegmentListResolveResult const& res);
    void updateTunnelTable(Tunnel::TunnelTable::TunnelId tunnelId, MplsViaSet const& vias,
                           Pooltab::Fib::FecId fecId);
    void removeSegmentListStatus(SegmentList const& list);
    void removeSegmentListStatusById(SegmentListId id);
    void cleanupJob();

    Quor::Ptr<NotifyingSegmentListCollection const> const notifyingSegmentList_;
    Quor::Ptr<SegmentStatus const> const segmentStatus_;
    Quor::Ptr<SegmentListStatus> const segmentListStatus_;
    Quor::Ptr<Export::SegmentListCollection> const exportedSegmentListColl_;
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable> const segmentListTunnelTable_;
    Quor::Ptr<CoreDedupTables const> const coreDedupTables_;
    SegmentListResolver const resolver_;

    bool initialized_ = false;
    SegmentIdToSegmentList segmentIdToSegmentList_;
    // Identities, not references: a list that its owners let go leaves at once, also while the log
    // is clogged, and is not resolved for nobody.
    Keel::Backlog<Keel::IdSet<SegmentListId>> backlog_;
    Keel::IdSet<SegmentListId> unusedSegmentListIds_;
    bool cleanupPending_ = false;

    // Declared last, destroyed first: no event reaches a half-destroyed machine.
    Quor::Reactor<Notifier> segmentListReactor_;
    Quor::Reactor<SegmentId> segmentStatusReactor_;
    std::optional<HardwareReactor> hardwareReactor_;
};

/// `routingHwStatus` may be null: then depths go unchecked.
SRTE_EXPORT Quor::Ptr<SegmentListSm> segmentListSmFactory(
    Quor::Ptr<NotifyingSegmentListCollection const> notifyingSegmentList,
    Quor::Ptr<SegmentStatus const> segmentStatus, Quor::Ptr<SegmentListStatus> segmentListStatus,
    Quor::Ptr<Export::SegmentListCollection> exportedSegmentListColl,
    Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable const> tilfaTunnelTable,
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable> segmentListTunnelTable,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<Routing::Hardware::Status const> routingHwStatus,
    Quor::Ptr<Keel::FieldlogSm> fieldlogSm);

}  // namespace SrTePolicy
