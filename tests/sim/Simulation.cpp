#include "tests/sim/Simulation.h"

#include <algorithm>
#include <map>

#include "tests/sim/Invariants.h"
#include "tests/sim/Messages.h"
#include "tests/sim/ModelOutcome.h"
#include "tests/sim/Play.h"

namespace Sim {

namespace {

using SrTePolicy::PolicyKey;

bool changesResolution(Kind kind) {
    return kind == Kind::route || kind == Kind::routeGone || kind == Kind::tiLfa ||
           kind == Kind::tiLfaGone || kind == Kind::depth || kind >= Kind::nextHop;
}

/// Whether the event, right after an equal one, writes nothing.
bool isWriteOfOneValue(Kind kind) {
    return kind <= Kind::tieBreaking && kind != Kind::source;
}

/// One run, compared with the model.
class Run {
public:
    Outcome operator()(Events const& events) {
        try {
            for (auto const& event : events) {
                ++outcome_.failedAfter;
                take(event);
            }
            end();
        } catch (Violation const& violation) {
            outcome_.failure = violation.what;
        }
        outcome_.trace = invariants_.journal().hash();
        return std::move(outcome_);
    }

private:
    void take(Event const& event) {
        bool const wasDown = !world_.machines();
        bool const repeated = last_ && last_->kind == event.kind && last_->place == event.place &&
                              last_->content == event.content && isWriteOfOneValue(event.kind);
        bool const fromRest = world_.atRest() && !world_.damaged();
        auto const writes = countedWrites();
        bool const begins = event.kind == Kind::restart || (event.kind == Kind::start && wasDown);
        if (begins) messages_.agentBegins();

        apply(event, world_);
        last_ = event;
        auto const kind = event.kind;
        outcome_.restarts += begins;
        if (kind == Kind::stop || kind == Kind::damage) listIds_.clear();
        if (kind == Kind::stop || kind == Kind::damage) stay_.reset();
        if (changesResolution(kind)) stay_.reset();
        if (repeated && fromRest && countedWrites() != writes) {
            throw Violation{"anEqualWriteIsNone: it was one"};
        }
        follow();
        if (event.steps == Event::allSteps && world_.atRest()) compare();
    }

    std::uint64_t countedWrites() {
        auto& journal = invariants_.journal();
        return journal.survivingWrites() + journal.writes(Written::verdict) +
               journal.writes(Written::listUsers);
    }

    /// What would come of the inputs as they are now: the messages that may come while the agent
    /// makes up for them, and the policies that the inputs keep.
    void follow() {
        auto const& tables = world_.tables();
        auto const holders = witnesses(tables);
        messages_.follow(holders);
        auto const now = Expected::outcome(tables, holders);
        std::erase_if(listIds_,
                      [&now](auto const& list) { return !now.lists.contains(list.first); });
        if (!stay_) return;
        auto const published = publishedBy(now);
        std::erase_if(*stay_, [&published](auto const& policy) {
            auto const still = published.find(policy.first);
            return still == published.end() || still->second != policy.second;
        });
    }

    /// The policies that the inputs alone give a route or a FEC, with their binding SIDs; those
    /// apart for which several contend.
    static std::map<PolicyKey, Wirex::MplsLabel> publishedBy(Expected::Outcome const& now) {
        std::map<Wirex::MplsLabel, std::set<PolicyKey>> wanted;
        std::map<PolicyKey, std::set<Wirex::MplsLabel>> wishes;
        std::set<PolicyKey> unpublishable;
        for (auto const& candidate : now.candidates) {
            wanted[candidate.entry->bindingSid].insert(candidate.id().key);
            wishes[candidate.id().key].insert(candidate.entry->bindingSid);
            bool const publishable = std::ranges::all_of(
                candidate.entry->segmentList, [](auto const& list) { return list.weight > 0; });
            if (!publishable) unpublishable.insert(candidate.id().key);
        }
        std::map<PolicyKey, Wirex::MplsLabel> published;
        for (auto const& [key, policy] : now.policies) {
            // A candidate on its way out may have its own wish for a moment, and one that cannot be
            // published may come first for a moment.
            if (!policy.published || wishes[key].size() > 1 || unpublishable.contains(key))
                continue;
            auto const bindingSid = policy.active().entry->bindingSid;
            if (bindingSid.isNull() || wanted[bindingSid].size() == 1) published[key] = bindingSid;
        }
        return published;
    }

