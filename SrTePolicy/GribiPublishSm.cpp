#include "SrTePolicy/GribiPublishSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace Gribi {
namespace {

using Pooltab::Fib::Fec;
using Pooltab::Fib::FecId;
using Pooltab::Fib::ForwardingStatus;
using Pooltab::Fib::Via;
using Pooltab::Fib::ViaIndex;
using SrTePolicy::FecIdRange;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using SrTePolicy::SegmentListStatus;
using Tunnel::TunnelTable::TunnelId;

Fastlog::Facility traceFacility("GribiPublishSm");

constexpr std::size_t maxVias = ViaIndex::max + 1;

}  // namespace

PublishSm::PublishSm(FecIdRange fecIdRange, Quor::Ptr<NhgAft const> nhgAft,
                     Quor::Ptr<GribiStatus> gribiStatus,
                     Quor::Ptr<SegmentListStatus const> segmentListStatus,
                     Quor::Ptr<NexthopIdToSegmentListMap const> nhToSlMap,
                     Quor::Ptr<SegmentListIdToNexthopIdMap const> slToNhMap,
                     Quor::Ptr<ForwardingStatus> fwdStatus)
    : numAllocator_(SrTePolicy::NumAllocatorForFecIdIs(fecIdRange)),
      nhgAft_(std::move(nhgAft)),
      gribiStatus_(std::move(gribiStatus)),
      segmentListStatus_(std::move(segmentListStatus)),
      nhToSlMap_(std::move(nhToSlMap)),
      slToNhMap_(std::move(slToNhMap)),
      fwdStatus_(std::move(fwdStatus)),
      nhgAftReactor_(nhgAft_->nhgAftEntry(), this,
                     [](PublishSm& self, NextHopGroupId id) { self.handleNhgAftEntry(id); }),
      statusReactor_(
          segmentListStatus_->status(), this,
          [](PublishSm& self, SegmentListId id) { self.handleSegmentListStatusUpdate(id); }),
      nhToSlReactor_(nhToSlMap_->nhToSlEntry(), this,
                     [](PublishSm& self, NextHopId id) { self.reEvaluateNextHopGroups(id); }) {}

void PublishSm::handleInitialized() {
    if (initialized_) return;

    nhToNhgMap_ = Quor::makePtr<NexthopToNexthopGroupMap>();
    numAllocator_->initializeNumAllocator();
    initialized_ = true;
    FecIds unnamed;
    reserveFecIds(unnamed);
    auto const& groups = nhgAft_->nhgAftEntry();
    for (auto group = groups.begin(); group; group.next()) handleNhgAftEntry(group.key());
    cleanupUnusedGribiStatus();
    cleanupUnnamedFecs(unnamed);
}

void PublishSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;

    nhgAftReactor_.off();
    statusReactor_.off();
    nhToSlReactor_.off();
    SRTE_TRACE(7, "Delete all FECs created by GribPublishSm");
    auto const& rows = gribiStatus_->nhgToFecEntry();
    for (auto row = rows.begin(); row; row.next()) fwdStatus_->fecDel(row.value());
    SRTE_TRACE(7, "Delete all entries in gribiStatus");
    gribiStatus_->nhgToFecEntryDelAll();
    nhToNhgMap_ = nullptr;
    nhgToNhs_.clear();
}

// What an earlier run left keeps its identifier. A crash may have hit between two writes: a row
// without its FEC gets it again, and FECs that no row names, `unnamed`, go at the end of the start.
void PublishSm::reserveFecIds(FecIds& unnamed) {
    auto const& range = numAllocator_->fecIdRange();
    for (auto fec = fwdStatus_->fec().begin(); fec; fec.next()) {
        if (!range.has(fec.key())) continue;
        numAllocator_->reserveFecId(fec.key());
        unnamed.insert(fec.key());
    }
    auto const& rows = gribiStatus_->nhgToFecEntry();
    for (auto row = rows.begin(); row; row.next()) {
        unusedGribiStatus_.tryEmplace(row.key());
        unnamed.erase(row.value());
        if (range.has(row.value())) numAllocator_->reserveFecId(row.value());
    }
}

