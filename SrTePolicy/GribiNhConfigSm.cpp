#include "SrTePolicy/GribiNhConfigSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace Gribi {
namespace {

using SrTePolicy::CoreDedupTables;
using SrTePolicy::DistinguisherId;
using SrTePolicy::PolicyId;
using SrTePolicy::SegmentList;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListStatus;
using SrTePolicy::Export::SegmentListCollection;

Fastlog::Facility traceFacility("GribiNhConfigSm");

// The owner of every gRIBI list: all zero, which is neither a policy nor the empty policy id.
PolicyId gribiOwner() {
    return PolicyId::lowest({Wirex::IpGenAddr(), 0});
}

// A client can send any stack; one that no list can hold must not reach the tables of interned
// segments.
bool fitsSegmentList(Wirex::BoundedMplsLabelStack const& labels) {
    if (labels.size() > SegmentList::maxSize) return false;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (!labels.label(i).isReal()) return false;
    }
    return true;
}

}  // namespace

NhConfigSm::NhConfigSm(Quor::Ptr<NhAft const> nhAft,
                       Quor::Ptr<CoreDedupTables const> coreDedupTables,
                       Quor::Ptr<NexthopIdToSegmentListMap> nhToSlMap,
                       Quor::Ptr<SegmentListIdToNexthopIdMap> slToNhMap,
                       Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
                       Quor::Ptr<SegmentListStatus const> segmentListStatus,
                       Quor::Ptr<SegmentListCollection const> segmentListExport)
    : nhAft_(std::move(nhAft)),
      coreDedupTables_(std::move(coreDedupTables)),
      nhToSlMap_(std::move(nhToSlMap)),
      slToNhMap_(std::move(slToNhMap)),
      gribiNhToTunnelMap_(std::move(gribiNhToTunnelMap)),
      segmentListStatus_(std::move(segmentListStatus)),
      segmentListExport_(std::move(segmentListExport)),
      nhAftReactor_(nhAft_->nhAftEntry(), this,
                    [](NhConfigSm& self, NextHopId id) { self.handleNhAftEntry(id); }),
      statusReactor_(segmentListStatus_->status(), this, [](NhConfigSm& self, SegmentListId id) {
          self.handleSegmentListStatusUpdate(id);
      }) {}

void NhConfigSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    SRTE_TRACE(8, "handleInitialized");
    auto const& entries = nhAft_->nhAftEntry();
    for (auto entry = entries.begin(); entry; entry.next()) handleNhAftEntry(entry.key());
    cleanupTunnelMap();
}

void NhConfigSm::handleDel() {
    SRTE_TRACE(8, "handleDel");
    if (!std::exchange(initialized_, false)) return;

    nhAftReactor_.off();
    statusReactor_.off();
    SRTE_TRACE(7, "Deleting all Tunnel table entries");
    gribiNhToTunnelMap_->nhToTunnelMapDelAll();
    slToNhMap_->slToNhEntryDelAll();
    nhToSlMap_->nhToSlEntryDelAll();
}

void NhConfigSm::handleNhAftEntry(NextHopId nextHopId) {
    SRTE_TRACE(8, "handleNhAftEntry id: " << nextHopId);
    if (!initialized_) return;

    if (nextHopId.isInvalid()) {
        SRTE_TRACE(7, "Received invalid NextHop Id : " << nextHopId);
        return;
    }
    if (nhAft_->nhAftEntry().has(nextHopId)) {
        SRTE_TRACE(7, "Add/Update of NH id: " << nextHopId);
        if (nhToSlMap_->segmentList(nextHopId)) deleteNhAftEntry(nextHopId);
        createNhAftEntry(nextHopId);
    } else {
        SRTE_TRACE(7, "Delete of NH id: " << nextHopId);
        deleteNhAftEntry(nextHopId);
    }
}

