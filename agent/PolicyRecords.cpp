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
                                std::size_t number, Findings& findings) {
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
        if (auto const* const labels = list.value.find("labels")) {
            record.listNames.push_back(list.key);
            record.entry.segmentList.push_back(
                {pushOf(*labels), numberAt(list.value, "weight", defaultWeight)});
        } else {
            findings.add(list.keyMark,
                         "found list `" + list.key + "` without `labels`, expected 1 to 8");
        }
    }
    return record;
}

std::optional<SrTePolicy::SbfdSettings> sbfdOf(Node const& policy) {
    auto const* const sbfd = policy.find("sbfd");
    if (!sbfd || !isSound(*sbfd)) return std::nullopt;
    auto const field = [&](char const* key) { return numberAt(*sbfd, key, std::uint32_t{0}); };
    return SrTePolicy::SbfdSettings{Bfd::Interval(field("interval")),
                                    Bfd::Multiplier(field("multiplier")),
                                    Bfd::Discriminator(field("discriminator"))};
}

bool contains(std::vector<std::string> const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

CandidateRecord const* candidateNamed(PolicyRecord const& policy, std::string const& name) {
    for (auto const& candidate : policy.candidates) {
        if (candidate.name == name) return &candidate;
    }
    return nullptr;
}

std::vector<std::size_t> placesOf(std::vector<std::string> const& named,
                                  PolicyRecord const& record) {
    std::vector<std::size_t> places;
    for (auto const& name : named) {
        auto const* const found = candidateNamed(record, name);
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
        if (member.value.isNull() || !isSound(member.value)) continue;
        auto const* const before =
            contains(named, member.key) ? nullptr : candidateNamed(present_[key], member.key);
        record.candidates.push_back(before ? *before
                                           : candidateRecord(key, member, number, findings_));
    }
    refuseEqualIdentities(record, *candidates);
    return record;
}

void PolicyRecords::refuseEqualIdentities(PolicyRecord const& record, Node const& candidates) {
    auto const mark = [&](std::string const& name) {
        auto const& member = *candidates.member(name);
        auto const* const from = member.value.find("from");
        return from ? from->mark : member.keyMark;
    };
    std::map<CandidateId, std::string> names;
    for (auto const& candidate : record.candidates) {
        auto const [place, isNew] = names.emplace(candidate.id().candidate, candidate.name);
        if (isNew) continue;
        findings_.add(std::max(mark(place->second), mark(candidate.name)),
                      "candidates `" + place->second + "` and `" + candidate.name +
                          "` have the same protocol, AS, originator and discriminator, expected "
                          "different ones");
    }
}

}  // namespace Agent
