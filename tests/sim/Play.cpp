#include "tests/sim/Play.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "agent/ScenarioReader.h"
#include "tests/sim/Model.h"

namespace Sim {

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
    world.apply(scenario.initial);
    world.start();
    settle();
    for (auto const& event : scenario.events) {
        world.advance(std::max(event.at - world.now(), Agent::Time(0)));
        world.apply(event);
        settle();
    }
}

void tablesAreThoseOfTheModel(World const& world) {
    auto const& tables = world.tables();
    auto const expected = expectedRows(tables, witnesses(tables));
    auto const observed = observedRows(tables, world.machines()->tables());
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

}  // namespace Sim
