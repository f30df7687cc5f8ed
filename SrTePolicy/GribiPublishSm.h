#pragma once

#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/IdSet.h"
#include "Platform/Pooltab/ForwardingStatus.h"
#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"
#include "SrTePolicy/GribiTypes.h"
#include "SrTePolicy/SrTePolicyFecIdRange.h"
#include "SrTeTypes/GribiAfts.h"
#include "SrTeTypes/GribiStatus.h"
#include "SrTeTypes/SegmentListStatus.h"

namespace Gribi {

/// Gives every next-hop group with a usable next hop one FEC, whose vias are the tunnels of its
/// usable next hops with the group's weights.
///
///   reads   NhgAft; the segment list of each next hop and its status
///   writes  the FECs of its range; GribiStatus
///   runs    inside its reactors: it has no task
///
/// A group keeps its FEC id for as long as it has a FEC, also over a restart. A next hop of weight
/// 0 gets no via, and of more next hops than a FEC has room for those of the lowest ids do.
class SRTE_EXPORT PublishSm final : public Quor::PtrInterface {
public:
    PublishSm(SrTePolicy::FecIdRange fecIdRange, Quor::Ptr<NhgAft const> nhgAft,
              Quor::Ptr<GribiStatus> gribiStatus,
              Quor::Ptr<SrTePolicy::SegmentListStatus const> segmentListStatus,
              Quor::Ptr<NexthopIdToSegmentListMap const> nhToSlMap,
              Quor::Ptr<SegmentListIdToNexthopIdMap const> slToNhMap,
              Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus);

    // Life: handleInitialized ends by removing what no group claimed; the factory has called it.
    // handleDel deletes the FECs, then their rows in GribiStatus.
    void handleInitialized();
    void handleDel();

    // Events.
    void handleNhgAftEntry(NextHopGroupId nhgId);
    void handleSegmentListStatusUpdate(SrTePolicy::SegmentListId slId);
    /// The next hop got a segment list or lost it.
    void reEvaluateNextHopGroups(NextHopId nextHopId);

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    using FecIds = Keel::IdSet<Pooltab::Fib::FecId>;

    void reserveFecIds(FecIds& unnamed);
    void cleanupUnusedGribiStatus();
    void cleanupUnnamedFecs(FecIds const& unnamed);

    void updateNhToNhgMapping(NextHopGroupId nhgId);
    void addNhToNhgEntry(NextHopId nextHopId, NextHopGroupId nhgId);
    void removeNhToNhgMapping(NextHopGroupId nhgId);

    void processNextHopGroupUpdate(NextHopGroupId nhgId);
    void collectTunnels(NextHopGroupId nhgId);
    bool tunnelOf(NextHopId nextHopId, Tunnel::TunnelTable::TunnelId& tunnelId) const;
    void createOrUpdateGribiFecEntry(Pooltab::Fib::FecId fecId, TunnelWeightMap const& map);
    void removeGribiFec(Pooltab::Fib::FecId fecId);
    void removeGribiFecAndStatus(NextHopGroupId nhgId);

    Quor::Ptr<SrTePolicy::NumAllocatorForFecId> const numAllocator_;
    Quor::Ptr<NhgAft const> const nhgAft_;
    Quor::Ptr<GribiStatus> const gribiStatus_;
    Quor::Ptr<SrTePolicy::SegmentListStatus const> const segmentListStatus_;
    Quor::Ptr<NexthopIdToSegmentListMap const> const nhToSlMap_;
    Quor::Ptr<SegmentListIdToNexthopIdMap const> const slToNhMap_;
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const fwdStatus_;

    bool initialized_ = false;
    Quor::Ptr<NexthopToNexthopGroupMap> nhToNhgMap_;
    // What nhToNhgMap_ says, by group: a group that changes is not looked for in every next hop.
    Quor::OrderedMap<NextHopGroupId, Quor::InlineVector<NextHopId, 4>> nhgToNhs_;
    Quor::OrderedSet<NextHopGroupId> unusedGribiStatus_;
    TunnelWeightMap tunnelWeightMap_;  // of the group under evaluation

    Quor::Reactor<NextHopGroupId> nhgAftReactor_;
    Quor::Reactor<SrTePolicy::SegmentListId> statusReactor_;
    Quor::Reactor<NextHopId> nhToSlReactor_;
};

/// `fecIdRange` is this machine's alone: FECs in it that `gribiStatus` does not name go. The
/// machine is running when this returns.
SRTE_EXPORT Quor::Ptr<PublishSm> publishSmFactory(
    SrTePolicy::FecIdRange fecIdRange, Quor::Ptr<NhgAft const> nhgAft,
    Quor::Ptr<GribiStatus> gribiStatus,
    Quor::Ptr<SrTePolicy::SegmentListStatus const> segmentListStatus,
    Quor::Ptr<NexthopIdToSegmentListMap const> nhToSlMap,
    Quor::Ptr<SegmentListIdToNexthopIdMap const> slToNhMap,
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus);

}  // namespace Gribi