void PublishSm::cleanupUnusedGribiStatus() {
    SRTE_TRACE(7, "cleanupUnusedGribiStatus");
    for (auto unused = unusedGribiStatus_.begin(); unused; unused.next()) {
        removeGribiFecAndStatus(unused.key());
    }
    unusedGribiStatus_.clear();
}

void PublishSm::cleanupUnnamedFecs(FecIds const& unnamed) {
    FecId fecId;
    for (bool more = unnamed.first(fecId); more; more = unnamed.after(fecId, fecId)) {
        removeGribiFec(fecId);
    }
}

void PublishSm::handleNhgAftEntry(NextHopGroupId nhgId) {
    SRTE_TRACE(8, "handleNhgAftEntry id: " << nhgId);
    if (!initialized_) return;

    if (nhgAft_->nhgAftEntry().has(nhgId)) {
        SRTE_TRACE(7, "Add/Update of nhgId: " << nhgId);
        updateNhToNhgMapping(nhgId);
        processNextHopGroupUpdate(nhgId);
    } else {
        SRTE_TRACE(7, "Delete of nhgId: " << nhgId);
        removeGribiFecAndStatus(nhgId);
        removeNhToNhgMapping(nhgId);
    }
}

void PublishSm::handleSegmentListStatusUpdate(SegmentListId slId) {
    SRTE_TRACE(8, "handleSegmentListStatusUpdate slId: " << slId);
    if (!initialized_) return;

    if (auto const* const nextHopId = slToNhMap_->nextHopId(slId)) {
        reEvaluateNextHopGroups(*nextHopId);
    }
}

void PublishSm::reEvaluateNextHopGroups(NextHopId nextHopId) {
    SRTE_TRACE(8, "reEvaluateNextHopGroups NH id: " << nextHopId);
    if (!initialized_) return;

    auto const* const entry = nhToNhgMap_->nhToNhgEntry(nextHopId);
    if (!entry) return;
    // A copy: what hears of the FECs may change groups.
    Quor::InlineVector<NextHopGroupId, 8> groups;
    entry->nextHopGroup().forEach([&groups](NextHopGroupId id) { groups.push_back(id); });
    for (auto const nhgId : groups) processNextHopGroupUpdate(nhgId);
}

// Next hops that do not exist yet are mapped too: that is how they find the group when they come.
void PublishSm::updateNhToNhgMapping(NextHopGroupId nhgId) {
    removeNhToNhgMapping(nhgId);
    auto const* const group = nhgAft_->nhgAftEntry().find(nhgId);
    for (auto const& member : group->nextHop()) addNhToNhgEntry(member.nextHopId, nhgId);
}

void PublishSm::addNhToNhgEntry(NextHopId nextHopId, NextHopGroupId nhgId) {
    if (nextHopId.isInvalid()) return;
    nhToNhgMap_->nhToNhgEntryIs(nextHopId).nextHopGroupIs(nhgId);
    nhgToNhs_.tryEmplace(nhgId).first->push_back(nextHopId);
}

void PublishSm::removeNhToNhgMapping(NextHopGroupId nhgId) {
    auto const* const nextHops = nhgToNhs_.find(nhgId);
    if (!nextHops) return;
    for (auto const nextHopId : *nextHops) {
        auto* const entry = nhToNhgMap_->nhToNhgEntry(nextHopId);
        entry->nextHopGroupDel(nhgId);
        if (entry->nextHopGroup().empty()) nhToNhgMap_->nhToNhgEntryDel(nextHopId);
    }
    nhgToNhs_.erase(nhgId);
}

void PublishSm::processNextHopGroupUpdate(NextHopGroupId nhgId) {
    collectTunnels(nhgId);
    if (tunnelWeightMap_.tunnelWeightEntry().empty()) {
        removeGribiFecAndStatus(nhgId);
        return;
    }
    if (auto const* const row = gribiStatus_->nhgToFecEntry(nhgId)) {
        createOrUpdateGribiFecEntry(*row, tunnelWeightMap_);
    } else {
        auto const fecId = numAllocator_->allocateFecId();
        createOrUpdateGribiFecEntry(fecId, tunnelWeightMap_);
        gribiStatus_->nhgToFecEntryIs(nhgId, fecId);
    }
    unusedGribiStatus_.erase(nhgId);
}

