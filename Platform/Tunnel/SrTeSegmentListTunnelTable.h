#pragma once

#include <span>
#include <string>
#include <vector>

#include "Platform/Tunnel/PackedMplsVias.h"
#include "Platform/Tunnel/Table.h"

namespace Tunnel::TunnelTable {

/// The tunnel of one resolved segment list.
struct SRTE_EXPORT SrTeSegmentListTunnelTableEntry {
    TunnelId tunnelId;
    PackedMplsVias packedVias;

    SrTeSegmentListTunnelTableEntry() = default;
    /// Throws RangeError above 600 vias.
    SrTeSegmentListTunnelTableEntry(TunnelId id, std::span<MplsVia const> vias)
        : tunnelId(id), packedVias(vias) {}

    std::size_t viaCount() const { return packedVias.size(); }
    /// In index order; unpacked by every call.
    std::vector<MplsVia> vias() const { return packedVias.vias(); }
    MplsVia via(Pooltab::Fib::ViaIndex index) const { return packedVias.via(index); }

    /// The id, a colon and the vias in index order, separated by `,`.
    std::string stringValue() const;

    friend bool operator==(SrTeSegmentListTunnelTableEntry const&,
                           SrTeSegmentListTunnelTableEntry const&) = default;
};

/// Written by the segment-list machine alone.
class SrTeSegmentListTunnelTable final
    : public Table<Quor::NotifyingDenseMap<TunnelId, SrTeSegmentListTunnelTableEntry>> {};

}  // namespace Tunnel::TunnelTable
