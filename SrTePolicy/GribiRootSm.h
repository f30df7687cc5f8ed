#pragma once

#include <optional>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Tunnel/SrTeSegmentListTunnelTable.h"
#include "SrTePolicy/GribiLeftovers.h"
#include "SrTePolicy/GribiLfibGenSm.h"
#include "SrTePolicy/GribiNhConfigSm.h"
#include "SrTePolicy/GribiPublishSm.h"
#include "SrTeTypes/GribiConfig.h"
#include "SrTeTypes/PolicyStatus.h"
#include "SrTeTypes/Status.h"

namespace Gribi {

/// The gRIBI side of the agent: the maps between next hops and segment lists and the three machines
/// around them, which live while gRIBI is enabled.
///
///   reads   the enable flags of the SR-TE agent and of gRIBI
///   writes  nothing itself; its machines write GribiStatus, NhToTunnelMap, FECs and label routes
///   runs    inside its reactors: it has no task
///
/// Either flag acts at once: enabled, the machines build their state anew from the AFTs; disabled,
/// everything that they published is withdrawn, routes first. The newest root that started is
/// known to the process, for `dumpStateCallback`.
class SRTE_EXPORT RootSm final : public Quor::PtrInterface {
public:
    RootSm(Quor::Ptr<SrTePolicy::Status const> status, Quor::Ptr<Config const> gribiConfig,
           Quor::Ptr<GribiAfts const> gribiAfts, Quor::Ptr<GribiStatus> gribiStatus,
           Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
           Quor::Ptr<SrTePolicy::CoreDedupTables> coreDedupTables,
           Quor::Ptr<SrTePolicy::SegmentListStatus const> segmentListStatus,
           Quor::Ptr<SrTePolicy::Export::SegmentListCollection> segmentListExport,
           Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable const> segmentListTunnelTable,
           Quor::Ptr<Mpls::LfibStatus> gribiProtocolInputLfib,
           Quor::Ptr<SrTePolicy::PolicyStatus const> srTePolicyStatus,
           Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus, SrTePolicy::FecIdRange fecIdRange);
    ~RootSm() override;

    // Life: the factory has called handleInitialized. handleDel is as disabling gRIBI.
    void handleInitialized();
    void handleDel();

    // The one event, of two reactors.
    void handleEnabled();

    bool running() const { return static_cast<bool>(nhConfigSm_); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;
    /// The dump of the root that the process knows, to standard output.
    static void dumpStateCallback();

private:
    bool enabled() const;
    void start();
    void stop();

    void nhToSlMapIs() { nhToSlMap_ = nexthopIdToSegmentListMapFactory(); }
    void nhToSlMapDel() { nhToSlMap_ = nullptr; }
    void slToNhMapIs() { slToNhMap_ = segmentListIdToNexthopIdMapFactory(); }
    void slToNhMapDel() { slToNhMap_ = nullptr; }
    void nhConfigSmIs();
    void nhConfigSmDel();
    void publishSmIs();
    void publishSmDel();
    void lfibGenSmIs();
    void lfibGenSmDel();

    Quor::Ptr<SrTePolicy::Status const> const status_;
    Quor::Ptr<Config const> const gribiConfig_;
    Quor::Ptr<GribiAfts const> const gribiAfts_;
    Quor::Ptr<GribiStatus> const gribiStatus_;
    Quor::Ptr<NhToTunnelMap> const gribiNhToTunnelMap_;
    Quor::Ptr<SrTePolicy::CoreDedupTables> const coreDedupTables_;
    Quor::Ptr<SrTePolicy::SegmentListStatus const> const segmentListStatus_;
    Quor::Ptr<SrTePolicy::Export::SegmentListCollection> const segmentListExport_;
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable const> const segmentListTunnelTable_;
    Quor::Ptr<Mpls::LfibStatus> const gribiProtocolInputLfib_;
    Quor::Ptr<SrTePolicy::PolicyStatus const> const srTePolicyStatus_;
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const fwdStatus_;
    SrTePolicy::FecIdRange const fecIdRange_;

    bool initialized_ = false;
    std::optional<bool> decision_;  // none before the first evaluation

    // While running. A crash ends the machines before the maps, whose lists end with them.
    Quor::Ptr<NexthopIdToSegmentListMap> nhToSlMap_;
    Quor::Ptr<SegmentListIdToNexthopIdMap> slToNhMap_;
    Quor::Ptr<NhConfigSm> nhConfigSm_;
    Quor::Ptr<PublishSm> publishSm_;
    Quor::Ptr<GribiLfibGenSm> lfibGenSm_;

    std::optional<Quor::AttributeReactor> statusReactor_;
    std::optional<Quor::AttributeReactor> configReactor_;
};

/// A null `status` or `gribiConfig` counts as enabled. `fecIdRange` and `gribiProtocolInputLfib`
/// are gRIBI's alone. The root is running, unless disabled, when this returns.
SRTE_EXPORT Quor::Ptr<RootSm> rootSmFactory(
    Quor::Ptr<SrTePolicy::Status const> status, Quor::Ptr<Config const> gribiConfig,
    Quor::Ptr<GribiAfts const> gribiAfts, Quor::Ptr<GribiStatus> gribiStatus,
    Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap,
    Quor::Ptr<SrTePolicy::CoreDedupTables> coreDedupTables,
    Quor::Ptr<SrTePolicy::SegmentListStatus const> segmentListStatus,
    Quor::Ptr<SrTePolicy::Export::SegmentListCollection> segmentListExport,
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable const> segmentListTunnelTable,
    Quor::Ptr<Mpls::LfibStatus> gribiProtocolInputLfib,
    Quor::Ptr<SrTePolicy::PolicyStatus const> srTePolicyStatus,
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus, SrTePolicy::FecIdRange fecIdRange);

}  // namespace Gribi
