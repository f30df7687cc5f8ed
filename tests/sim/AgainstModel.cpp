#include "tests/sim/AgainstModel.h"

#include <algorithm>
#include <iterator>

#include "tests/sim/TableWalk.h"

namespace Sim {

namespace {

Expected::Outcome outcomeNow(World const& world) {
    auto history = witnesses(world.tables());
    history.countersArePolled = world.nextExpiration().has_value();
    return {world.tables(), std::move(history)};
}

void compare(World const& world, Expected::Outcome const& outcome) {
    auto const expected = Expected::rows(outcome);
    auto const observed = observedRows(world.tables(), world.machines()->tables());
    if (expected == observed) return;
    Rows missing;
    Rows unexpected;
    std::ranges::set_difference(expected, observed, std::back_inserter(missing));
    std::ranges::set_difference(observed, expected, std::back_inserter(unexpected));
    std::string text = "tablesAreThoseOfTheModel: not";
    for (auto const& row : missing) text += "\n  expected " + row;
    for (auto const& row : unexpected) text += "\n  found    " + row;
    throw Violation{text};
}

}  // namespace

void tablesAreThoseOfTheModel(World const& world) {
    compare(world, outcomeNow(world));
}

void AgainstModel::agentBegins() {
    changed_ = true;
    messages_.agentBegins();
}

void AgainstModel::nothingNeedsToStay() {
    published_.clear();
    listIds_.clear();
}

void AgainstModel::inputsWritten() {
    changed_ = true;
    auto const now = outcomeNow(world_);
    messages_.follow(now);
    std::erase_if(listIds_, [&now](auto const& list) { return !now.lists.contains(list.first); });
    auto const published = publishedBy(now);
    for (auto& [key, reason] : published_) {
        auto const still = published.find(key);
        bool const same = still != published.end() && still->second.bindingSid == reason.bindingSid;
        std::erase_if(reason.usable, [&still, same](auto const& list) {
            return !same || !still->second.usable.contains(list);
        });
    }
    std::erase_if(published_, [](auto const& policy) { return policy.second.usable.empty(); });
}

/// The policies that the inputs alone give a route or a FEC, with their binding SIDs and the lists
/// that are usable; those apart for which several contend.
std::map<AgainstModel::PolicyKey, AgainstModel::Reason> AgainstModel::publishedBy(
    Expected::Outcome const& now) {
    std::map<Wirex::MplsLabel, std::set<PolicyKey>> wanted;
    std::map<PolicyKey, std::set<Wirex::MplsLabel>> wishes;
    std::set<PolicyKey> unpublishable;
    for (auto const& candidate : now.candidates) {
        auto const& key = candidate.id().key;
        wanted[candidate.entry->bindingSid].insert(key);
        wishes[key].insert(candidate.entry->bindingSid);
        bool const publishable = std::ranges::all_of(
            candidate.entry->segmentList, [](auto const& list) { return list.weight > 0; });
        if (!publishable) unpublishable.insert(key);
    }
    std::map<PolicyKey, Reason> published;
    for (auto const& [key, policy] : now.policies) {
        // A candidate on its way out may have its own wish for a moment, and one that cannot be
        // published may come first for a moment.
        if (!policy.published || wishes[key].size() > 1 || unpublishable.contains(key)) continue;
        auto const bindingSid = policy.bindingSid();
        if (!bindingSid.isNull() && wanted[bindingSid].size() > 1) continue;
        auto& reason = published[key];
        reason.bindingSid = bindingSid;
        for (auto const* const candidate : policy.candidates) {
            for (auto const& list : candidate->usable) reason.usable.insert(list.list->content);
        }
    }
    return published;
}

void AgainstModel::rested(std::set<PolicyKey> const& withdrawn, bool wrote) {
    if (changed_ || wrote) {
        ++comparisons_;
        changed_ = false;
        auto const now = outcomeNow(world_);
        compare(world_, now);
        messages_.check(now);
        whatTheInputsKeepStays(withdrawn);
        aListKeepsItsIdentity(now);
        listIds_ = now.witnesses.listId;
        published_ = publishedBy(now);
    }
    messages_.rested();
}

void AgainstModel::whatTheInputsKeepStays(std::set<PolicyKey> const& withdrawn) const {
    for (auto const& [key, reason] : published_) {
        hold(!withdrawn.contains(key) || messages_.gribiHad(reason.bindingSid),
             "whatTheInputsKeepStays: not", key);
    }
}

/// Of a candidate: a next hop that is written again gets a new list.
void AgainstModel::aListKeepsItsIdentity(Expected::Outcome const& now) const {
    for (auto const& candidate : now.candidates) {
        if (messages_.gribiHad(candidate.entry->bindingSid)) continue;
        for (auto const& [list, weight] : candidate.lists) {
            auto const before = listIds_.find(list->content);
            if (before == listIds_.end()) continue;
            hold(now.witnesses.listId.at(list->content) == before->second,
                 "aListKeepsItsIdentity: not", before->second);
        }
    }
}

}  // namespace Sim
