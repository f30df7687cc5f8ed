#include "agent/FilePolicies.h"

#include <algorithm>

namespace Agent {

void FilePolicies::take(Step const& step) {
    auto const place = [this](PolicyKey const& key) -> Place& {
        unseen_.push_back(key);
        return policies_.try_emplace(key, Place{policies_.size(), nullptr, {}}).first->second;
    };
    for (auto const& write : step.policies.written) {
        place(write.policy.key()).record = &write.policy;
    }
    for (auto const& key : step.policies.removed) place(key).record = nullptr;
}

void FilePolicies::seen() {
    for (auto const& key : unseen_) {
        auto& place = policies_.at(key);
        place.seen.clear();
        if (!place.record) continue;
        for (auto const& candidate : place.record->candidates) place.seen.push_back(&candidate);
    }
    unseen_.clear();
}

std::vector<FilePolicies::PolicyKey> FilePolicies::everNamed() const {
    std::vector<PolicyKey> keys(policies_.size());
    for (auto const& [key, place] : policies_) keys[place.order] = key;
    return keys;
}

std::vector<PolicyRecord const*> FilePolicies::present() const {
    std::vector<PolicyRecord const*> records;
    for (auto const& key : everNamed()) {
        if (auto const* const record = policy(key)) records.push_back(record);
    }
    return records;
}

PolicyRecord const* FilePolicies::policy(PolicyKey const& key) const {
    auto const found = policies_.find(key);
    return found == policies_.end() ? nullptr : found->second.record;
}

std::optional<FileList> FilePolicies::list(ListName const& name) const {
    auto const* const record = policy(name.policy);
    auto const* const candidate = record ? record->candidate(name.candidate) : nullptr;
    if (!candidate) return std::nullopt;
    auto const& names = candidate->listNames;
    auto const found = std::find(names.begin(), names.end(), name.list);
    if (found == names.end()) return std::nullopt;
    return FileList{candidate, static_cast<std::size_t>(found - names.begin())};
}

std::vector<CandidateRecord const*> FilePolicies::seenCandidates(PolicyKey const& key) const {
    auto const found = policies_.find(key);
    if (found == policies_.end()) return {};
    return found->second.seen;
}

CandidateRecord const* FilePolicies::seenCandidate(PolicyId const& id) const {
    auto const found = policies_.find(id.key);
    if (found == policies_.end()) return nullptr;
    for (auto const* const candidate : found->second.seen) {
        if (candidate->id() == id) return candidate;
    }
    return nullptr;
}

std::string FilePolicies::candidateName(PolicyId const& id) const {
    auto const* const record = seenCandidate(id);
    return record ? record->name : id.candidate.stringValue();
}

}  // namespace Agent
