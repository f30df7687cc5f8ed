#include "SrTePolicy/GribiRootSm.h"

#include <cstdio>
#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace Gribi {
namespace {

using Pooltab::Fib::ForwardingStatus;
using SrTePolicy::CoreDedupTables;
using SrTePolicy::FecIdRange;
using SrTePolicy::PolicyStatus;
using SrTePolicy::SegmentListStatus;
using SrTePolicy::Export::SegmentListCollection;
using Tunnel::TunnelTable::SrTeSegmentListTunnelTable;

Fastlog::Facility traceFacility("GribiRootSm");

RootSm const* currentRoot = nullptr;

}  // namespace

RootSm::RootSm(Quor::Ptr<SrTePolicy::Status const> status, Quor::Ptr<Config const> gribiConfig,
               Quor::Ptr<GribiAfts const> gribiAfts, Quor::Ptr<GribiStatus> gribiStatus,
               Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
               Quor::Ptr<CoreDedupTables> coreDedupTables,
               Quor::Ptr<SegmentListStatus const> segmentListStatus,
               Quor::Ptr<SegmentListCollection> segmentListExport,
               Quor::Ptr<SrTeSegmentListTunnelTable const> segmentListTunnelTable,
               Quor::Ptr<Mpls::LfibStatus> gribiProtocolInputLfib,
               Quor::Ptr<PolicyStatus const> srTePolicyStatus,
               Quor::Ptr<ForwardingStatus> fwdStatus, FecIdRange fecIdRange)
    : status_(std::move(status)),
      gribiConfig_(std::move(gribiConfig)),
      gribiAfts_(std::move(gribiAfts)),
      gribiStatus_(std::move(gribiStatus)),
      gribiNhToTunnelMap_(std::move(gribiNhToTunnelMap)),
      coreDedupTables_(std::move(coreDedupTables)),
      segmentListStatus_(std::move(segmentListStatus)),
      segmentListExport_(std::move(segmentListExport)),
      segmentListTunnelTable_(std::move(segmentListTunnelTable)),
      gribiProtocolInputLfib_(std::move(gribiProtocolInputLfib)),
      srTePolicyStatus_(std::move(srTePolicyStatus)),
      fwdStatus_(std::move(fwdStatus)),
      fecIdRange_(fecIdRange) {
    auto const changed = [](RootSm& self, std::monostate) { self.handleEnabled(); };
    if (status_) statusReactor_.emplace(status_->enabled, this, changed);
    if (gribiConfig_) configReactor_.emplace(gribiConfig_->enabled, this, changed);
}

RootSm::~RootSm() {
    if (currentRoot == this) currentRoot = nullptr;
}

void RootSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    currentRoot = this;
    handleEnabled();
}

void RootSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;

    statusReactor_.reset();
    configReactor_.reset();
    if (running()) stop();
    if (currentRoot == this) currentRoot = nullptr;
}

// Only a change of the decision acts: to build everything anew while it runs would make traffic
// flap for nothing.
void RootSm::handleEnabled() {
    if (!initialized_) return;

    bool const runs = enabled();
    if (decision_ == runs) return;
    decision_ = runs;
    runs ? start() : stop();
}

bool RootSm::enabled() const {
    if (status_ && !status_->enabled()) return false;
    return !gribiConfig_ || gribiConfig_->enabled();
}

// Each stage reads what the one before has rebuilt: started in another order, it would take what
// survives a restart for leftovers.
void RootSm::start() {
    SRTE_TRACE(8, "starting GribiRootSm");
    nhToSlMapIs();
    slToNhMapIs();
    nhConfigSmIs();
    publishSmIs();
    lfibGenSmIs();
}

// Routes go before their FECs, and FECs before the tunnels of their vias. A root that begins
// disabled has no machines, but what an earlier run of the agent left must go.
void RootSm::stop() {
    SRTE_TRACE(8, "stopping GribiRootSm");
    lfibGenSmDel();
    publishSmDel();
    nhConfigSmDel();
    nhToSlMapDel();
    slToNhMapDel();
    withdrawLeftovers(
        {gribiStatus_, gribiNhToTunnelMap_, gribiProtocolInputLfib_, fwdStatus_, fecIdRange_});
}

