#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <string>

#include "Platform/Bfd/BfdTypes.h"
#include "Platform/Bfd/SharedName.h"
#include "Platform/Tunnel/TunnelId.h"

namespace Bfd {

/// The far end of an S-BFD session that runs through a tunnel, seen from its initiator (RFC 7880).
struct SRTE_EXPORT Peer {
    L3::VrfName vrf;
    Tunnel::TunnelTable::TunnelId tunnelId;
    BfdDiscriminator remoteDiscriminator;

    /// "vrf VRF tunnel TYPE-INDEX discriminator N".
    std::string stringValue() const;

    friend bool operator==(Peer const&, Peer const&) = default;
    friend std::strong_ordering operator<=>(Peer const&, Peer const&) = default;
};

/// A session as one application asks for it; those of an application stand together.
struct SRTE_EXPORT AppPeer {
    AppName app;
    Peer peer;

    friend bool operator==(AppPeer const&, AppPeer const&) = default;
    friend std::strong_ordering operator<=>(AppPeer const&, AppPeer const&) = default;
};

}  // namespace Bfd

template <>
struct std::hash<Bfd::Peer> {
    std::size_t operator()(Bfd::Peer const& peer) const noexcept {
        return std::hash<Tunnel::TunnelTable::TunnelId>()(peer.tunnelId) ^
               std::size_t{peer.remoteDiscriminator.value()} << 32;
    }
};
