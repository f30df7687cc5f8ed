#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/sim/Play.h"

namespace {

/// How many allocations succeed before one fails; only one does.
std::uint64_t left = std::numeric_limits<std::uint64_t>::max();

void* allocate(std::size_t size) {
    if (left-- == 0) throw std::bad_alloc();
    if (auto* const memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

}  // namespace

// Every allocation of the program, the library's among them.
void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using namespace Sim;

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

World* fallen = nullptr;
bool finished = false;  // in spite of the failure

/// The agent has stopped, wherever it was: it is dropped, and comes back over what it left. The
/// process that merges routes is another one; here it missed something as well.
[[noreturn]] void comeBack() {
    left = never;
    int failed = 0;
    try {
        if (finished && fallen->atRest()) tablesAreThoseOfTheModel(*fallen);
        fallen->crash();
        fallen->tables().lfibMerge->mergeAll();
        Agent::Step unclogged;
        unclogged.clog = false;
        fallen->apply(unclogged);
        fallen->start();
        fallen->settle();
        fallen->advance(std::chrono::seconds(1));
        hold(fallen->atRest(), "theAgentComesToRest: not");
        tablesAreThoseOfTheModel(*fallen);
    } catch (Violation const& violation) {
        std::fprintf(stderr, "%s\n", violation.what.c_str());
        failed = 1;
    }
    std::_Exit(failed);
}

/// In a process of its own: the scenario without the `nth` allocation. Whether the agent finished
/// or stopped, and then came back to the tables of the model.
bool survives(Agent::Scenario const& scenario, std::uint64_t nth) {
    auto const child = fork();
    if (child == 0) {
        World world;
        fallen = &world;
        // Where no exception may pass, the stop comes as a termination.
        std::set_terminate(comeBack);
        try {
            left = nth;
            play(scenario, world, [&world] { world.settle(); });
            finished = true;
        } catch (Violation const&) {
        } catch (std::bad_alloc const&) {
        }
        comeBack();
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::uint64_t allocationsOf(Agent::Scenario const& scenario) {
    World world;
    left = never;
    play(scenario, world, [&world] { world.settle(); });
    return never - left;
}

// SRTE_EVERY_ALLOCATION tries each one; otherwise some forty of each scenario are tried.
TEST(AllocationFailure, StopsTheAgentAndARestartMakesUpForIt) {
    constexpr std::uint64_t tries = 40;
    bool const all = std::getenv("SRTE_EVERY_ALLOCATION");
    for (auto const& [name, scenario] : goldenScenarios()) {
        auto const allocations = allocationsOf(scenario);
        EXPECT_GT(allocations, tries) << name;
        auto const step = all ? 1 : 1 + allocations / tries;
        for (std::uint64_t nth = 0; nth < allocations; nth += step) {
            EXPECT_TRUE(survives(scenario, nth)) << name << " without allocation " << nth;
        }
    }
}

}  // namespace
