#pragma once

#include "Platform/Keel/DumpContext.h"
#include "Platform/Mpls/LfibTrackingStatus.h"
#include "Platform/Quor/Reactor.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"

namespace SrTePolicy {

/// Keeps `SegmentStatus` equal to the LFIB resolution of every live segment. A segment has a record
/// exactly when the resolver found its via set.
///
///   reads   the live segments; LFIB routes, one label at a time
///   writes  SegmentStatus, as its only writer
///   runs    inside its reactors: it has no task and no backlog
class SRTE_EXPORT SegmentSm final : public Quor::PtrInterface {
public:
    using Notifier = Quor::Ptr<SegmentLifeTimeNotifier const>;

    SegmentSm(Quor::Ptr<NotifyingSegmentCollection const> notifyingSegment,
              Quor::Ptr<Mpls::LfibStatus const> lfib,
              Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
              Quor::Ptr<SegmentStatus> segmentStatus,
              Quor::Ptr<CoreDedupTables const> coreDedupTables,
              Quor::Ptr<SegmentResolver const> segmentResolver);

    /// Resolves every live segment anew, from an empty status.
    void handleInitialized();
    /// Empties the status.
    void handleDel();

    /// Every live segment.
    void handleSegment();
    /// One that came or went.
    void handleSegment(Notifier const& notifier);
    void handleLFibRoute(Mpls::RouteKey const& routeKey);

    void processSegment(Quor::Ptr<SegmentBase const> const& segment);
    void updateSegmentStatus(Quor::Ptr<SegmentBase const> const& segment,
                             Quor::Ptr<SegmentViaInfo const> const& viaInfo,
                             SegmentResolveState state);

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::Ptr<NotifyingSegmentCollection const> const notifyingSegment_;
    Quor::Ptr<Mpls::LfibStatus const> const lfib_;
    Quor::Ptr<Mpls::LfibTrackingStatus const> const lfibTrackingStatus_;
    Quor::Ptr<SegmentStatus> const segmentStatus_;
    Quor::Ptr<CoreDedupTables const> const coreDedupTables_;
    Quor::Ptr<SegmentResolver const> const segmentResolver_;

    bool initialized_ = false;

    // Declared last, destroyed first: no event reaches a half-destroyed machine.
    Quor::Reactor<Notifier> segmentReactor_;
    Quor::Reactor<Mpls::RouteKey> routeReactor_;
};

SRTE_EXPORT Quor::Ptr<SegmentSm> segmentSmFactory(
    Quor::Ptr<NotifyingSegmentCollection const> notifyingSegment,
    Quor::Ptr<Mpls::LfibStatus const> lfib,
    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
    Quor::Ptr<SegmentStatus> segmentStatus, Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<SegmentResolver const> segmentResolver);

}  // namespace SrTePolicy
