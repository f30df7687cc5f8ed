#include "Platform/Mpls/LfibWriter.h"

namespace Mpls {

void LfibWriter::lfibRouteIs(ConsolidatedLfibRoute route) {
    QUOR_ASSERT(route.key != RouteKey(), "route.key != RouteKey()");
    lfibStatus_->rowIs(Quor::makePtr<LfibRow const>(std::move(route)));
}

void LfibWriter::lfibRouteDel(RouteKey key) {
    lfibStatus_->rowDel(key);
}

void LfibWriter::lfibRouteDelAll() {
    lfibStatus_->rowDelAll();
}

}  // namespace Mpls
