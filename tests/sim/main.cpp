#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>

#include "tests/sim/Simulation.h"

namespace {

struct Options {
    std::uint64_t first = 1;
    std::uint64_t seeds = 500;
    std::size_t events = 300;
    std::string replay;
    bool list = false;
};

int replay(std::string const& text) {
    auto const events = Sim::parseEvents(text);
    if (!events) {
        std::cerr << "These are no events.\n";
        return 2;
    }
    auto const outcome = Sim::simulate(*events);
    for (std::size_t i = 0; i < events->size(); ++i) {
        if (i < outcome.failedAfter) std::cout << Sim::describe((*events)[i]) << '\n';
    }
    std::cout << outcome.failure.value_or("All held.") << '\n';
    return outcome.failure ? 1 : 0;
}

int runSeeds(Options const& options) {
    auto const begin = std::chrono::steady_clock::now();
    std::uint64_t restarts = 0;
    std::uint64_t comparisons = 0;
    std::uint64_t failures = 0;
    for (auto seed = options.first; seed < options.first + options.seeds; ++seed) {
        auto const events = Sim::generate(seed, options.events);
        auto const outcome = Sim::simulate(events);
        restarts += outcome.restarts;
        comparisons += outcome.comparisons;
        if (!outcome.failure) continue;
        auto const& failure = *outcome.failure;
        std::cout << (options.list ? std::to_string(seed) + ' ' + failure
                                   : Sim::report(seed, events, failure))
                  << std::endl;
        if (++failures == 5 && !options.list) break;
    }
    std::chrono::duration<double> const time = std::chrono::steady_clock::now() - begin;
    std::cout << options.seeds << " seeds, " << options.seeds * options.events << " events, "
              << restarts << " restarts, " << comparisons << " comparisons, " << failures
              << " failures, " << time.count() << " s\n";
    return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Random events for the agent, each step checked and each rest compared with the "
        "model.");
    app.add_option("--first", options.first, "The first seed")->capture_default_str();
    app.add_option("--seeds", options.seeds, "How many seeds, one after the other")
        ->capture_default_str();
    app.add_option("--events", options.events, "Events of each seed")->capture_default_str();
    app.add_option("--replay", options.replay,
                   "Run these events instead, as a failure prints them");
    app.add_flag("--list", options.list, "Name each failure in a line, without shrinking it");
    CLI11_PARSE(app, argc, argv);
    return options.replay.empty() ? runSeeds(options) : replay(options.replay);
}
