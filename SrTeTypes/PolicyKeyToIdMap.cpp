#include "SrTeTypes/PolicyKeyToIdMap.h"

namespace SrTePolicy {

PolicyKeyToIdMap::Candidates::Position PolicyKeyToIdMap::firstCandidate(
    PolicyKey const& key) const {
    return candidates_.lowerBound(PolicyId::lowest(key));
}

bool PolicyKeyToIdMap::hasPolicy(PolicyKey const& key) const {
    auto const first = firstCandidate(key);
    return first && first.key().key == key;
}

void PolicyKeyToIdMap::policyDel(PolicyKey const& key) {
    for (auto row = firstCandidate(key); row && row.key().key == key; row.next()) {
        candidates_.entryDel(row.key());
    }
}

}  // namespace SrTePolicy
