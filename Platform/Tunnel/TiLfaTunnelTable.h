#pragma once

#include <optional>

#include "Platform/Tunnel/MplsVia.h"
#include "Platform/Tunnel/Table.h"

namespace Tunnel::TunnelTable {

/// A link or node protected by TI-LFA: the path in use, and the repair path when there is one.
struct TiLfaTunnelTableEntry {
    TunnelId tunnelId;
    MplsVia primaryVia;
    std::optional<MplsVia> backupVia;

    friend bool operator==(TiLfaTunnelTableEntry const&, TiLfaTunnelTableEntry const&) = default;
};

/// Written by the agent that computes repair paths. The machines here read it, but do not watch it:
/// whoever changes an entry touches the routes over it afterwards.
class TiLfaTunnelTable final : public Table<Quor::NotifyingMap<TunnelId, TiLfaTunnelTableEntry>> {};

}  // namespace Tunnel::TunnelTable