    void compare() {
        ++outcome_.comparisons;
        auto const& tables = world_.tables();
        auto const holders = witnesses(tables);
        tablesAreThoseOfTheModel(world_);
        messages_.check(holders);
        auto const withdrawn = invariants_.takeWithdrawn();
        if (stay_) {
            for (auto const& [key, bindingSid] : *stay_) {
                if (!withdrawn.contains(key)) continue;
                throw Violation{"whatTheInputsKeepStays: not " + key.stringValue()};
            }
        }
        for (auto const& [list, id] : listIds_) {
            // A next hop that is written again gets a new list.
            if (!list.distinguisherId.isPolicyList() || holders.listId.at(list) == id) continue;
            throw Violation{"aListKeepsItsIdentity: not " + id.stringValue()};
        }
        listIds_ = holders.listId;
        stay_ = publishedBy(Expected::outcome(tables, holders));
    }

    /// Whatever holds the agent back ends; then its candidates go.
    void end() {
        last_.reset();
        take({Kind::clog});
        take({Kind::start});
        take({Kind::wait});
        if (!world_.atRest()) throw Violation{"theAgentComesToRest: not"};
        outcome_.rows = observedRows(world_.tables(), world_.machines()->tables());
        outcome_.witnesses = witnesses(world_.tables());
        for (auto const& place : {0u, 1u, 2u, 3u}) take({Kind::source, place});
        take({Kind::gribi, 0, 1});
        while (!world_.tables().tunnelCounters->tunnelCounter().empty()) take({Kind::counter});
        // The tunnel map looks once a second, and may yield at each tunnel.
        for (int polls = 0; world_.mayPoll() && polls < 64; ++polls) take({Kind::wait, 0, 1});
        nothingIsLeft(world_.tables(), world_.machines()->tables());
        nothingIsRemembered(*world_.machines());
    }

    Outcome outcome_;
    World world_;
    Invariants invariants_{world_};
    std::optional<Event> last_;
    Messages messages_{world_};
    /// Published by the inputs ever since the last comparison, if nothing was to be resolved anew.
    std::optional<std::map<PolicyKey, Wirex::MplsLabel>> stay_;
    /// Of the lists that the inputs ask for ever since the last comparison.
    std::map<ListContent, SrTePolicy::SegmentListId> listIds_;
};

std::string nameOf(std::string const& failure) {
    return failure.substr(0, failure.find(':'));
}

}  // namespace

Outcome simulate(Events const& events) {
    return Run()(events);
}

Events shrink(Events events) {
    auto const failed = simulate(events);
    if (!failed.failure) return events;
    events.resize(failed.failedAfter <= events.size() ? failed.failedAfter : events.size());
    int tries = 3000;
    auto const stillFails = [&](Events const& fewer) {
        if (--tries < 0) return false;
        auto const now = simulate(fewer);
        return now.failure && nameOf(*now.failure) == nameOf(*failed.failure);
    };
    for (auto size = std::max<std::size_t>(events.size() / 2, 1); size > 0 && tries > 0;) {
        bool removed = false;
        for (std::size_t at = 0; at < events.size();) {
            auto const from = events.begin() + static_cast<std::ptrdiff_t>(at);
            auto const left = static_cast<std::ptrdiff_t>(std::min(size, events.size() - at));
            Events fewer(events.begin(), from);
            fewer.insert(fewer.end(), from + left, events.end());
            if (stillFails(fewer)) {
                events = std::move(fewer);
                removed = true;
            } else {
                at += size;
            }
        }
        if (!removed || size > events.size()) size /= 2;
    }
    return events;
}

std::string report(std::uint64_t seed, Events const& events, std::string const& failure) {
    auto const few = shrink(events);
    auto const again = simulate(few).failure;
    auto text = "seed " + std::to_string(seed) + ": " + failure + "\nshrunk to " +
                std::to_string(few.size()) + " events";
    text += again ? ": " + *again + '\n' : std::string(", which fail no more\n");
    for (auto const& event : few) text += "  " + describe(event) + '\n';
    return text + "srte_sim --replay '" + Sim::text(few) + "'\n";
}

}  // namespace Sim
