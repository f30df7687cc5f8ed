#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>

#include "Platform/Fastlog/Duallog.h"
#include "tests/sim/Simulation.h"

namespace {

/// Prints every trace of the library.
class PrintedTraces final : public Duallog::Sink {
public:
    PrintedTraces() {
        Duallog::primarySinkIs(this);
        Fastlog::levelMaskIs("*", Fastlog::allLevels);
    }
    ~PrintedTraces() override { Duallog::reset(); }
    void line(Fastlog::Facility const& facility, int, double time, std::string_view text) override {
        std::cout << "    " << time << ' ' << facility.name() << ": " << text << '\n';
    }
};

struct Options {
    std::uint64_t first = 1;
    std::uint64_t seeds = 500;
    std::size_t events = 300;
    std::string replay;
    bool list = false;
    bool trace = false;
};

int replay(std::string const& text, bool trace) {
    std::optional<PrintedTraces> traces;
    if (trace) traces.emplace();
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
        if (options.list) {
            std::cout << seed << ' ' << *outcome.failure << std::endl;
        } else {
            std::cout << Sim::report(seed, events, *outcome.failure) << std::endl;
        }
        if (++failures == 5 && !options.list) break;
    }
    std::chrono::duration<double> const time = std::chrono::steady_clock::now() - begin;
    std::printf("%llu seeds, %llu events, %llu restarts, %llu comparisons, %llu failures, %.1f s\n",
                static_cast<unsigned long long>(options.seeds),
                static_cast<unsigned long long>(options.seeds * options.events),
                static_cast<unsigned long long>(restarts),
                static_cast<unsigned long long>(comparisons),
                static_cast<unsigned long long>(failures), time.count());
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
    app.add_flag("--trace", options.trace, "With --replay: print the library's traces");
    CLI11_PARSE(app, argc, argv);
    return options.replay.empty() ? runSeeds(options) : replay(options.replay, options.trace);
}
