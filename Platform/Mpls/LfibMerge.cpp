#include "Platform/Mpls/LfibMerge.h"

#include <utility>

namespace Mpls {

LfibMerge::LfibMerge(Quor::Ptr<LfibStatus const> others, Quor::Ptr<LfibStatus const> gribi,
                     Quor::Ptr<LfibStatus const> policies)
    : others_(std::move(others)),
      gribi_(std::move(gribi)),
      policies_(std::move(policies)),
      lfibStatus_(Quor::makePtr<LfibStatus>()),
      lfibTrackingStatus_(Quor::makePtr<LfibTrackingStatus>(lfibStatus_)),
      othersReactor_(others_->rows(), this,
                     [](LfibMerge& self, RouteKey const& key) { self.handleOtherRoute(key); }),
      gribiReactor_(gribi_->rows(), this,
                    [](LfibMerge& self, RouteKey const& key) { self.handleOwnRoute(key); }),
      policiesReactor_(policies_->rows(), this,
                       [](LfibMerge& self, RouteKey const& key) { self.handleOwnRoute(key); }) {
    mergeAll();
}

void LfibMerge::mergeAll() {
    Quor::Ptr<LfibStatus const> const merged = lfibStatus_;
    for (auto const* const table : {&merged, &others_, &gribi_, &policies_}) {
        for (auto row = (*table)->rows().begin(); row; row.next()) handleOwnRoute(row.key());
    }
}

void LfibMerge::handleOtherRoute(RouteKey key) {
    // A route that was written again without a change: a tunnel under it may have changed instead.
    bool const touched = others_->rows().has(key);
    if (merge(key) || touched) lfibTrackingStatus_->changed_.notify(key);
}

void LfibMerge::handleOwnRoute(RouteKey key) {
    if (merge(key)) lfibTrackingStatus_->changed_.notify(key);
}

bool LfibMerge::merge(RouteKey key) {
    for (auto const* const table : {&others_, &gribi_, &policies_}) {
        if (auto const* const row = (*table)->rows().find(key)) return lfibStatus_->rowIs(*row);
    }
    return lfibStatus_->rowDel(key);
}

}  // namespace Mpls
