#pragma once

#include <utility>

#include "Platform/Export.h"
#include "Platform/Mpls/ConsolidatedLfibRoute.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"

namespace Mpls {

/// A route as tables keep it: never changed, and shared by the table of the application that wrote
/// it with the merged one.
class LfibRow final : public Quor::PtrInterface {
public:
    explicit LfibRow(ConsolidatedLfibRoute written) : route(std::move(written)) {}
    ConsolidatedLfibRoute const route;
};

/// Whether a write of a route that is there already, and equal, tells the readers.
enum class EqualWrites { silent, notify };

/// The label routes of one application, or all of them merged. A lookup that misses yields the
/// default value of what was asked for. References hold until the next change or call-out.
///
/// Written through an `LfibWriter`, or by `LfibMerge`.
class SRTE_EXPORT LfibStatus final : public Quor::PtrInterface {
public:
    using Table = Quor::NotifyingDenseMap<RouteKey, Quor::Ptr<LfibRow const>>;

    explicit LfibStatus(EqualWrites equalWrites = EqualWrites::silent)
        : equalWrites_(equalWrites) {}

    /// Every route, ordered by key, and observable: one event for a route with all its vias.
    Table const& rows() const { return rows_; }
    /// The whole route; null when absent.
    ConsolidatedLfibRoute const* consolidatedRoute(RouteKey key) const;

    LfibRoute route(RouteKey key) const;
    LfibViaSet viaSet(LfibViaSetKey key) const;
    LfibMplsVia const& mplsVia(LfibViaKey key) const;
    LfibExtFecVia const& extFecVia(LfibViaSetKey key) const;

private:
    friend class LfibWriter;
    friend class LfibMerge;

    // False when nobody was told.
    bool rowIs(Quor::Ptr<LfibRow const> row);
    bool rowDel(RouteKey key) { return rows_.entryDel(key); }
    void rowDelAll() { rows_.entryDelAll(); }

    EqualWrites const equalWrites_;
    Table rows_;
};

}  // namespace Mpls
