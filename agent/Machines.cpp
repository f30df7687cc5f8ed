#include "agent/Machines.h"

#include <algorithm>

#include "Platform/Mpls/LfibWriter.h"

namespace Agent {

using namespace SrTePolicy;

Machines::Machines(Tables const& tables, Quor::Ptr<Keel::TaskScheduler> const& scheduler)
    : tables_(tables) {
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
    selectionSm_ = nullptr;
    publishSm_ = nullptr;
    lfibGenSm_ = nullptr;
    tunnelMapSm_ = nullptr;
    run_.segmentListUsers = nullptr;
    survivingLists_.clear();
    run_.coreDedupTables = nullptr;
}

std::vector<Machines::StartStep> const& Machines::startSteps() {
    static std::vector<StartStep> const steps{
        &Machines::adoptSurvivingLists, &Machines::startSegments,
        // Here starts gRIBI's root, whose next hops are segment lists as well.
        &Machines::startInput,
        // Here start the S-BFD machines, which selection asks about lists.
        &Machines::startSelection, &Machines::startPublishing, &Machines::startTunnelMap,
        &Machines::dropUnclaimedLists};
    return steps;
}

bool Machines::startFurther() {
    if (started() || !drained()) return false;
    auto const step = startSteps()[stepsTaken_++];
    (this->*step)();
    return true;
}

bool Machines::started() const {
    return stepsTaken_ == startSteps().size();
}

bool Machines::drained() const {
    return segmentListSm_->drained() && inputSm_->drained() && selectionSm_->drained() &&
           publishSm_->drained() && tunnelMapSm_->drained();
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

void Machines::startInput() {
    inputSm_->handleInitialized();
    inputStarted_ = true;
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
    // Here end the S-BFD machines, sessions first, and then gRIBI's root.
    inputSm_->handleDel();
    tables_.selectionInput->policyIdEntryDelAll();
    // The machines of segments and lists have started, if anything has.
    survivingLists_.clear();
    segmentListSm_->handleDel();
    segmentSm_->handleDel();
}

}  // namespace Agent
