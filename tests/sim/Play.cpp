#include "tests/sim/Play.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "agent/FilePolicies.h"
#include "agent/ScenarioReader.h"
#include "agent/SessionReports.h"
#include "agent/TrafficCounters.h"

namespace Sim {

namespace {

/// A world with the other agents of its router: they go by the names that the scenario has.
class Stage {
public:
    explicit Stage(World& world) : world_(world) {}

    void happens(Agent::Step const& step) {
        filePolicies_.take(step);
        world_.apply(step);
        reports_.take(step);
        counters_.take(step);
        if (!step.sbfdSession.empty() || !step.counters.empty()) world_.toldOfWrite();
    }

private:
    World& world_;
    Agent::FilePolicies filePolicies_;
    Agent::SessionReports reports_{world_.tables(), filePolicies_};
    Agent::TrafficCounters counters_{world_.tables(), filePolicies_};
};

}  // namespace

std::map<std::string, Agent::Scenario> goldenScenarios() {
    std::map<std::string, Agent::Scenario> scenarios;
    for (auto const& file : std::filesystem::directory_iterator("tests/golden")) {
        std::ifstream input(file.path());
        auto const name = file.path().stem().string();
        scenarios[name] = Agent::readScenario(input, file.path().string());
    }
    return scenarios;
}

void play(Agent::Scenario const& scenario, World& world, std::function<void()> const& settle) {
    Stage stage(world);
    stage.happens(scenario.initial);
    world.start();
    settle();
    for (auto const& event : scenario.events) {
        world.advance(std::max(event.at - world.now(), Agent::Time(0)), settle);
        stage.happens(event);
        settle();
    }
    // What the log held back comes back now.
    world.advance(std::chrono::milliseconds(200), settle);
    hold(!world.machines() || world.atRest(), "theAgentComesToRest: not");
}

}  // namespace Sim
