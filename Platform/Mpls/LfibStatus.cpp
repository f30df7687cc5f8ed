#include "Platform/Mpls/LfibStatus.h"

namespace Mpls {

ConsolidatedLfibRoute const* LfibStatus::consolidatedRoute(RouteKey key) const {
    auto const* const row = rows_.find(key);
    return row ? &(*row)->route : nullptr;
}

LfibRoute LfibStatus::route(RouteKey key) const {
    auto const* const route = consolidatedRoute(key);
    if (!route) return {};
    return {route->key, route->type, route->source, route->metric, {route->key}};
}

LfibViaSet LfibStatus::viaSet(LfibViaSetKey key) const {
    auto const* const route = consolidatedRoute(key.routeKey);
    if (!route || route->viaType == LfibViaType::unset) return {};
    auto const count = route->viaType == LfibViaType::extFec ? 1 : route->mplsVias.size();
    return {key, route->viaType, static_cast<std::uint32_t>(count)};
}

LfibMplsVia const& LfibStatus::mplsVia(LfibViaKey key) const {
    static LfibMplsVia const absent;
    auto const* const route = consolidatedRoute(key.viaSetKey.routeKey);
    auto const at = static_cast<std::size_t>(key.index.value());
    return route && at < route->mplsVias.size() ? route->mplsVias[at] : absent;
}

LfibExtFecVia const& LfibStatus::extFecVia(LfibViaSetKey key) const {
    static LfibExtFecVia const absent;
    auto const* const route = consolidatedRoute(key.routeKey);
    return route ? route->extFecVia : absent;
}

bool LfibStatus::rowIs(Quor::Ptr<LfibRow const> row) {
    auto const key = row->route.key;
    auto const* const present = rows_.find(key);
    if (present && (*present == row || (*present)->route == row->route)) {
        // The row stays, so that it remains the one that the merged table shares.
        if (equalWrites_ == EqualWrites::silent) return false;
        rows_.notify(key);
        return true;
    }
    return rows_.entryIs(key, std::move(row));
}

}  // namespace Mpls
