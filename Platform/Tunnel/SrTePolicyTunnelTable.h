#pragma once

#include <cstdint>

#include "Platform/Tunnel/Table.h"
#include "Platform/Wirex/IpGenAddr.h"

namespace Tunnel::TunnelTable {

/// A policy as the colored RIB offers it to routes that resolve over a color (RFC 9256, 8.4).
struct SrTePolicyTunnelTableEntry {
    TunnelId tunnelId;
    Wirex::IpGenPrefix endpoint;  ///< of full length
    std::uint32_t color = 0;
    std::uint8_t preference = 0;

    friend bool operator==(SrTePolicyTunnelTableEntry const&,
                           SrTePolicyTunnelTableEntry const&) = default;
};

/// Written by the publish machine alone.
class SrTePolicyTunnelTable final
    : public Table<Quor::NotifyingDenseMap<TunnelId, SrTePolicyTunnelTableEntry>> {};

}  // namespace Tunnel::TunnelTable
