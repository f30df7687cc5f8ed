#pragma once

#include "Platform/Export.h"
#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Mpls/LfibTrackingStatus.h"
#include "Platform/Quor/Reactor.h"

namespace Mpls {

/// Merges the tables of all applications into the one LFIB that packets meet: of several routes for
/// a label, another application's wins over gRIBI's, and gRIBI's over a policy's. In any other
/// order a label that one of gRIBI's own next hops pushes could make the two alternate for ever.
///
///   reads   the table of the other applications (made to notify equal writes), gRIBI's, the
///           policies'
///   writes  the merged table and its tracking status, as their only writer
///   runs    inside its reactors; what the tables hold already is merged when it is made
class SRTE_EXPORT LfibMerge final : public Quor::PtrInterface {
public:
    LfibMerge(Quor::Ptr<LfibStatus const> others, Quor::Ptr<LfibStatus const> gribi,
              Quor::Ptr<LfibStatus const> policies);

    /// Merges every label again, for an owner who may have lost notifications.
    void mergeAll();

    Quor::Ptr<LfibStatus const> lfibStatus() const { return lfibStatus_; }
    Quor::Ptr<LfibTrackingStatus const> lfibTrackingStatus() const { return lfibTrackingStatus_; }

private:
    void handleOtherRoute(RouteKey key);
    void handleOwnRoute(RouteKey key);
    // The merged table's row of `key` from the winning table. False when it stays.
    bool merge(RouteKey key);

    // By falling precedence.
    Quor::Ptr<LfibStatus const> const others_;
    Quor::Ptr<LfibStatus const> const gribi_;
    Quor::Ptr<LfibStatus const> const policies_;

    Quor::Ptr<LfibStatus> const lfibStatus_;
    Quor::Ptr<LfibTrackingStatus> const lfibTrackingStatus_;

    Quor::Reactor<RouteKey> othersReactor_;
    Quor::Reactor<RouteKey> gribiReactor_;
    Quor::Reactor<RouteKey> policiesReactor_;
};

}  // namespace Mpls
