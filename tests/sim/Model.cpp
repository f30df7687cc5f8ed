#include "tests/sim/Model.h"

#include <algorithm>

#include "tests/sim/TableWalk.h"
#include "tests/sim/Words.h"

namespace Sim::Expected {

namespace {

using SrTePolicy::PolicyInputEntry;
using SrTePolicy::PolicyInvalidReason;
using SrTePolicy::PolicyKey;
using Wirex::MplsLabel;

/// A range may end above the labels, and then still holds labels only.
bool inSrlb(MplsLabel label, Agent::Inputs const& inputs) {
    auto const* const range = inputs.mplsConfig->labelRange("srlb");
    if (!range || !label.isReal()) return false;
    auto const base = std::uint64_t{range->base()};
    return label.value() >= base && label.value() < base + range->size();
}

bool inUseByOthers(MplsLabel label, Outcome const& outcome) {
    if (auto const* const route = otherRoute(outcome.inputs, label)) {
        return route->source != Mpls::LFib::Source::srTePolicy;
    }
    return outcome.gribiRoutes.contains(label);
}

PolicyInvalidReason verdict(PolicyInputEntry const& entry, Outcome const& outcome) {
    auto const& lists = entry.segmentList;
    if (lists.empty()) return PolicyInvalidReason::noSegmentLists;
    if (entry.bindingSid.isNull()) {
        if (outcome.inputs.config->specifiedBsidOnly()) return PolicyInvalidReason::bsidMissing;
    } else if (!inSrlb(entry.bindingSid, outcome.inputs)) {
        return PolicyInvalidReason::bsidOutOfRange;
    } else if (inUseByOthers(entry.bindingSid, outcome)) {
        return PolicyInvalidReason::bsidInUse;
    }
    bool const fit = std::ranges::all_of(
        lists, [](auto const& list) { return canBeInterned(list.labels.stack); });
    return fit ? PolicyInvalidReason::usable : PolicyInvalidReason::noSegmentLists;
}

/// Only the lists of valid candidates live.
void take(PolicyInputEntry const& entry, Outcome& outcome) {
    if (entry == PolicyInputEntry(entry.policyId)) return;  // it says that there is none
    auto& candidate = outcome.candidates.emplace_back();
    candidate.entry = &entry;
    candidate.reason = verdict(entry, outcome);
    if (!candidate.valid()) return;
    for (auto const& [labels, weight] : entry.segmentList) {
        auto& list = outcome.lists[ListContent{entry.policyId, labels.stack, {}}];
        candidate.lists.push_back({&list, weight});
    }
}

/// Below zero when `a` is the lower originator: AS first, then the address as a number of 128 bits,
/// then its family.
int compare(SrTePolicy::Originator const& a, SrTePolicy::Originator const& b) {
    if (a.as != b.as) return a.as < b.as ? -1 : 1;
    auto const& [x, y] = std::pair(a.address.bytes(), b.address.bytes());
    if (x != y) return x < y ? -1 : 1;
    return static_cast<int>(a.address.family()) - static_cast<int>(b.address.family());
}

/// The higher preference, the higher protocol, the lower originator, the higher discriminator; of
/// equal ones the lower originator of the identity.
bool isBetter(Candidate const* a, Candidate const* b) {
    auto const& x = *a->entry;
    auto const& y = *b->entry;
    auto const& p = x.policyId.candidate;
    auto const& q = y.policyId.candidate;
    if (x.preference != y.preference) return x.preference.value() > y.preference.value();
    if (p.protocol != q.protocol) return p.protocol > q.protocol;
    if (auto const order = compare(x.originator, y.originator)) return order < 0;
    if (p.discriminator != q.discriminator) return p.discriminator > q.discriminator;
    return compare({p.originator, p.originatorAs}, {q.originator, q.originatorAs}) < 0;
}

void select(Outcome& outcome) {
    for (auto& candidate : outcome.candidates) {
        std::ranges::copy_if(
            candidate.lists, std::back_inserter(candidate.usable),
            [](auto const& list) { return list.list->usable() && !list.list->sessionDown; });
        if (candidate.usable.empty()) continue;
        outcome.policies[candidate.id().key].candidates.push_back(&candidate);
    }
    for (auto& [key, policy] : outcome.policies) std::ranges::sort(policy.candidates, isBetter);
}

constexpr std::size_t maxVias = 600;

/// A FEC takes no more vias, and none of weight 0.
bool isPublishable(Candidate const& active) {
    auto const& lists = active.usable;
    return lists.size() <= maxVias &&
           std::ranges::all_of(lists, [](auto const& list) { return list.weight > 0; });
}

/// Who came first; one that does not want the binding SID cannot have it.
PolicyKey holderOf(MplsLabel bindingSid, std::vector<PolicyKey> const& claimants,
                   Outcome& outcome) {
    auto const& holders = outcome.witnesses.bindingSidHolder;
    auto const holder = holders.find(bindingSid);
    if (holder != holders.end() && std::ranges::count(claimants, holder->second)) {
        return holder->second;
    }
    outcome.unwarranted.push_back(words("binding SID", bindingSid, "is with none that wants it"));
    return claimants.front();
}

void publish(Outcome& outcome) {
    std::map<MplsLabel, std::vector<PolicyKey>> claims;
    for (auto& [key, policy] : outcome.policies) {
        policy.published = isPublishable(policy.active());
        auto const bindingSid = policy.bindingSid();
        if (policy.published && !bindingSid.isNull()) claims[bindingSid].push_back(key);
    }
    for (auto const& [bindingSid, claimants] : claims) {
        auto const holder = holderOf(bindingSid, claimants, outcome);
        outcome.bindingSidHolder[bindingSid] = holder;
        for (auto const& key : claimants) {
            auto& policy = outcome.policies[key];
            policy.refused = key != holder;
            policy.published = key == holder;
        }
    }
}

/// A list whose top label has a route of ours has a record to resolve over, but never becomes
/// usable by it: so this comes last.
void resolveOverOwnRoutes(Outcome& outcome) {
    for (auto& [content, list] : outcome.lists) {
        if (outcome.bindingSidHolder.contains(content.labels.label(0))) resolve(list, outcome);
    }
}

}  // namespace

Outcome::Outcome(Agent::Inputs const& from, Witnesses history)
    : inputs(from), witnesses(std::move(history)) {
    takeGribi(*this);
    for (auto const& [protocol, source] : each(inputs.sources->policyInput())) {
        for (auto const& [id, entry] : each(source->policyInputEntry())) take(entry, *this);
    }
    for (auto& [content, list] : lists) {
        list.content = content;
        resolve(list, *this);
        list.sessionDown = Expected::sessionDown(*this, content);
    }
    select(*this);
    publish(*this);
    resolveOverOwnRoutes(*this);
}

bool canBeInterned(Wirex::BoundedMplsLabelStack const& labels) {
    if (labels.size() > SrTePolicy::Export::SegmentList::maxSize) return false;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (!labels.label(i).isReal()) return false;
    }
    return true;
}

/// Only a policy's list may lead over a protected label.
void resolve(List& list, Outcome const& outcome) {
    auto const& labels = list.content.labels;
    auto const top = labels.empty() ? std::nullopt : segment(outcome, labels.label(0));
    list.resolution.reset();
    if (!top || (top->overTiLfa && !list.content.isOfPolicy())) return;
    list.resolution = resolution(labels, *top, outcome.inputs);
}

Mpls::ConsolidatedLfibRoute const* otherRoute(Agent::Inputs const& inputs, MplsLabel label) {
    return inputs.otherLfib->consolidatedRoute(Mpls::RouteKey::fromLabel(label));
}

std::optional<Segment> segment(Outcome const& outcome, MplsLabel label) {
    if (auto const* const route = otherRoute(outcome.inputs, label)) return segmentOf(route);
    bool const own =
        outcome.gribiRoutes.contains(label) || outcome.bindingSidHolder.contains(label);
    if (!own) return std::nullopt;
    return Segment{Mpls::LfibViaType::extFec, {}, {}, false};
}

}  // namespace Sim::Expected
