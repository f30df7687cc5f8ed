#include "SrTeTypes/EcPolicy.h"

#include <algorithm>
#include <utility>

namespace SrTePolicy {
namespace {

// Best last; equal ranks are possible, as rank and identity have originators of their own.
bool ranksBelow(PolicyEntry const& a, PolicyEntry const& b) {
    if (a.priority != b.priority) return b.priority.betterThan(a.priority);
    auto const source = [](PolicyEntry const& entry) {
        auto const& candidate = entry.policyId.candidate;
        return Originator{candidate.originator, candidate.originatorAs};
    };
    if (auto const bySource = source(b) <=> source(a); bySource != 0) return bySource < 0;
    return b.policyId.candidate < a.policyId.candidate;
}

auto findCandidate(std::vector<PolicyEntry>& candidates, CandidateId const& id) {
    return std::find_if(candidates.begin(), candidates.end(),
                        [&id](PolicyEntry const& entry) { return entry.policyId.candidate == id; });
}

}  // namespace

bool Priority::betterThan(Priority const& other) const {
    if (preference != other.preference) return preference > other.preference;
    if (protocol != other.protocol) return protocol > other.protocol;
    if (originator != other.originator) return originator < other.originator;
    return discriminator > other.discriminator;
}

std::string Priority::stringValue() const {
    return protocolEnumToString(protocol) + "-" + preference.stringValue() + "-" +
           originator.stringValue() + " - " + std::to_string(discriminator);
}

PolicyEntry const* Policy::candidate(CandidateId const& id) const {
    for (auto const& entry : candidates_) {
        if (entry.policyId.candidate == id) return &entry;
    }
    return nullptr;
}

PolicyEntry const* Policy::active() const {
    return active_ ? candidate(*active_) : nullptr;
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
    auto& candidates = policy->candidates_;
    auto const found = findCandidate(candidates, entry.policyId.candidate);
    if (found == candidates.end()) {
        candidates.insert(std::upper_bound(candidates.begin(), candidates.end(), entry, ranksBelow),
                          entry);
        return;
    }
    if (*found == entry) return;
    bool const rankChanged = found->priority != entry.priority;
    bool const forwardingChanged = found->bindingSid != entry.bindingSid ||
                                   found->enlp != entry.enlp || found->wTunnelId != entry.wTunnelId;
    if (rankChanged) {
        candidates.erase(found);
        candidates.insert(std::upper_bound(candidates.begin(), candidates.end(), entry, ranksBelow),
                          entry);
    } else {
        *found = entry;
    }
    if (forwardingChanged && policy->active_ == entry.policyId.candidate) {
        activeEntrySubject_.notify(entry.policyId.key);
    }
}

void EcPolicy::candidateDel(PolicyId const& id) {
    auto* const policy = policies_.find(id.key);
    if (!policy) return;
    auto const found = findCandidate(policy->candidates_, id.candidate);
    if (found == policy->candidates_.end()) return;
    PolicyId const unlinked = id;
    policy->candidates_.erase(found);
    if (policy->active_ != unlinked.candidate) return;
    policy->active_.reset();
    activeSubject_.notify(unlinked.key);
}

void EcPolicy::activeIs(PolicyId const& id) {
    auto* const policy = policies_.find(id.key);
    QUOR_ASSERT(policy && policy->candidate(id.candidate), "policy->candidate(id)");
    policy->active_ = id.candidate;
    activeSubject_.notify(PolicyKey(id.key));
}

void EcPolicy::bindingSidIs(PolicyId const& id, Wirex::MplsLabel bindingSid) {
    auto* const policy = policies_.find(id.key);
    if (!policy) return;
    auto const found = findCandidate(policy->candidates_, id.candidate);
    if (found == policy->candidates_.end() || found->bindingSid == bindingSid) return;
    found->bindingSid = bindingSid;
    if (policy->active_ == id.candidate) activeEntrySubject_.notify(PolicyKey(id.key));
}

}  // namespace SrTePolicy
