#include <algorithm>

#include "SrTeTypes/GribiAfts.h"
#include "SrTeTypes/GribiConfig.h"
#include "SrTeTypes/GribiStatus.h"
#include "SrTeTypes/Status.h"

namespace Gribi {

void NhgAftEntry::nextHopIs(NextHopId id, std::uint64_t weight) {
    auto const below = [](NextHopWeight const& member, NextHopId key) {
        return member.nextHopId < key;
    };
    auto* const place = nextHop_.empty() || nextHop_.end()[-1].nextHopId < id
                            ? nextHop_.end()
                            : std::lower_bound(nextHop_.begin(), nextHop_.end(), id, below);
    if (place != nextHop_.end() && place->nextHopId == id) {
        place->weight = weight;
        return;
    }
    auto const index = place - nextHop_.begin();
    nextHop_.push_back({id, weight});
    std::rotate(nextHop_.begin() + index, nextHop_.end() - 1, nextHop_.end());
}

Quor::Ptr<GribiAfts> gribiAftsFactory() {
    return Quor::makePtr<GribiAfts>();
}
Quor::Ptr<GribiStatus> gribiStatusFactory() {
    return Quor::makePtr<GribiStatus>();
}
Quor::Ptr<NhToTunnelMap> nhToTunnelMapFactory() {
    return Quor::makePtr<NhToTunnelMap>();
}
Quor::Ptr<Config> configFactory() {
    return Quor::makePtr<Config>();
}

}  // namespace Gribi

namespace SrTePolicy {

Quor::Ptr<Status> statusFactory() {
    return Quor::makePtr<Status>();
}

}  // namespace SrTePolicy
