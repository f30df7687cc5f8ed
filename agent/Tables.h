#pragma once

#include <cstdint>
#include <optional>

#include "Platform/Bfd/BfdTables.h"
#include "Platform/Keel/FieldlogSm.h"
#include "Platform/Mpls/Config.h"
#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Pooltab/ForwardingStatus.h"
#include "Platform/Routing/HardwareStatus.h"
#include "Platform/Tunnel/CounterTable.h"
#include "Platform/Tunnel/SrTePolicyTunnelTable.h"
#include "Platform/Tunnel/SrTeSegmentListTunnelTable.h"
#include "Platform/Tunnel/TiLfaTunnelTable.h"
#include "SrTePolicy/SrTePolicyFecIdRange.h"
#include "SrTePolicy/SrTePolicySbfdTables.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/EcPolicy.h"
#include "SrTeTypes/ExportedSegmentList.h"
#include "SrTeTypes/GribiAfts.h"
#include "SrTeTypes/GribiConfig.h"
#include "SrTeTypes/GribiStatus.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicySelectionInput.h"
#include "SrTeTypes/PolicyStatus.h"
#include "SrTeTypes/SegmentListStatus.h"
#include "SrTeTypes/Status.h"
#include "SrTeTypes/TunnelIdToPolicyKey.h"

namespace Agent {

/// What the router knows without the agent: written by the scenario, read by the machines.
struct Inputs {
    Quor::Ptr<SrTePolicy::Status> const agentStatus = SrTePolicy::statusFactory();
    Quor::Ptr<SrTePolicy::Config> const config = SrTePolicy::configFactory();
    Quor::Ptr<SrTePolicy::PolicyInputSource> const sources = SrTePolicy::policyInputSourceFactory();
    Quor::Ptr<Mpls::Config> const mplsConfig = Quor::makePtr<Mpls::Config>();
    /// The routes of the other applications, which may touch a route by writing it again.
    Quor::Ptr<Mpls::LfibStatus> const otherLfib =
        Quor::makePtr<Mpls::LfibStatus>(Mpls::EqualWrites::notify);
    Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable> const tiLfa =
        Quor::makePtr<Tunnel::TunnelTable::TiLfaTunnelTable>();
    Quor::Ptr<Routing::Hardware::Status> const hardware =
        Quor::makePtr<Routing::Hardware::Status>();
    Quor::Ptr<Keel::FieldlogSm> const fieldlog = Quor::makePtr<Keel::FieldlogSm>();
    Quor::Ptr<Tunnel::CounterTable> const tunnelCounters = Quor::makePtr<Tunnel::CounterTable>();

    Quor::Ptr<Bfd::ConfigGlobal> const bfdGlobal = Quor::makePtr<Bfd::ConfigGlobal>();
    Quor::Ptr<Bfd::AppStatus> const bfdAppStatus = Quor::makePtr<Bfd::AppStatus>();
    /// The rows of our own sessions go with the sessions.
    Quor::Ptr<Bfd::StatusPeer> const bfdPeers = Quor::makePtr<Bfd::StatusPeer>();

    Quor::Ptr<Gribi::Config> const gribiConfig = Gribi::configFactory();
    Quor::Ptr<Gribi::GribiAfts> const gribiAfts = Gribi::gribiAftsFactory();
};

/// What the machines write and what outlives them: forwarding goes on while the agent is away.
struct SurvivingTables {
    Quor::Ptr<SrTePolicy::Export::SegmentListCollection> const exportedLists =
        SrTePolicy::Export::segmentListCollectionFactory();
    Quor::Ptr<SrTePolicy::SegmentListStatus> const segmentListStatus =
        SrTePolicy::segmentListStatusFactory();
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable> const segmentListTunnels =
        Quor::makePtr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable>();
    Quor::Ptr<SrTePolicy::PolicySelectionInput> const selectionInput =
        SrTePolicy::policySelectionInputFactory();
    Quor::Ptr<SrTePolicy::EcPolicy> const ecPolicy = SrTePolicy::ecPolicyFactory();
    Quor::Ptr<SrTePolicy::PolicyStatus> const policyStatus = SrTePolicy::policyStatusFactory();
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const forwarding =
        Quor::makePtr<Pooltab::Fib::ForwardingStatus>();
    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> const policyTunnels =
        Quor::makePtr<Tunnel::TunnelTable::SrTePolicyTunnelTable>();
    Quor::Ptr<Mpls::LfibStatus> const bindingSidLfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<SrTePolicy::TunnelIdToPolicyKey> const tunnelMap =
        SrTePolicy::tunnelIdToPolicyKeyFactory();
    Quor::Ptr<SrTePolicy::Sbfd::SbfdInputConfig> const sbfdInputConfig =
        SrTePolicy::Sbfd::sbfdInputConfigFactory();
    Quor::Ptr<Bfd::AppConfig> const bfdSessions = Quor::makePtr<Bfd::AppConfig>();
    Quor::Ptr<Gribi::GribiStatus> const gribiStatus = Gribi::gribiStatusFactory();
    Quor::Ptr<Gribi::NhToTunnelMap> const nextHopTunnels = Gribi::nhToTunnelMapFactory();
    Quor::Ptr<Mpls::LfibStatus> const gribiLfib = Quor::makePtr<Mpls::LfibStatus>();
};

/// Every table that is there for as long as the router is. What is new in every run of the agent
/// belongs to `Machines`.
struct Tables : Inputs, SurvivingTables {
    /// The LFIB that packets meet.
    Quor::Ptr<Mpls::LfibMerge> const lfibMerge =
        Quor::makePtr<Mpls::LfibMerge>(otherLfib, gribiLfib, bindingSidLfib);

    Mpls::LfibStatus const& lfib() const { return *lfibMerge->lfibStatus(); }
};

/// The FEC identifiers that the host sets aside for policies; those of gRIBI follow.
inline constexpr SrTePolicy::FecIdRange policyFecIds{Pooltab::Fib::FecId(0x100000000),
                                                     Pooltab::Fib::FecId(0x1ffffffff)};
inline constexpr SrTePolicy::FecIdRange gribiFecIds{Pooltab::Fib::FecId(0x200000000),
                                                    Pooltab::Fib::FecId(0x2ffffffff)};

/// The largest identity of a segment list that any table names which the agent finds at its start;
/// 0 when none does. A new run of the agent hands out only larger ones.
SrTePolicy::SegmentListId largestSegmentListId(Tables const& tables);

/// The S-BFD session of a list and a remote discriminator, as the agent asks BFD for it.
Bfd::AppPeer sbfdSession(SrTePolicy::SegmentListId id, Bfd::BfdDiscriminator remoteDiscriminator);
inline constexpr char bfdApplication[] = "SrTePolicy";
inline constexpr char bfdVrf[] = "default";

/// The list that the tunnel of a list carries.
SrTePolicy::SegmentListId segmentListOf(Tunnel::TunnelTable::TunnelId tunnelId);
/// The identity that a candidate's list with these labels has; nothing while it is not interned.
std::optional<SrTePolicy::SegmentListId> segmentListId(SurvivingTables const& tables,
                                                       SrTePolicy::PolicyId const& candidate,
                                                       Wirex::BoundedMplsLabelStack const& labels);
/// The labels of an interned list.
Wirex::BoundedMplsLabelStack labelsOf(SrTePolicy::Export::SegmentList const& list);

/// Empties what the publish machine writes.
void clearPublishOutputs(SurvivingTables const& tables);

}  // namespace Agent
