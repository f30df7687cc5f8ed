#pragma once

#include "Platform/Pooltab/FecId.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Tunnel/TunnelId.h"
#include "SrTeTypes/GribiIds.h"

namespace Gribi {

/// The FEC of every next-hop group that has one. Written by gRIBI's publish machine alone; survives
/// a restart of the agent.
class SRTE_EXPORT GribiStatus final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<NextHopGroupId, Pooltab::Fib::FecId>;

    Entries const& nhgToFecEntry() const { return entries_; }
    /// Null when the group has no FEC; valid until the next change or call-out.
    Pooltab::Fib::FecId const* nhgToFecEntry(NextHopGroupId id) const { return entries_.find(id); }
    void nhgToFecEntryIs(NextHopGroupId id, Pooltab::Fib::FecId fecId) {
        entries_.entryIs(id, fecId);
    }
    void nhgToFecEntryDel(NextHopGroupId id) { entries_.entryDel(id); }
    void nhgToFecEntryDelAll() { entries_.entryDelAll(); }

private:
    Entries entries_;
};

SRTE_EXPORT Quor::Ptr<GribiStatus> gribiStatusFactory();

/// The tunnel of every next hop whose segment list has a status, usable or not, for the rest of the
/// device. Written by gRIBI's next-hop machine alone; survives a restart of the agent.
class SRTE_EXPORT NhToTunnelMap final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<NextHopId, Tunnel::TunnelTable::TunnelId>;

    Entries const& nhToTunnelMap() const { return entries_; }
    void nhToTunnelMapIs(NextHopId id, Tunnel::TunnelTable::TunnelId tunnelId) {
        entries_.entryIs(id, tunnelId);
    }
    void nhToTunnelMapDel(NextHopId id) { entries_.entryDel(id); }
    void nhToTunnelMapDelAll() { entries_.entryDelAll(); }

private:
    Entries entries_;
};

SRTE_EXPORT Quor::Ptr<NhToTunnelMap> nhToTunnelMapFactory();

}  // namespace Gribi
