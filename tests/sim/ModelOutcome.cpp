#include "tests/sim/ModelOutcome.h"

#include <algorithm>

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

bool inUseByOthers(MplsLabel label, Agent::Inputs const& inputs, Outcome const& outcome) {
    if (auto const* const route = otherRoute(inputs, label)) {
        return route->source != Mpls::LFib::Source::srTePolicy;
    }
    return outcome.gribiRoutes.contains(label);
}

PolicyInvalidReason verdict(PolicyInputEntry const& entry, Agent::Inputs const& inputs,
                            Outcome const& outcome) {
    auto const& lists = entry.segmentList;
    if (lists.empty()) return PolicyInvalidReason::noSegmentLists;
    if (entry.bindingSid.isNull()) {
        if (inputs.config->specifiedBsidOnly()) return PolicyInvalidReason::bsidMissing;
    } else if (!inSrlb(entry.bindingSid, inputs)) {
        return PolicyInvalidReason::bsidOutOfRange;
    } else if (inUseByOthers(entry.bindingSid, inputs, outcome)) {
        return PolicyInvalidReason::bsidInUse;
    }
    bool const fit = std::all_of(lists.begin(), lists.end(),
                                 [](auto const& list) { return canBeInterned(list.labels.stack); });
    return fit ? PolicyInvalidReason::usable : PolicyInvalidReason::noSegmentLists;
}

ListContent contentOf(PolicyInputEntry const& entry, Wirex::BoundedMplsLabelStack const& stack) {
    ListContent content{entry.policyId, {}, {}};
    for (std::size_t i = 0; i < stack.size(); ++i) content.labels.push_back(stack.label(i));
    return content;
}

/// Only the lists of valid candidates live.
void take(PolicyInputEntry const& entry, Agent::Inputs const& inputs, Outcome& outcome) {
    if (entry == PolicyInputEntry(entry.policyId)) return;  // it says that there is none
    auto& candidate = outcome.candidates.emplace_back();
    candidate.entry = &entry;
    candidate.reason = verdict(entry, inputs, outcome);
    if (!candidate.valid()) return;
    for (auto const& [labels, weight] : entry.segmentList) {
        auto& list = outcome.lists[contentOf(entry, labels.stack)];
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
        for (auto const& list : candidate.lists) {
            if (!list.list->usable() || list.list->sessionDown) continue;
            candidate.usable.push_back(list);
        }
        if (candidate.usable.empty()) continue;
        outcome.policies[candidate.id().key].candidates.push_back(&candidate);
    }
    for (auto& [key, policy] : outcome.policies) {
        std::sort(policy.candidates.begin(), policy.candidates.end(), isBetter);
    }
}

constexpr std::size_t maxVias = 600;

/// A FEC takes no more vias, and none of weight 0.
bool isPublishable(Candidate const& active) {
    auto const& lists = active.usable;
    return lists.size() <= maxVias && std::all_of(lists.begin(), lists.end(),
                                                  [](auto const& list) { return list.weight > 0; });
}

/// Who came first; one that does not want the binding SID cannot have it.
PolicyKey holderOf(MplsLabel bindingSid, std::vector<PolicyKey> const& claimants,
                   Witnesses const& witnesses, Outcome& outcome) {
    auto const witness = witnesses.bindingSidHolder.find(bindingSid);
    if (witness != witnesses.bindingSidHolder.end()) {
        auto const& holder = witness->second;
        if (std::find(claimants.begin(), claimants.end(), holder) != claimants.end()) return holder;
    }
    outcome.unwarranted.push_back(words("binding SID", bindingSid, "is with none that wants it"));
    return claimants.front();
}

void publish(Witnesses const& witnesses, Outcome& outcome) {
    std::map<MplsLabel, std::vector<PolicyKey>> claims;
    for (auto& [key, policy] : outcome.policies) {
        auto const bindingSid = policy.active().entry->bindingSid;
        policy.published = isPublishable(policy.active());
        if (policy.published && !bindingSid.isNull()) claims[bindingSid].push_back(key);
    }
    for (auto const& [bindingSid, claimants] : claims) {
        auto const holder = holderOf(bindingSid, claimants, witnesses, outcome);
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
void resolveOverOwnRoutes(Agent::Inputs const& inputs, Outcome& outcome) {
    for (auto& [content, list] : outcome.lists) {
        auto const& labels = content.labels;
        if (!labels.empty() && outcome.bindingSidHolder.contains(labels.front())) {
            resolve(list, inputs, outcome);
        }
    }
}

}  // namespace

bool canBeInterned(Wirex::BoundedMplsLabelStack const& labels) {
    if (labels.size() > SrTePolicy::Export::SegmentList::maxSize) return false;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (!labels.label(i).isReal()) return false;
    }
    return true;
}

/// Only a policy's list may lead over a protected label.
void resolve(List& list, Agent::Inputs const& inputs, Outcome const& outcome) {
    auto const& labels = list.content.labels;
    auto const top = labels.empty() ? std::nullopt : segment(inputs, outcome, labels.front());
    list.resolution.reset();
    if (!top || (top->overTiLfa && !list.content.isOfPolicy())) return;
    list.resolution = resolution(labels, *top, inputs);
}

Mpls::ConsolidatedLfibRoute const* otherRoute(Agent::Inputs const& inputs, MplsLabel label) {
    return inputs.otherLfib->consolidatedRoute(Mpls::RouteKey::fromLabel(label));
}

std::optional<Segment> segment(Agent::Inputs const& inputs, Outcome const& outcome,
                               MplsLabel label) {
    if (auto const* const route = otherRoute(inputs, label)) return segment(route);
    bool const own =
        outcome.gribiRoutes.contains(label) || outcome.bindingSidHolder.contains(label);
    if (!own) return std::nullopt;
    return Segment{Mpls::LfibViaType::extFec, {}, {}, false};
}

ExplicitNull explicitNull(PolicyKey const& key, SrTePolicy::Enlp enlp) {
    if (enlp.value() == 0) return {!key.endpoint.isV4(), !key.endpoint.isV6()};
    return {enlp.value() == 1 || enlp.value() == 3, enlp.value() == 2 || enlp.value() == 3};
}

Outcome outcome(Agent::Inputs const& inputs, Witnesses const& witnesses) {
    Outcome outcome;
    takeGribi(inputs, outcome);
    for (auto source = inputs.sources->policyInput().begin(); source; source.next()) {
        auto const& entries = source.value()->policyInputEntry();
        for (auto row = entries.begin(); row; row.next()) take(row.value(), inputs, outcome);
    }
    for (auto& [content, list] : outcome.lists) {
        list.content = content;
        resolve(list, inputs, outcome);
        list.sessionDown = sessionDown(inputs, witnesses, content);
    }
    select(outcome);
    publish(witnesses, outcome);
    resolveOverOwnRoutes(inputs, outcome);
    return outcome;
}

}  // namespace Sim::Expected
