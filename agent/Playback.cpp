#include "agent/Playback.h"

#include <set>

namespace Agent {

namespace {

/// Every time at which something happens or is expected, up to the last.
std::set<Time> moments(Scenario const& scenario, Time last) {
    std::set<Time> times{last};
    for (auto const& event : scenario.events) times.insert(event.at);
    for (auto const& expectation : scenario.expectations) times.insert(expectation.until);
    times.erase(times.upper_bound(last), times.end());
    return times;
}

}  // namespace

void play(Host& host, std::optional<Time> until, Spectator* spectator) {
    auto const& scenario = host.scenario();
    auto event = scenario.events.begin();
    host.begin();
    for (auto const moment : moments(scenario, until.value_or(scenario.end()))) {
        host.advanceTo(moment);
        if (spectator) spectator->momentCame();
        if (until == moment) return;
        for (; event != scenario.events.end() && event->at == moment; ++event) {
            if (spectator) spectator->eventComes(*event);
            host.apply(*event);
        }
    }
}

}  // namespace Agent
