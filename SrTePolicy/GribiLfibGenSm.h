#pragma once

#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/IdSet.h"
#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Mpls/LfibWriter.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"
#include "SrTePolicy/GribiTypes.h"
#include "SrTeTypes/GribiAfts.h"
#include "SrTeTypes/GribiStatus.h"

namespace Gribi {

/// Keeps one label route per MPLS entry, into the FEC of the entry's group while that has one.
///
///   reads   GribiStatus; MplsAft
///   writes  the routes of an LFIB table of its own
///   runs    inside its reactors: it has no task
class SRTE_EXPORT GribiLfibGenSm final : public Quor::PtrInterface {
public:
    GribiLfibGenSm(Quor::Ptr<GribiStatus const> gribiStatus, Quor::Ptr<MplsAft const> mplsAft,
                   Quor::Ptr<Mpls::LfibStatus> lfib);

    // Life: inert until handleInitialized, which removes the routes that no entry claims any more
    // after the others were written; handleDel empties the table.
    void handleInitialized();
    void handleDel();

    // Events.
    void handleMplsAftEntry(Wirex::MplsLabel label);
    void handleGribiStatusEntry(NextHopGroupId nhgId);

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    void lfibWriterIs() { lfibWriter_ = Quor::makePtr<Mpls::LfibWriter>(lfib_); }
    void addLocalMaps(Wirex::MplsLabel label);
    void deleteLocalMaps(Wirex::MplsLabel label);
    void addOrUpdateLfib(Pooltab::Fib::FecId fecId, Wirex::MplsLabel label);
    void deleteLfib(Wirex::MplsLabel label);
    void cleanupLfibEntries();

    Quor::Ptr<GribiStatus const> const gribiStatus_;
    Quor::Ptr<MplsAft const> const mplsAft_;
    Quor::Ptr<Mpls::LfibStatus> const lfib_;
    Quor::Ptr<Mpls::LfibWriter> lfibWriter_;

    // Each label is in the set of the group that it was last seen to point at.
    Quor::OrderedMap<NextHopGroupId, NhgIdToMplsLabelsEntry> nhgIdToLabelsMap_;
    Quor::DenseMap<Wirex::MplsLabel, NextHopGroupId> prevLabelToNhgIdMap_;
    Keel::IdSet<Mpls::RouteKey> unusedLfibRoute_;
    bool initialized_ = false;

    Quor::Reactor<Wirex::MplsLabel> mplsAftReactor_;
    Quor::Reactor<NextHopGroupId> gribiStatusReactor_;
};

/// `lfib` is this machine's alone: whatever else it holds goes at the start.
SRTE_EXPORT Quor::Ptr<GribiLfibGenSm> gribiLfibGenSmFactory(
    Quor::Ptr<GribiStatus const> gribiStatus, Quor::Ptr<MplsAft const> mplsAft,
    Quor::Ptr<Mpls::LfibStatus> lfib);

}  // namespace Gribi
