#include "agent/PolicyRecords.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "agent/MergePatch.h"
#include "agent/RecordFields.h"

namespace Agent {

namespace {

using SrTePolicy::CandidateId;
using SrTePolicy::Enlp;
using SrTePolicy::PolicyKey;

constexpr std::uint32_t defaultPreference = 100;
constexpr std::uint32_t defaultWeight = 1;

/// `number` is the candidate's place among all that the policy ever had, from 1.
CandidateId identityOf(Node const& candidate, std::size_t number) {
    if (auto const* const from = candidate.find("from"))
        return parseCandidateId(from->text).value();
    return {SrTePolicy::Protocol::config, Wirex::IpGenAddr::ipv4(0), 0,
            static_cast<std::uint32_t>(number)};
}

Enlp enlpOf(Node const& candidate) {
    static std::map<std::string, Enlp> const values{{"none-given", Enlp::notGiven()},
                                                    {"ipv4", Enlp::ipv4()},
                                                    {"ipv6", Enlp::ipv6()},
                                                    {"both", Enlp::both()},
                                                    {"none", Enlp::none()}};
    auto const* const enlp = candidate.find("enlp");
    return enlp ? values.at(enlp->text) : Enlp::notGiven();
}

Wirex::MplsLabelOperation pushOf(Node const& labels) {
    Wirex::MplsLabelOperation operation{Wirex::MplsLabelAction::push, {}};
    for (auto const& label : labels.items) {
        operation.stack.append(Wirex::MplsLabel(static_cast<std::uint32_t>(numberOf(label))));
    }
    return operation;
}

CandidateRecord candidateRecord(PolicyKey const& key, Node::Member const& member,
                                std::size_t number) {
    auto const& candidate = member.value;
    auto const id = identityOf(candidate, number);
    CandidateRecord record{member.key, SrTePolicy::PolicyInputEntry({key, id}), {}};
    record.entry.originator = {id.originator, id.originatorAs};
    record.entry.preference =
        SrTePolicy::Preference(numberAt(candidate, "preference", defaultPreference));
    record.entry.bindingSid =
        Wirex::MplsLabel(numberAt(candidate, "bsid", std::uint32_t{Wirex::MplsLabel::null}));
    record.entry.enlp = enlpOf(candidate);
    auto const* const lists = candidate.find("lists");
    if (!lists) return record;
    for (auto const& list : lists->members) {
        if (list.value.isNull()) continue;
        auto const* const labels = list.value.find("labels");
        if (!labels) continue;
        record.listNames.push_back(list.key);
        record.entry.segmentList.push_back(
            {pushOf(*labels), numberAt(list.value, "weight", defaultWeight)});
    }
    return record;
}

void refuseListsWithoutLabels(Node const& candidate, Findings& findings) {
    auto const* const lists = candidate.find("lists");
    if (!lists) return;
    for (auto const& list : lists->members) {
        if (list.value.isMapping() && !list.value.find("labels")) {
            findings.add(list.keyMark,
                         "found list `" + list.key + "` without `labels`, expected 1 to 8");
        }
    }
}

Mark identityMark(Node::Member const& candidate) {
    auto const* const from = candidate.value.find("from");
    return from ? from->mark : candidate.keyMark;
}

void refuseEqualIdentities(Node const& candidates, Findings& findings) {
    std::map<CandidateId, Node::Member const*> owners;
    std::size_t number = 0;
    for (auto const& candidate : candidates.members) {
        ++number;
        auto const* const from = candidate.value.find("from");
        if (!candidate.value.isMapping() || (from && !isSound(*from))) continue;
        auto const [place, isNew] = owners.emplace(identityOf(candidate.value, number), &candidate);
        if (isNew) continue;
        auto const& owner = *place->second;
        findings.add(std::max(identityMark(owner), identityMark(candidate)),
                     "candidates `" + owner.key + "` and `" + candidate.key +
                         "` have the same protocol, AS, originator and discriminator, expected "
                         "different ones");
    }
}

std::optional<SrTePolicy::PolicySbfdConfig> sbfdOf(Node const& policy) {
    auto const* const sbfd = policy.find("sbfd");
    if (!sbfd || !isSound(*sbfd)) return std::nullopt;
    auto const field = [&](char const* key) { return numberAt(*sbfd, key, std::uint32_t{0}); };
    return SrTePolicy::PolicySbfdConfig{Bfd::BfdInterval(field("interval")),
                                        Bfd::BfdMultiplier(field("multiplier")),
                                        Bfd::BfdDiscriminator(field("discriminator"))};
}

bool contains(std::vector<std::string> const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<std::size_t> placesOf(std::vector<std::string> const& named,
                                  PolicyRecord const& record) {
    std::vector<std::size_t> places;
    for (auto const& name : named) {
        auto const* const found = record.candidate(name);
        if (found) places.push_back(static_cast<std::size_t>(found - record.candidates.data()));
    }
    return places;
}

/// Those of `before` that no candidate of `after` has any more.
std::vector<SrTePolicy::PolicyId> identitiesGone(PolicyRecord const& before,
                                                 PolicyRecord const& after) {
    std::vector<SrTePolicy::PolicyId> gone;
    for (auto const& candidate : before.candidates) {
        bool const stays =
            std::any_of(after.candidates.begin(), after.candidates.end(),
                        [&](auto const& other) { return other.id() == candidate.id(); });
        if (!stays) gone.push_back(candidate.id());
    }
    return gone;
}

}  // namespace

void PolicyRecords::take(PolicyKey const& key, Node const& policy,
                         std::vector<std::string> const& candidates, Step& step) {
    auto const before = std::exchange(present_[key], record(key, policy, candidates));
    auto const& after = present_[key];
    for (auto const& id : identitiesGone(before, after)) step.removedCandidates.push_back(id);
    if (policy.isNull()) {
        step.policies.removed.push_back(key);
        present_.erase(key);
    } else {
        step.policies.written.push_back({after, placesOf(candidates, after)});
    }
}

PolicyRecord PolicyRecords::record(PolicyKey const& key, Node const& policy,
                                   std::vector<std::string> const& named) {
    PolicyRecord record{{key, sbfdOf(policy)}, {}};
    auto const* const candidates = policy.find("candidates");
    if (!candidates || !candidates->isMapping()) return record;
    std::size_t number = 0;
    for (auto const& member : candidates->members) {
        ++number;  // also for those that are gone: a number is never given again
        if (member.value.isNull()) continue;
        refuseListsWithoutLabels(member.value, findings_);
        if (!isSound(member.value)) continue;
        auto const* const before =
            contains(named, member.key) ? nullptr : present_[key].candidate(member.key);
        record.candidates.push_back(before ? *before : candidateRecord(key, member, number));
    }
    refuseEqualIdentities(*candidates, findings_);
    return record;
}

CandidateRecord const* PolicyRecord::candidate(std::string const& name) const {
    for (auto const& each : candidates) {
        if (each.name == name) return &each;
    }
    return nullptr;
}

}  // namespace Agent
