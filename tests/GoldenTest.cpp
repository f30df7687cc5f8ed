#include <functional>
#include <gtest/gtest.h>

#include "tests/sim/Invariants.h"
#include "tests/sim/Play.h"

namespace {

using namespace Sim;
using namespace std::chrono_literals;

using Disturbance = std::function<void(World&)>;

/// Plays a golden scenario in which one thing is different. At every step what must hold holds, and
/// whenever the agent is at rest its tables are those of the model.
class Performance {
public:
    explicit Performance(std::uint64_t yieldAfter) { world_.yieldAfterIs(yieldAfter); }

    /// After so many steps (runs of tasks, and steps of starts) `disturb` happens.
    Performance& disturbedAfter(std::size_t steps, Disturbance const& disturb) {
        disturbedAfter_ = steps;
        disturb_ = disturb;
        return *this;
    }
    Performance& disturbedAtRest(Disturbance const& disturb) {
        disturbRest_ = disturb;
        return *this;
    }

    /// The steps that it took.
    std::size_t of(std::string const& name, Agent::Scenario const& scenario) {
        Invariants const invariants(world_);
        try {
            play(scenario, world_, [this] { settle(); });
        } catch (Violation const& violation) {
            ADD_FAILURE() << name << ", disturbed after " << disturbedAfter_ << ": "
                          << violation.what;
        }
        return steps_;
    }

private:
    void settle() {
        run();
        compare();
        if (!disturbRest_ || !world_.machines()) return;
        disturbRest_(world_);
        run();
        compare();
    }
    void run() {
        while (world_.runOne()) {
            if (++steps_ == disturbedAfter_) disturb_(world_);
        }
        world_.settle();
    }
    void compare() const {
        if (world_.atRest()) tablesAreThoseOfTheModel(world_);
    }

    World world_;
    std::size_t steps_ = 0;
    std::size_t disturbedAfter_ = 0;
    Disturbance disturb_;
    Disturbance disturbRest_;
};

void clogIs(World& world, bool clogged) {
    Agent::Step step;
    step.clog = clogged;
    world.apply(step);
}

void restart(World& world) {
    world.crash();
    world.start();
}

/// The agent dies again before it has taken up its work.
void restartTwice(World& world) {
    restart(world);
    world.runOne();
    world.runOne();
    restart(world);
}

/// Long enough for the tasks to try in vain a few times.
void clogForAWhile(World& world) {
    if (world.clogged()) return;
    clogIs(world, true);
    world.settle();
    world.advance(250ms);
    clogIs(world, false);
    world.advance(100ms);
}

constexpr std::uint64_t everyKey = 1;

void forEachGolden(auto const& action) {
    auto const scenarios = goldenScenarios();
    EXPECT_GE(scenarios.size(), 37u);
    for (auto const& [name, scenario] : scenarios) action(name, scenario);
}

/// With the disturbance after each of the steps of the undisturbed scenario, key by key.
void disturbedEverywhere(Disturbance const& disturb) {
    forEachGolden([&](std::string const& name, Agent::Scenario const& scenario) {
        auto const steps = Performance(everyKey).of(name, scenario);
        EXPECT_GT(steps, scenario.events.size()) << name;
        for (std::size_t after = 1; after <= steps; ++after) {
            Performance(everyKey).disturbedAfter(after, disturb).of(name, scenario);
        }
    });
}

TEST(Golden, WhateverTheYields) {
    forEachGolden([](std::string const& name, Agent::Scenario const& scenario) {
        for (auto const keys : {1u, 2u, 3u, 4u, 1000u}) Performance(keys).of(name, scenario);
    });
}

TEST(Golden, ARestartAtEveryRest) {
    forEachGolden([](std::string const& name, Agent::Scenario const& scenario) {
        Performance(everyKey).disturbedAtRest(restart).of(name, scenario);
    });
}

TEST(Golden, ARestartAfterEveryStep) {
    disturbedEverywhere(restart);
}

TEST(Golden, TwoRestartsAfterEveryStep) {
    disturbedEverywhere(restartTwice);
}

TEST(Golden, ACloggedLogAfterEveryStep) {
    disturbedEverywhere(clogForAWhile);
}

}  // namespace
