#pragma once

#include <utility>

#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Quor/Reactor.h"

namespace Mpls {

/// Tells of every route of the merged LFIB that changed, and of those that another application
/// wrote again without a change. Signalled by `LfibMerge` alone.
class LfibTrackingStatus final : public Quor::PtrInterface {
public:
    explicit LfibTrackingStatus(Quor::Ptr<LfibStatus const> lfibStatus)
        : lfibStatus_(std::move(lfibStatus)) {}

    Quor::Subject<RouteKey> const& changed() const { return changed_; }
    /// The route of the merged LFIB; the default one when absent.
    LfibRoute route(RouteKey key) const { return lfibStatus_->route(key); }

private:
    friend class LfibMerge;
    Quor::Ptr<LfibStatus const> const lfibStatus_;
    Quor::Subject<RouteKey> changed_;
};

}  // namespace Mpls
