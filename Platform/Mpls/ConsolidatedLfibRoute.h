#pragma once

#include <vector>

#include "Platform/Mpls/LfibTypes.h"

namespace Mpls {

/// A route with all its forwarding, as writers give it: it becomes visible, changes and goes as
/// one.
///
/// A route of the unset via type has no via set, and a default-constructed via is one that its via
/// set names and that does not exist: readers of tables filled by others meet both.
struct ConsolidatedLfibRoute {
    RouteKey key;
    LfibRouteType type = LfibRouteType::unset;
    LFib::Source source = LFib::Source::unset;
    Wirex::IpGenPrefix fec;  ///< the forwarding-equivalence class (RFC 3031, 2.1); most have none
    RouteMetric metric;
    LfibViaType viaType = LfibViaType::unset;
    std::vector<LfibMplsVia> mplsVias;  ///< of type `mpls`, by index
    LfibExtFecVia extFecVia;            ///< of type `extFec`

    friend bool operator==(ConsolidatedLfibRoute const&, ConsolidatedLfibRoute const&) = default;
};

}  // namespace Mpls
