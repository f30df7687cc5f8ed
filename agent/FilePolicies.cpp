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

std::vector<PolicyRecord const*> FilePolicies::present() const {
    std::vector<Place const*> places;
    for (auto const& [key, place] : policies_) {
        if (place.record) places.push_back(&place);
    }
    std::sort(places.begin(), places.end(),
              [](auto const* a, auto const* b) { return a->order < b->order; });
    std::vector<PolicyRecord const*> records;
    records.reserve(places.size());
    for (auto const* const place : places) records.push_back(place->record);
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
