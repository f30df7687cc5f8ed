#pragma once

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"
#include "SrTePolicy/GribiTypes.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTeTypes/ExportedSegmentList.h"
#include "SrTeTypes/GribiAfts.h"
#include "SrTeTypes/GribiStatus.h"
#include "SrTeTypes/SegmentListStatus.h"

namespace Gribi {

/// Turns every next hop into a segment list of its own, which the segment-list machine resolves
/// like any policy's.
///
///   reads   NhAft; SegmentListStatus; the exported lists
///   writes  the two maps between next hops and lists; NhToTunnelMap
///   runs    inside its reactors: it has no task
///
/// A next hop that is written again always goes and comes back, as a new list. When it goes, its
/// groups and the tunnel map let go of the list before the list ends: no FEC is left over a tunnel
/// that has gone.
class SRTE_EXPORT NhConfigSm final : public Quor::PtrInterface {
public:
    NhConfigSm(Quor::Ptr<NhAft const> nhAft,
               Quor::Ptr<SrTePolicy::CoreDedupTables const> coreDedupTables,
               Quor::Ptr<NexthopIdToSegmentListMap> nhToSlMap,
               Quor::Ptr<SegmentListIdToNexthopIdMap> slToNhMap,
               Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
               Quor::Ptr<SrTePolicy::SegmentListStatus const> segmentListStatus,
               Quor::Ptr<SrTePolicy::Export::SegmentListCollection const> segmentListExport);

    // Life: inert until handleInitialized, which ends by removing what an earlier run left in the
    // tunnel map. handleDel empties the tunnel map, then the map by list, then the one by next hop.
    void handleInitialized();
    void handleDel();

    // Events.
    void handleNhAftEntry(NextHopId nextHopId);
    void handleSegmentListStatusUpdate(SrTePolicy::SegmentListId slId);

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    void createNhAftEntry(NextHopId nextHopId);
    void deleteNhAftEntry(NextHopId nextHopId);
    void updateTunnelMap(NextHopId nextHopId, SrTePolicy::SegmentListId slId);
    void cleanupTunnelMap();

    Quor::Ptr<NhAft const> const nhAft_;
    Quor::Ptr<SrTePolicy::CoreDedupTables const> const coreDedupTables_;
    Quor::Ptr<NexthopIdToSegmentListMap> const nhToSlMap_;
    Quor::Ptr<SegmentListIdToNexthopIdMap> const slToNhMap_;
    Quor::Ptr<NhToTunnelMap> const gribiNhToTunnelMap_;
    Quor::Ptr<SrTePolicy::SegmentListStatus const> const segmentListStatus_;
    Quor::Ptr<SrTePolicy::Export::SegmentListCollection const> const segmentListExport_;

    bool initialized_ = false;

    Quor::Reactor<NextHopId> nhAftReactor_;
    Quor::Reactor<SrTePolicy::SegmentListId> statusReactor_;
};

SRTE_EXPORT Quor::Ptr<NhConfigSm> nhConfigSmFactory(
    Quor::Ptr<NhAft const> nhAft, Quor::Ptr<SrTePolicy::CoreDedupTables const> coreDedupTables,
    Quor::Ptr<NexthopIdToSegmentListMap> nhToSlMap,
    Quor::Ptr<SegmentListIdToNexthopIdMap> slToNhMap, Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
    Quor::Ptr<SrTePolicy::SegmentListStatus const> segmentListStatus,
    Quor::Ptr<SrTePolicy::Export::SegmentListCollection const> segmentListExport);

}  // namespace Gribi