void NhConfigSm::createNhAftEntry(NextHopId nextHopId) {
    auto const operation = nhAft_->nhAftEntry().get(nextHopId).labelOperation;
    if (!fitsSegmentList(operation.stack)) {
        SRTE_TRACE(7, "No segment list for NH id: " << nextHopId << " " << operation);
        return;
    }
    auto const list =
        coreDedupTables_->segmentList(operation, gribiOwner(), DistinguisherId(nextHopId.value()));
    nhToSlMap_->nhToSlEntryIs({nextHopId, list});
    slToNhMap_->slToNhEntryIs({list->segmentListId(), nextHopId});
    // A list that is new was resolved while nobody knew yet whose it is, and one that somebody
    // else had kept will not be told of again.
    updateTunnelMap(nextHopId, list->segmentListId());
}

void NhConfigSm::deleteNhAftEntry(NextHopId nextHopId) {
    auto const* const row = nhToSlMap_->nhToSlEntry().find(nextHopId);
    if (!row) return;

    auto const list = *row;  // ends last, after nothing points at its tunnel any more
    slToNhMap_->slToNhEntryDel(list->segmentListId());
    nhToSlMap_->nhToSlEntryDel(nextHopId);
    gribiNhToTunnelMap_->nhToTunnelMapDel(nextHopId);
}

void NhConfigSm::handleSegmentListStatusUpdate(SegmentListId slId) {
    if (!initialized_) return;

    auto const* const exported = segmentListExport_->segmentList(slId);
    if (!exported || exported->distinguisherId.isPolicyList()) return;
    // A list that is not, or no longer, the next hop's own must not speak for it.
    NextHopId const nextHopId(exported->distinguisherId.value());
    auto const* const current = nhToSlMap_->segmentList(nextHopId);
    if (current && current->segmentListId() == slId) updateTunnelMap(nextHopId, slId);
}

void NhConfigSm::updateTunnelMap(NextHopId nextHopId, SegmentListId slId) {
    if (segmentListStatus_->status(slId)) {
        gribiNhToTunnelMap_->nhToTunnelMapIs(nextHopId, slId.getTunnelId());
    } else {
        gribiNhToTunnelMap_->nhToTunnelMapDel(nextHopId);
    }
}

// The row of a next hop that has a list is right by now: it was written or removed with the list.
void NhConfigSm::cleanupTunnelMap() {
    auto const& rows = gribiNhToTunnelMap_->nhToTunnelMap();
    for (auto row = rows.begin(); row; row.next()) {
        if (!nhToSlMap_->segmentList(row.key())) gribiNhToTunnelMap_->nhToTunnelMapDel(row.key());
    }
}

void NhConfigSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    using Number = unsigned long long;
    ctx.print("%*cInitialized: %s \n", indentCount, ' ', initialized_ ? "True" : "False");
    auto const& lists = nhToSlMap_->nhToSlEntry();
    ctx.print("%*cnhToSlMap #%u \n", indentCount, ' ', static_cast<unsigned>(lists.size()));
    for (auto row = lists.begin(); row; row.next()) {
        ctx.print("%*cnextHopId %llu\n", indentCount, ' ', Number{row.key().value()});
        ctx.print("%*csegmentListId %u \n", indentCount, ' ', row.value()->segmentListId().value());
    }
    auto const& nextHops = slToNhMap_->slToNhEntry();
    ctx.print("%*cslToNhMap #%u \n", indentCount, ' ', static_cast<unsigned>(nextHops.size()));
    for (auto row = nextHops.begin(); row; row.next()) {
        ctx.print("%*csegmentListId %u \n", indentCount, ' ', row.key().value());
        ctx.print("%*cnextHopId %llu\n", indentCount, ' ', Number{row.value().value()});
    }
}

Quor::Ptr<NhConfigSm> nhConfigSmFactory(Quor::Ptr<NhAft const> nhAft,
                                        Quor::Ptr<CoreDedupTables const> coreDedupTables,
                                        Quor::Ptr<NexthopIdToSegmentListMap> nhToSlMap,
                                        Quor::Ptr<SegmentListIdToNexthopIdMap> slToNhMap,
                                        Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
                                        Quor::Ptr<SegmentListStatus const> segmentListStatus,
                                        Quor::Ptr<SegmentListCollection const> segmentListExport) {
    return Quor::makePtr<NhConfigSm>(
        std::move(nhAft), std::move(coreDedupTables), std::move(nhToSlMap), std::move(slToNhMap),
        std::move(gribiNhToTunnelMap), std::move(segmentListStatus), std::move(segmentListExport));
}

}  // namespace Gribi
