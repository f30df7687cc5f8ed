#include "SrTeTypes/EcPolicy.h"

#include <algorithm>
#include <utility>

namespace SrTePolicy {
namespace {

// The identity, beyond what the priority holds of it.
Originator namedOriginator(PolicyEntry const& entry) {
    auto const& candidate = entry.policyId.candidate;
    return {candidate.originator, candidate.originatorAs};
}

bool ranksBelow(PolicyEntry const& a, PolicyEntry const& b) {
    return losingField(a, b).has_value();
}

}  // namespace

std::string Priority::stringValue() const {
    return protocolEnumToString(protocol) + "-" + preference.stringValue() + "-" +
           originator.stringValue() + " - " + std::to_string(discriminator);
}

std::string_view losingFieldToString(LosingField field) {
    switch (field) {
        case LosingField::lowerPreference: return "lower-preference";
        case LosingField::lowerProtocol: return "lower-protocol";
        case LosingField::higherOriginator: return "higher-originator";
        case LosingField::lowerDiscriminator: return "lower-discriminator";
        case LosingField::tieBreak: break;
    }
    return "tie-break";
}

// The directions differ between the fields on purpose.
std::optional<LosingField> losingField(PolicyEntry const& loser, PolicyEntry const& winner) {
    auto const& low = loser.priority;
    auto const& high = winner.priority;
    auto const losesBy = [](bool lost, LosingField field) {
        return lost ? std::optional(field) : std::nullopt;
    };
    if (low.preference != high.preference) {
        return losesBy(low.preference < high.preference, LosingField::lowerPreference);
    }
    if (low.protocol != high.protocol) {
        return losesBy(low.protocol < high.protocol, LosingField::lowerProtocol);
    }
    if (low.originator != high.originator) {
        return losesBy(low.originator > high.originator, LosingField::higherOriginator);
    }
    if (low.discriminator != high.discriminator) {
        return losesBy(low.discriminator < high.discriminator, LosingField::lowerDiscriminator);
    }
    return losesBy(namedOriginator(loser) > namedOriginator(winner), LosingField::tieBreak);
}

std::int32_t Policy::placeOf(CandidateId const& id) const {
    for (std::size_t place = 0; place < candidates_.size(); ++place) {
        if (candidates_[place].policyId.candidate == id) return static_cast<std::int32_t>(place);
    }
    return none;
}

PolicyEntry const* Policy::candidate(CandidateId const& id) const {
    auto const place = placeOf(id);
    return place == none ? nullptr : &at(place);
}

PolicyEntry const* Policy::best(PolicyEntry const* except) const {
    for (auto entry = candidates_.rbegin(); entry != candidates_.rend(); ++entry) {
        if (&*entry != except) return &*entry;
    }
    return nullptr;
}

std::int32_t Policy::insert(PolicyEntry const& entry) {
    auto const above = std::upper_bound(candidates_.begin(), candidates_.end(), entry, ranksBelow);
    auto const place = static_cast<std::int32_t>(above - candidates_.begin());
    candidates_.insert(above, entry);
    if (active_ >= place) ++active_;
    return place;
}

void Policy::erase(std::int32_t place) {
    candidates_.erase(candidates_.begin() + place);
    if (active_ == place) {
        active_ = none;
    } else if (active_ > place) {
        --active_;
    }
}

void EcPolicy::policyIs(PolicyKey const& key) {
    if (policies_.tryEmplace(key).second) policySubject_.notify(key);
}

void EcPolicy::policyDel(PolicyKey const& key) {
    PolicyKey const unlinked = key;
    if (policies_.erase(unlinked)) policySubject_.notify(unlinked);
}

void EcPolicy::policyDelAll() {
    for (auto row = policies_.begin(); row; row.next()) policyDel(row.key());
}

void EcPolicy::candidateIs(PolicyEntry const& entry) {
    auto* const policy = policies_.find(entry.policyId.key);
    QUOR_ASSERT(policy, "policy");
    auto const place = policy->placeOf(entry.policyId.candidate);
    if (place == Policy::none) {
        policy->insert(entry);
        return;
    }
    auto& held = policy->candidates_[static_cast<std::size_t>(place)];
    if (held == entry) return;
    bool const active = place == policy->active_;
    bool const forwardingChanged = held.bindingSid != entry.bindingSid || held.enlp != entry.enlp ||
                                   held.wTunnelId != entry.wTunnelId;
    if (held.priority == entry.priority) {
        held = entry;
    } else {
        policy->erase(place);
        auto const newPlace = policy->insert(entry);
        if (active) policy->active_ = newPlace;
    }
    if (active && forwardingChanged) activeEntrySubject_.notify(PolicyKey(entry.policyId.key));
}

void EcPolicy::candidateDel(PolicyId const& id) {
    auto* const policy = policies_.find(id.key);
    auto const place = policy ? policy->placeOf(id.candidate) : Policy::none;
    if (place == Policy::none) return;
    PolicyKey const key = id.key;  // `id` may lie in the candidate
    bool const active = place == policy->active_;
    policy->erase(place);
    if (active) activeSubject_.notify(key);
}

void EcPolicy::activeIs(PolicyId const& id) {
    auto* const policy = policies_.find(id.key);
    auto const place = policy ? policy->placeOf(id.candidate) : Policy::none;
    QUOR_ASSERT(place != Policy::none, "policy->candidate(id)");
    policy->active_ = place;
    activeSubject_.notify(PolicyKey(id.key));
}

void EcPolicy::bindingSidIs(PolicyId const& id, Wirex::MplsLabel bindingSid) {
    auto* const policy = policies_.find(id.key);
    auto const place = policy ? policy->placeOf(id.candidate) : Policy::none;
    if (place == Policy::none) return;
    auto& held = policy->candidates_[static_cast<std::size_t>(place)].bindingSid;
    if (std::exchange(held, bindingSid) == bindingSid) return;
    if (place == policy->active_) activeEntrySubject_.notify(PolicyKey(id.key));
}

}  // namespace SrTePolicy
