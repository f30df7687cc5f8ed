#pragma once

#include <cstdint>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Tunnel/TunnelId.h"

namespace Tunnel {

/// The traffic that a tunnel has carried.
struct TunnelCounter {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;

    friend bool operator==(TunnelCounter const&, TunnelCounter const&) = default;
};

/// The tunnels that have a traffic counter, which may outlive the tunnel until its last reading has
/// been collected. Written by the agent that counts.
class CounterTable final : public Quor::PtrInterface {
public:
    using Counters = Quor::NotifyingDenseMap<TunnelTable::TunnelId, TunnelCounter>;

    /// Ordered by tunnel id, and observable.
    Counters const& tunnelCounter() const { return tunnelCounter_; }
    /// Null when the tunnel has none; valid until the next change or call-out.
    TunnelCounter const* tunnelCounter(TunnelTable::TunnelId tunnelId) const {
        return tunnelCounter_.find(tunnelId);
    }
    void tunnelCounterIs(TunnelTable::TunnelId tunnelId, TunnelCounter const& counter) {
        tunnelCounter_.entryIs(tunnelId, counter);
    }
    void tunnelCounterDel(TunnelTable::TunnelId tunnelId) { tunnelCounter_.entryDel(tunnelId); }
    void tunnelCounterDelAll() { tunnelCounter_.entryDelAll(); }

private:
    Counters tunnelCounter_;
};

}  // namespace Tunnel
