#include "agent/Machines.h"

#include <algorithm>

#include "Platform/Mpls/LfibWriter.h"

namespace Agent {

using namespace SrTePolicy;

Machines::Machines(Tables const& tables, Quor::Ptr<Keel::TaskScheduler> const& scheduler,
                   std::vector<StartStep> order)
    : tables_(tables), startOrder_(std::move(order)) {
    auto const lfib = tables.lfibMerge->lfibStatus();
    auto const lfibTracking = tables.lfibMerge->lfibTrackingStatus();

    segmentSm_ =
        segmentSmFactory(run_.coreDedupTables->notifyingSegmentCollection(), lfib, lfibTracking,
                         run_.segmentStatus, run_.coreDedupTables, segmentResolverFactory(lfib));
    segmentListSm_ = segmentListSmFactory(
        run_.coreDedupTables->notifyingSegmentListCollection(), run_.segmentStatus,
        tables.segmentListStatus, tables.exportedLists, tables.tiLfa, tables.segmentListTunnels,
        scheduler, run_.coreDedupTables, tables.hardware, tables.fieldlog);
    inputSm_ =
        policyInputSmFactory(tables.config, tables.sources, tables.mplsConfig, lfib, lfibTracking,
                             tables.selectionInput, run_.coreDedupTables, run_.segmentListUsers,
                             run_.policyKeyToIdMap, scheduler, tables.fieldlog);
    sbfdInputSm_ = sbfdInputSmFactory(tables.config, run_.initStage, run_.policyKeyToIdMap,
                                      tables.selectionInput, run_.segmentListUsers,
                                      tables.sbfdInputConfig, scheduler, tables.bfdGlobal);
    sbfdSessionSm_ =
        sbfdSessionSmFactory(tables.sbfdInputConfig, L3::VrfName(bfdVrf), bfdApplication,
                             tables.bfdPeers, tables.bfdSessions, tables.bfdAppStatus,
                             run_.segmentListUsers, tables.segmentListStatus, tables.bfdGlobal);
    selectionSm_ = policySelectionSmFactory(tables.config, tables.selectionInput,
                                            run_.segmentListUsers, tables.segmentListStatus,
                                            tables.ecPolicy, scheduler, tables.fieldlog);
    publishSm_ =
        policyPublishSmFactory(policyFecIds, tables.ecPolicy, scheduler, tables.policyStatus,
                               tables.forwarding, tables.policyTunnels, tables.config);
    lfibGenSm_ = srTePolicyLfibGenSmFactory(tables.policyStatus, tables.bindingSidLfib);
    tunnelMapSm_ = tunnelMapExportSmFactory(tables.selectionInput, run_.policyKeyToIdMap,
                                            tables.tunnelMap, tables.tunnelCounters, scheduler);
}

// A crash. Nothing is withdrawn: who watches the lists goes before whoever keeps them alive, so
// that nobody observes their death.
Machines::~Machines() {
    segmentSm_ = nullptr;
    segmentListSm_ = nullptr;
    inputSm_ = nullptr;
    sbfdInputSm_ = nullptr;
    sbfdSessionSm_ = nullptr;
    selectionSm_ = nullptr;
    publishSm_ = nullptr;
    lfibGenSm_ = nullptr;
    tunnelMapSm_ = nullptr;
    gribiRoot_ = nullptr;
    run_.segmentListUsers = nullptr;
    survivingLists_.clear();
    run_.coreDedupTables = nullptr;
}

std::vector<Machines::StartStep> const& Machines::startOrder() {
    using enum StartStep;
    static std::vector<StartStep> const order{
        adoptSurvivingLists, startSegments,   startGribi,     startInput,        startSbfd,
        startSelection,      startPublishing, startTunnelMap, dropUnclaimedLists};
    return order;
}

bool Machines::startFurther() {
    if (started() || !drained()) return false;
    take(startOrder_[stepsTaken_++]);
    return true;
}

bool Machines::started() const {
    return stepsTaken_ == startOrder_.size();
}

void Machines::take(StartStep step) {
    switch (step) {
        case StartStep::adoptSurvivingLists: return adoptSurvivingLists();
        case StartStep::startSegments: return startSegments();
        case StartStep::startGribi: return startGribi();
        case StartStep::startInput: return startInput();
        case StartStep::startSbfd: return startSbfd();
        case StartStep::startSelection: return startSelection();
        case StartStep::startPublishing: return startPublishing();
        case StartStep::startTunnelMap: return startTunnelMap();
        case StartStep::dropUnclaimedLists: return dropUnclaimedLists();
    }
}

bool Machines::drained() const {
    bool const sbfdReady = !sbfdStarted_ || run_.initStage->sbfdReady()();
    return segmentListSm_->drained() && inputSm_->drained() && sbfdReady &&
           selectionSm_->drained() && publishSm_->drained() && tunnelMapSm_->drained();
}

bool Machines::inputSettled() const {
    return inputStarted_ && inputSm_->drained();
}

// Surviving lists keep their identities, and with them their tunnels; every new one gets an
// identity that nothing names.
void Machines::adoptSurvivingLists() {
    survivingLists_ = reinternSurvivingLists(run_.coreDedupTables, tables_.exportedLists);
    run_.coreDedupTables->notifyingSegmentListCollection()->uniqueIdIs(
        largestSegmentListId(tables_));
}

void Machines::startSegments() {
    segmentSm_->handleInitialized();
    segmentListSm_->handleInitialized();
}

void Machines::startGribi() {
    gribiRoot_ = Gribi::rootSmFactory(
        tables_.agentStatus, tables_.gribiConfig, tables_.gribiAfts, tables_.gribiStatus,
        tables_.nextHopTunnels, run_.coreDedupTables, tables_.segmentListStatus,
        tables_.exportedLists, tables_.segmentListTunnels, tables_.gribiLfib, tables_.policyStatus,
        tables_.forwarding, gribiFecIds);
}

void Machines::startInput() {
    inputSm_->handleInitialized();
    inputStarted_ = true;
}

// Selection asks S-BFD about lists: it waits until every policy's settings have been gone through.
void Machines::startSbfd() {
    sbfdInputSm_->handleInitialized();
    sbfdSessionSm_->handleInitialized();
    sbfdStarted_ = true;
}

void Machines::startSelection() {
    selectionSm_->handleInitialized();
}

// The routes follow the status from the first: what publishing changes, they change with it.
void Machines::startPublishing() {
    lfibGenSm_->handleInitialized();
    publishSm_->handleInitialized();
}

void Machines::startTunnelMap() {
    tunnelMapSm_->handleInitialized();
}

// Lists that nobody claimed die, now that nothing points at them any more.
void Machines::dropUnclaimedLists() {
    survivingLists_.clear();
}

// Consumers first. A machine that has not started yet withdraws nothing, hence each table is
// emptied besides: it may hold what an earlier run wrote.
void Machines::stop() {
    lfibGenSm_->handleDel();
    Mpls::LfibWriter(tables_.bindingSidLfib).lfibRouteDelAll();
    publishSm_->handleDel();
    clearPublishOutputs(tables_);
    tunnelMapSm_->handleDel();
    tables_.tunnelMap->entryDelAll();
    selectionSm_->handleDel();
    tables_.ecPolicy->policyDelAll();
    sbfdSessionSm_->handleDel();
    tables_.bfdSessions->sessionDelAll(Bfd::AppName(bfdApplication));
    tables_.segmentListStatus->statusWithSbfdDelAll();
    sbfdInputSm_->handleDel();
    tables_.sbfdInputConfig->configDelAll();
    stopGribi();
    inputSm_->handleDel();
    tables_.selectionInput->policyIdEntryDelAll();
    survivingLists_.clear();
    segmentListSm_->handleDel();
    tables_.segmentListTunnels->entryDelAll();
    tables_.segmentListStatus->statusDelAll();
    tables_.exportedLists->segmentListDelAll();
    segmentSm_->handleDel();
}

void Machines::stopGribi() {
    if (gribiRoot_) gribiRoot_->handleDel();
    Gribi::withdrawLeftovers({tables_.gribiStatus, tables_.nextHopTunnels, tables_.gribiLfib,
                              tables_.forwarding, gribiFecIds});
}

}  // namespace Agent
