#pragma once

#include "Platform/Export.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Tunnel/Table.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// The policy that a segment list's tunnel belongs to.
struct TunnelIdToPolicyKeyEntry {
    Tunnel::TunnelTable::TunnelId tunnelId;
    PolicyKey policyKey;

    friend bool operator==(TunnelIdToPolicyKeyEntry const&,
                           TunnelIdToPolicyKeyEntry const&) = default;
};

/// For other agents, which know the tunnels alone: to account traffic to policies, for one. A row
/// outlives its policy while the tunnel has a counter. Written by TunnelMapExportSm alone; survives
/// a restart of the agent.
class TunnelIdToPolicyKey final
    : public Tunnel::TunnelTable::Table<
          Quor::NotifyingDenseMap<Tunnel::TunnelTable::TunnelId, TunnelIdToPolicyKeyEntry>> {};

SRTE_EXPORT Quor::Ptr<TunnelIdToPolicyKey> tunnelIdToPolicyKeyFactory();

}  // namespace SrTePolicy