void RootSm::nhConfigSmIs() {
    nhConfigSm_ = nhConfigSmFactory(gribiAfts_->nhAft, coreDedupTables_, nhToSlMap_, slToNhMap_,
                                    gribiNhToTunnelMap_, segmentListStatus_, segmentListExport_);
    nhConfigSm_->handleInitialized();
}

void RootSm::nhConfigSmDel() {
    if (nhConfigSm_) nhConfigSm_->handleDel();
    nhConfigSm_ = nullptr;
}

void RootSm::publishSmIs() {
    publishSm_ = publishSmFactory(fecIdRange_, gribiAfts_->nhgAft, gribiStatus_, segmentListStatus_,
                                  nhToSlMap_, slToNhMap_, fwdStatus_);
}

void RootSm::publishSmDel() {
    if (publishSm_) publishSm_->handleDel();
    publishSm_ = nullptr;
}

void RootSm::lfibGenSmIs() {
    lfibGenSm_ = gribiLfibGenSmFactory(gribiStatus_, gribiAfts_->mplsAft, gribiProtocolInputLfib_);
    lfibGenSm_->handleInitialized();
}

void RootSm::lfibGenSmDel() {
    if (lfibGenSm_) lfibGenSm_->handleDel();
    lfibGenSm_ = nullptr;
}

void RootSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*c------GribiRootSm------\n", indentCount, ' ');
    if (nhConfigSm_) {
        ctx.print("%*c\n------nhConfigSm------\n", indentCount, ' ');
        nhConfigSm_->dumpState(ctx, indentCount);
    }
    if (publishSm_) {
        ctx.print("%*c\n------publishSm------\n", indentCount, ' ');
        publishSm_->dumpState(ctx, indentCount);
    }
    if (lfibGenSm_) {
        ctx.print("%*c\n------lfibGenSm------\n", indentCount, ' ');
        lfibGenSm_->dumpState(ctx, indentCount);
    }
}

void RootSm::dumpStateCallback() {
    if (!currentRoot) {
        std::fputs("SrTePolicy GribiRootSm not found\n", stdout);
        return;
    }
    constexpr char frame[] = "\n---------------------------------------------------\n";
    Keel::DumpContext ctx;
    ctx.print("SrTePolicy GribiRootSm\n%s", frame);
    currentRoot->dumpState(ctx, 2);
    ctx.print("%s", frame);
    std::fputs(ctx.text().c_str(), stdout);
}

Quor::Ptr<RootSm> rootSmFactory(Quor::Ptr<SrTePolicy::Status const> status,
                                Quor::Ptr<Config const> gribiConfig,
                                Quor::Ptr<GribiAfts const> gribiAfts,
                                Quor::Ptr<GribiStatus> gribiStatus,
                                Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
                                Quor::Ptr<CoreDedupTables> coreDedupTables,
                                Quor::Ptr<SegmentListStatus const> segmentListStatus,
                                Quor::Ptr<SegmentListCollection> segmentListExport,
                                Quor::Ptr<SrTeSegmentListTunnelTable const> segmentListTunnelTable,
                                Quor::Ptr<Mpls::LfibStatus> gribiProtocolInputLfib,
                                Quor::Ptr<PolicyStatus const> srTePolicyStatus,
                                Quor::Ptr<ForwardingStatus> fwdStatus, FecIdRange fecIdRange) {
    auto const root = Quor::makePtr<RootSm>(
        std::move(status), std::move(gribiConfig), std::move(gribiAfts), std::move(gribiStatus),
        std::move(gribiNhToTunnelMap), std::move(coreDedupTables), std::move(segmentListStatus),
        std::move(segmentListExport), std::move(segmentListTunnelTable),
        std::move(gribiProtocolInputLfib), std::move(srTePolicyStatus), std::move(fwdStatus),
        fecIdRange);
    root->handleInitialized();
    return root;
}

}  // namespace Gribi
