#include "tests/sim/Simulation.h"

#include <algorithm>
#include <exception>

#include "tests/sim/Invariants.h"
#include "tests/sim/Universe.h"

namespace Sim {

namespace {

/// Whether the event, right after an equal one, writes nothing.
bool isWriteOfOneValue(Kind kind) {
    return kind < Kind::nextHop || (kind >= Kind::policy && kind < Kind::source);
}

/// One run, with everything checked.
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
        } catch (std::exception const& error) {
            outcome_.failure = std::string("nothingThrows: ") + error.what();
        }
        outcome_.trace = invariants_.journal().hash();
        outcome_.comparisons = invariants_.comparisons();
        return std::move(outcome_);
    }

private:
    void take(Event const& event) {
        bool const repeated = last_ && last_->kind == event.kind && last_->place == event.place &&
                              last_->content == event.content && isWriteOfOneValue(event.kind);
        bool const fromRest = world_.atRest() && !world_.damaged();
        bool const wasDown = !world_.machines();
        auto const writes = invariants_.journal().writes();
        apply(event, world_);
        last_ = event;
        outcome_.restarts += event.kind == (wasDown ? Kind::start : Kind::restart);
        if (repeated && fromRest) {
            hold(invariants_.journal().writes() == writes, "anEqualWriteIsNone: it was one");
        }
    }

    /// Whatever holds the agent back ends; then its candidates go.
    void end() {
        last_.reset();
        take({Kind::clog});
        take({Kind::start});
        take({Kind::wait});
        hold(world_.atRest(), "theAgentComesToRest: not");
        auto const& tables = world_.tables();
        outcome_.rows = observedRows(tables, world_.machines()->tables());
        outcome_.witnesses = witnesses(tables);
        for (Number place = 0; place < protocolCount; ++place) take({Kind::source, place});
        for (Number place = 0; place < incomingLabelCount; ++place) take({Kind::label, place});
        for (Number place = 0; place < groupCount; ++place) take({Kind::group, place});
        for (Number place = 0; place < nextHopCount; ++place) take({Kind::nextHop, place});
        while (!tables.tunnelCounters->tunnelCounter().empty()) take({Kind::counter});
        // The tunnel map looks once a second, and may yield at each tunnel.
        for (int polls = 0; world_.mayPoll() && polls < 64; ++polls) take({Kind::wait, 0, 1});
        nothingIsRemembered(*world_.machines());
        take({Kind::gribi, 0, 1});
        nothingIsLeft(tables, world_.machines()->tables());
    }

    Outcome outcome_;
    World world_;
    Invariants invariants_{world_};
    std::optional<Event> last_;
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
