#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Wirex/IntfId.h"
#include "Platform/Wirex/IpGenAddr.h"
#include "Platform/Wirex/MplsLabelStack.h"

namespace Tunnel::TunnelTable {

/// One path of a tunnel: where its packets go, and the labels they get. Ordered by content, so that
/// sets of vias are written in the same order in every run.
struct SRTE_EXPORT MplsVia {
    Wirex::IpGenAddr nextHop;
    Wirex::IntfId intf;
    Wirex::MplsLabelOperation operation;

    /// `nh: ADDR intf: INTF stack: OPERATION`.
    std::string stringValue() const;

    friend bool operator==(MplsVia const&, MplsVia const&) = default;
    friend std::strong_ordering operator<=>(MplsVia const&, MplsVia const&) = default;
};

}  // namespace Tunnel::TunnelTable

template <>
struct SRTE_EXPORT std::hash<Tunnel::TunnelTable::MplsVia> {
    std::size_t operator()(Tunnel::TunnelTable::MplsVia const& via) const noexcept;
};