void PublishSm::collectTunnels(NextHopGroupId nhgId) {
    tunnelWeightMap_.tunnelWeightEntryDelAll();
    auto const* const group = nhgAft_->nhgAftEntry().find(nhgId);
    if (!group) return;
    for (auto const& [nextHopId, weight] : group->nextHop()) {
        TunnelId tunnelId;
        if (!tunnelOf(nextHopId, tunnelId)) continue;
        if (weight < Via::minWeight) {
            SRTE_TRACE(7, "Skipping NH id: " << nextHopId << " of weight 0 in nhgId: " << nhgId);
            continue;
        }
        if (tunnelWeightMap_.tunnelWeightEntry().size() == maxVias) {
            SRTE_TRACE(7, "More than " << maxVias << " next hops in nhgId: " << nhgId);
            break;
        }
        addTunnelWeightEntry(tunnelWeightMap_, tunnelId, weight);
    }
}

// False unless the next hop has a list that can carry traffic.
bool PublishSm::tunnelOf(NextHopId nextHopId, TunnelId& tunnelId) const {
    auto const* const list = nhToSlMap_->segmentList(nextHopId);
    if (!list) return false;
    auto const slId = list->segmentListId();
    if (segmentListStatus_->status(slId) != SegmentListResolveError::noError) return false;
    tunnelId = slId.getTunnelId();
    return true;
}

void PublishSm::createOrUpdateGribiFecEntry(FecId fecId, TunnelWeightMap const& map) {
    SRTE_TRACE(7, "Creating fecId: " << fecId);
    Fec fec(fecId);
    std::uint64_t index = 0;
    for (auto const& [tunnelId, weight] : map.tunnelWeightEntry()) {
        SRTE_TRACE(7, "Adding tunnelId: " << tunnelId);
        fec.viaIs(ViaIndex(index++), Via(tunnelId, weight));
    }
    fwdStatus_->fecCommit(std::move(fec));
}

void PublishSm::removeGribiFec(FecId fecId) {
    SRTE_TRACE(7, "Delete of fecId: " << fecId);
    fwdStatus_->fecDel(fecId);
    // The number of an identifier from outside the range may be another group's.
    if (numAllocator_->fecIdRange().has(fecId)) numAllocator_->releaseFecId(fecId);
}

void PublishSm::removeGribiFecAndStatus(NextHopGroupId nhgId) {
    auto const* const row = gribiStatus_->nhgToFecEntry(nhgId);
    if (!row) return;
    removeGribiFec(*row);
    gribiStatus_->nhgToFecEntryDel(nhgId);
}

void PublishSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    using Number = unsigned long long;
    ctx.print("%*cInitialized: %s \n", indentCount, ' ', initialized_ ? "True" : "False");
    NexthopToNexthopGroupMap::Entries const none;
    auto const& nextHops = nhToNhgMap_ ? nhToNhgMap_->nhToNhgEntry() : none;
    ctx.print("%*cnhToNhgMap #%u \n", indentCount, ' ', static_cast<unsigned>(nextHops.size()));
    for (auto row = nextHops.begin(); row; row.next()) {
        ctx.print("%*cnextHopId %llu\n", indentCount, ' ', Number{row.key().value()});
        row.value().nextHopGroup().forEach([&ctx, indentCount](NextHopGroupId id) {
            ctx.print("%*cnextHopGroupId %llu ", indentCount, ' ', Number{id.value()});
        });
        ctx.print("\n");
    }
}

Quor::Ptr<PublishSm> publishSmFactory(FecIdRange fecIdRange, Quor::Ptr<NhgAft const> nhgAft,
                                      Quor::Ptr<GribiStatus> gribiStatus,
                                      Quor::Ptr<SegmentListStatus const> segmentListStatus,
                                      Quor::Ptr<NexthopIdToSegmentListMap const> nhToSlMap,
                                      Quor::Ptr<SegmentListIdToNexthopIdMap const> slToNhMap,
                                      Quor::Ptr<ForwardingStatus> fwdStatus) {
    auto const sm = Quor::makePtr<PublishSm>(fecIdRange, std::move(nhgAft), std::move(gribiStatus),
                                             std::move(segmentListStatus), std::move(nhToSlMap),
                                             std::move(slToNhMap), std::move(fwdStatus));
    sm->handleInitialized();
    return sm;
}

}  // namespace Gribi
