#include "SrTeTypes/PolicyInput.h"

#include "SrTeTypes/SeededHash.h"

namespace SrTePolicy {

std::string WeightedLabels::stringValue() const {
    return labels.stringValue() + " weight " + std::to_string(weight);
}

std::uint64_t WeightedLabels::hash(std::uint64_t seed) const {
    auto const& stack = labels.stack;
    seed = seededHash(seed, static_cast<std::uint32_t>(labels.action), stack.size(), weight);
    for (std::size_t i = 0; i < stack.size(); ++i) seed = seededHash(seed, stack.label(i).value());
    return seed;
}

std::string PolicyInputEntry::stringValue() const {
    auto text = policyId.stringValue() + " bindingSid " + bindingSid.stringValue() + " enlp " +
                enlp.stringValue() + " preference " + preference.stringValue() + " originator " +
                originator.stringValue() + " segmentList #" + std::to_string(segmentList.size());
    for (auto const& list : segmentList) text.append(" ").append(list.stringValue());
    return text;
}

std::uint64_t PolicyInputEntry::hash(std::uint64_t seed) const {
    seed = originator.hash(policyId.hash(seed));
    seed = seededHash(seed, bindingSid.value(), enlp.value(), preference.value());
    for (auto const& list : segmentList) seed = list.hash(seed);
    return seed;
}

}  // namespace SrTePolicy
