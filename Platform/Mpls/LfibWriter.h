#pragma once

#include <utility>

#include "Platform/Export.h"
#include "Platform/Mpls/LfibStatus.h"

namespace Mpls {

/// How an application writes its table: a route, its via set and its vias are one change.
class SRTE_EXPORT LfibWriter final : public Quor::PtrInterface {
public:
    explicit LfibWriter(Quor::Ptr<LfibStatus> lfibStatus) : lfibStatus_(std::move(lfibStatus)) {}

    /// Inserts or replaces. A route without a key is a programming error.
    void lfibRouteIs(ConsolidatedLfibRoute route);
    /// Nothing happens when the route is absent.
    void lfibRouteDel(RouteKey key);
    void lfibRouteDelAll();

private:
    Quor::Ptr<LfibStatus> const lfibStatus_;
};

}  // namespace Mpls
