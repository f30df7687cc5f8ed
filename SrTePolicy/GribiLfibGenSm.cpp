#include "SrTePolicy/GribiLfibGenSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Quor/InlineVector.h"

namespace Gribi {
namespace {

using Pooltab::Fib::FecId;
using Wirex::MplsLabel;

Fastlog::Facility traceFacility("GribiLfibGenSm");

Mpls::ConsolidatedLfibRoute routeInto(FecId fecId, MplsLabel label) {
    Mpls::ConsolidatedLfibRoute route;
    route.key = Mpls::RouteKey::fromLabel(label);
    route.source = Mpls::LFib::Source::gribi;
    route.metric = Mpls::RouteMetric(1);
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = Mpls::LfibExtFecVia::popInto(fecId);
    return route;
}

}  // namespace

GribiLfibGenSm::GribiLfibGenSm(Quor::Ptr<GribiStatus const> gribiStatus,
                               Quor::Ptr<MplsAft const> mplsAft, Quor::Ptr<Mpls::LfibStatus> lfib)
    : gribiStatus_(std::move(gribiStatus)),
      mplsAft_(std::move(mplsAft)),
      lfib_(std::move(lfib)),
      mplsAftReactor_(
          mplsAft_->mplsAftEntry(), this,
          [](GribiLfibGenSm& self, MplsLabel label) { self.handleMplsAftEntry(label); }),
      gribiStatusReactor_(
          gribiStatus_->nhgToFecEntry(), this,
          [](GribiLfibGenSm& self, NextHopGroupId id) { self.handleGribiStatusEntry(id); }) {}

void GribiLfibGenSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    SRTE_TRACE(8, "GribiLfibGenSm initialized");
    lfibWriterIs();
    auto const& routes = lfib_->rows();
    for (auto route = routes.begin(); route; route.next()) unusedLfibRoute_.insert(route.key());
    auto const& entries = mplsAft_->mplsAftEntry();
    for (auto entry = entries.begin(); entry; entry.next()) handleMplsAftEntry(entry.key());
    cleanupLfibEntries();
}

void GribiLfibGenSm::handleDel() {
    SRTE_TRACE(8, "handleDel");
    if (!std::exchange(initialized_, false)) return;

    mplsAftReactor_.off();
    gribiStatusReactor_.off();
    SRTE_TRACE(7, "GribiLfibGenSm is getting deleted, cleanup LFIB entries");
    lfibWriter_->lfibRouteDelAll();
}

void GribiLfibGenSm::handleMplsAftEntry(MplsLabel label) {
    if (!initialized_) return;

    if (!label.isReal()) {
        SRTE_TRACE(7, "No route for mplsAftEntry: label=" << label);
        return;
    }
    deleteLocalMaps(label);
    addLocalMaps(label);
    auto const* const entry = mplsAft_->mplsAftEntry().find(label);
    if (!entry) {
        SRTE_TRACE(7, "Delete of mplsAftEntry: label=" << label);
        deleteLfib(label);
    } else if (auto const* const fecId = gribiStatus_->nhgToFecEntry(entry->nextHopGroupId)) {
        SRTE_TRACE(7, "Add or Update of mplsAftEntry: label=" << label);
        addOrUpdateLfib(*fecId, label);
    } else {
        deleteLfib(label);
    }
}

void GribiLfibGenSm::handleGribiStatusEntry(NextHopGroupId nhgId) {
    if (!initialized_) return;

    // Copies: what hears of the routes may change entries.
    Quor::InlineVector<MplsLabel, 8> labels;
    if (auto const* const group = nhgIdToLabelsMap_.find(nhgId)) {
        group->labelSet().forEach([&labels](MplsLabel label) { labels.push_back(label); });
    }
    auto const* const row = gribiStatus_->nhgToFecEntry(nhgId);
    if (!row) {
        for (auto const label : labels) deleteLfib(label);
        return;
    }
    auto const fecId = *row;
    SRTE_TRACE(7, "Add or Update of nhgToFecEntry: nhgId= " << nhgId << " fecId=" << fecId);
    for (auto const label : labels) addOrUpdateLfib(fecId, label);
}

void GribiLfibGenSm::addLocalMaps(MplsLabel label) {
    auto const* const entry = mplsAft_->mplsAftEntry().find(label);
    if (!entry) return;
    prevLabelToNhgIdMap_.tryEmplace(label, entry->nextHopGroupId);
    nhgIdToLabelsMap_.tryEmplace(entry->nextHopGroupId).first->labelSetIs(label);
}

void GribiLfibGenSm::deleteLocalMaps(MplsLabel label) {
    auto const* const previous = prevLabelToNhgIdMap_.find(label);
    if (!previous) return;
    auto* const group = nhgIdToLabelsMap_.find(*previous);
    group->labelSetDel(label);
    if (group->labelSet().empty()) nhgIdToLabelsMap_.erase(*previous);
    prevLabelToNhgIdMap_.erase(label);
}

void GribiLfibGenSm::addOrUpdateLfib(FecId fecId, MplsLabel label) {
    lfibWriter_->lfibRouteIs(routeInto(fecId, label));
    SRTE_TRACE(7, "Added the LFIB entry for label: " << label);
    unusedLfibRoute_.erase(Mpls::RouteKey::fromLabel(label));
}

void GribiLfibGenSm::deleteLfib(MplsLabel label) {
    SRTE_TRACE(7, "Removing the LFIB entry with label: " << label);
    lfibWriter_->lfibRouteDel(Mpls::RouteKey::fromLabel(label));
}

void GribiLfibGenSm::cleanupLfibEntries() {
    SRTE_TRACE(7, "Cleanup stale LFIB entries");
    Mpls::RouteKey routeKey;
    for (bool more = unusedLfibRoute_.first(routeKey); more;
         more = unusedLfibRoute_.after(routeKey, routeKey)) {
        lfibWriter_->lfibRouteDel(routeKey);
        SRTE_TRACE(7, "Removed LFIB entry for label: " << routeKey.topLabel());
    }
    unusedLfibRoute_.clear();
}

void GribiLfibGenSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cnhgIdToLabelsMaps #%u \n", indentCount, ' ',
              static_cast<unsigned>(nhgIdToLabelsMap_.size()));
    for (auto row = nhgIdToLabelsMap_.begin(); row; row.next()) {
        ctx.print("%*cnhgId %llu\n", indentCount, ' ',
                  static_cast<unsigned long long>(row.key().value()));
        row.value().labelSet().forEach([&ctx, indentCount](MplsLabel label) {
            ctx.print("%*clabel: %u\n", indentCount, ' ', label.value());
        });
    }
}

Quor::Ptr<GribiLfibGenSm> gribiLfibGenSmFactory(Quor::Ptr<GribiStatus const> gribiStatus,
                                                Quor::Ptr<MplsAft const> mplsAft,
                                                Quor::Ptr<Mpls::LfibStatus> lfib) {
    return Quor::makePtr<GribiLfibGenSm>(std::move(gribiStatus), std::move(mplsAft),
                                         std::move(lfib));
}

}  // namespace Gribi
