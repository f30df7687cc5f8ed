#include "agent/TrafficCounters.h"

namespace Agent {

TrafficCounters::TrafficCounters(Tables const& tables, FilePolicies const& filePolicies)
    : tables_(tables),
      filePolicies_(filePolicies),
      candidateReactor_(tables.selectionInput->entrySubject(), this,
                        [](TrafficCounters& self, SrTePolicy::PolicyId const& id) {
                            self.placeWaiting(id.key);
                        }) {}

void TrafficCounters::take(Step const& step) {
    for (auto const& write : step.policies.written) placeWaiting(write.policy.key());
    for (auto const& name : step.counters.written) {
        if (counters_.try_emplace(name).second) placeWaiting(name.policy);
    }
    for (auto const& name : step.counters.removed) remove(name);
}

void TrafficCounters::placeWaiting(PolicyKey const& key) {
    for (auto row = firstOf(key); row != counters_.end() && row->first.policy == key; ++row) {
        auto& [name, place] = *row;
        if (place) continue;
        place = tunnelOf(name);
        if (place) tables_.tunnelCounters->tunnelCounterIs(*place, {});
    }
}

std::optional<TrafficCounters::TunnelId> TrafficCounters::tunnelOf(ListName const& name) const {
    auto const list = filePolicies_.list(name);
    if (!list) return std::nullopt;
    auto const id = segmentListId(tables_, list->candidate->id(), list->labels());
    return id ? std::optional(id->getTunnelId()) : std::nullopt;
}

// Lists with equal labels share a tunnel, and its counter.
void TrafficCounters::remove(ListName const& name) {
    auto const found = counters_.find(name);
    if (found == counters_.end()) return;
    auto const place = found->second;
    counters_.erase(found);
    if (!place) return;
    for (auto row = firstOf(name.policy); row != counters_.end(); ++row) {
        if (row->first.policy != name.policy) break;
        if (row->second == place) return;
    }
    tables_.tunnelCounters->tunnelCounterDel(*place);
}

}  // namespace Agent
