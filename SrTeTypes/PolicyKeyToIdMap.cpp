#include "SrTeTypes/PolicyKeyToIdMap.h"

namespace SrTePolicy {
namespace {

// Not above any candidate of the key: protocol, addresses and numbers at their least.
PolicyId lowestId(PolicyKey const& key) {
    return {key, {static_cast<Protocol>(0), Wirex::IpGenAddr(), 0, 0}};
}

}  // namespace

PolicyKeyToIdMap::Candidates::Position PolicyKeyToIdMap::firstCandidate(
    PolicyKey const& key) const {
    return candidates_.lowerBound(lowestId(key));
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
