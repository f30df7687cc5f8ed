#include "SrTeTypes/PolicyKeyToIdMap.h"

#include <bit>

#include "SrTeTypes/SeededHash.h"

namespace SrTePolicy {

std::string PolicyCandidateInfo::stringValue() const {
    return "creationTime " + std::to_string(creationTime) + " reason " +
           std::to_string(static_cast<std::uint32_t>(reason)) + " bindingSid " +
           bindingSid.stringValue();
}

std::uint64_t PolicyCandidateInfo::hash(std::uint64_t seed) const {
    return seededHash(seed, std::bit_cast<std::uint64_t>(creationTime),
                      static_cast<std::uint32_t>(reason), bindingSid.value());
}

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
