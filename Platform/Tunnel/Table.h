#pragma once

#include <utility>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Tunnel/TunnelId.h"

namespace Tunnel::TunnelTable {

/// What the tunnel tables have in common: entries that name their own key (`tunnelId`).
template <class Map>
class Table : public Quor::PtrInterface {
public:
    using Entry = typename Map::Value;

    /// Ordered by tunnel id, and observable.
    Map const& entry() const { return entry_; }
    /// Null when absent; valid until the next change or call-out.
    Entry const* entry(TunnelId tunnelId) const { return entry_.find(tunnelId); }

    /// Inserts or replaces. False when the entry was there and equal: no write, nobody is told.
    bool entryIs(Entry entry) {
        auto const tunnelId = entry.tunnelId;
        return entry_.entryIs(tunnelId, std::move(entry));
    }
    bool entryDel(TunnelId tunnelId) { return entry_.entryDel(tunnelId); }
    void entryDelAll() { entry_.entryDelAll(); }

private:
    Map entry_;
};

}  // namespace Tunnel::TunnelTable
