#include <algorithm>
#include <filesystem>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "agent/Host.h"
#include "agent/ScenarioReader.h"
#include "agent/ScenarioValues.h"
#include "agent/Story.h"
#include "tests/support/SurvivingWrites.h"

namespace {

using namespace Agent;

Scenario scenarioOf(std::string const& text) {
    std::istringstream input(text);
    return readScenario(input, "-");
}

std::map<std::string, Scenario> exampleScenarios() {
    std::map<std::string, Scenario> scenarios;
    for (auto const* const directory : {"examples", "tests/scenarios"}) {
        for (auto const& file : std::filesystem::directory_iterator(directory)) {
            if (file.path().extension() != ".yaml") continue;
            std::ifstream input(file.path());
            scenarios[file.path().string()] = readScenario(input, file.path().string());
        }
    }
    return scenarios;
}

bool clogs(Scenario const& scenario) {
    return std::any_of(scenario.events.begin(), scenario.events.end(),
                       [](Step const& event) { return event.clog.has_value(); });
}

bool atRest(Host const& host) {
    return host.machines() && host.machines()->started() && host.machines()->inputSettled() &&
           host.machines()->segmentListSm().drained() && host.machines()->selectionSm().drained() &&
           host.machines()->publishSm().drained();
}

Step lifeIs(Life life) {
    Step step;
    step.life = life;
    return step;
}

/// What a person sees of every policy.
std::map<std::string, std::string> policies(Host const& host) {
    std::map<std::string, std::string> shown;
    for (auto const* const record : host.filePolicies().present()) {
        shown[policyKeyText(record->key())] = Story::summary(host, record->key()).dump();
    }
    return shown;
}

/// The tables that hold anything.
std::set<std::string> rows(SurvivingTables const& tables) {
    std::set<std::string> left;
    forEachSurvivingTable(tables, [&left](char const* name, auto const& table, auto const&) {
        if (table.size() > 0) left.insert(name + (" " + std::to_string(table.size())));
    });
    return left;
}

TEST(Restart, WithoutChangesWritesNothing) {
    int restarts = 0;
    for (auto const& [name, scenario] : exampleScenarios()) {
        Host host(scenario);
        SurvivingWrites writes(host.tables());
        host.begin();
        for (auto const& event : scenario.events) {
            host.advanceTo(event.at);
            if (atRest(host)) {
                auto const before = policies(host);
                writes.take();
                host.apply(lifeIs(Life::restart));
                EXPECT_THAT(writes.take(), testing::IsEmpty())
                    << name << " before line " << event.mark.line;
                EXPECT_EQ(policies(host), before);
                ++restarts;
            }
            host.apply(event);
        }
    }
    EXPECT_GT(restarts, 15);
}

// What changes while the agent is down ends in the same forwarding as what changes while it runs,
// and what still exists is at no time withdrawn.
TEST(Restart, WithChangesWithdrawsNothingThatExists) {
    for (auto const& [name, scenario] : exampleScenarios()) {
        if (clogs(scenario)) continue;  // who has seen the file is another matter there
        Host running(scenario);
        Host restarted(scenario);
        running.begin();
        restarted.begin();
        SurvivingWrites writes(restarted.tables());
        std::list<Step> steps;
        for (auto const& event : scenario.events) {
            running.advanceTo(event.at);
            restarted.advanceTo(event.at);
            running.apply(event);
            auto& whileDown = steps.emplace_back(event);
            if (event.life == Life::unchanged) whileDown.life = Life::restart;
            restarted.apply(whileDown);

            EXPECT_EQ(policies(restarted), policies(running)) << name << ':' << event.mark.line;
            std::set<std::string> withdrawn;
            for (auto const& write : writes.take()) {
                if (write.starts_with('-')) withdrawn.insert(write.substr(1));
                // A binding SID that passes from one policy to another.
                if (name.ends_with("binding-sids.yaml") && write == "route 100004") continue;
                EXPECT_FALSE(withdrawn.contains(write))
                    << name << ':' << event.mark.line << ' ' << write;
            }
        }
    }
}

constexpr char twoPolicies[] = R"(
router: {srlb: 100000-100999, colored-rib: true}
lfib:
  16005: [{nh: 10.0.1.2, if: et1, out: [16005]}]
  16006: [{nh: 10.0.1.2, if: et1, out: [16006]}]
policies:
  1 192.0.2.5: {candidates: {c: {bsid: 100001, lists: {l1: {labels: [16005]}}}}}
  2 192.0.2.5: {candidates: {c: {bsid: 100002, lists: {l1: {labels: [16006]}}}}}
events:
  - {at: 1s, clog: true, restart: true, policies: {1 192.0.2.5: null}}
  - {at: 2s, restart: true}
  - {at: 3s, clog: false}
  - {at: 4s, policies: {3 192.0.2.5: {candidates: {c: {bsid: 100003, lists: {l1: {labels: [16005, 16006]}}}}}}}
  - {at: 5s, stop: true}
  - {at: 6s, start: true}
)";

// A list that comes after a restart never gets an identity that an older list had.
TEST(Restart, ADelayedStartGoesOnWhereItWaited) {
    auto const scenario = scenarioOf(twoPolicies);
    Host host(scenario);
    host.begin();
    SurvivingWrites writes(host.tables());
    for (auto const& event : scenario.events) {
        host.advanceTo(event.at);
        host.apply(event);
        if (event.at < std::chrono::seconds(3)) {
            EXPECT_FALSE(host.machines()->started());
            EXPECT_THAT(writes.take(), testing::IsEmpty());
        }
        if (event.at == std::chrono::seconds(4)) break;
    }
    EXPECT_TRUE(host.machines()->started());
    EXPECT_THAT(writes.take(),
                testing::AllOf(testing::Contains("-route 100001"), testing::Contains("-export 1"),
                               testing::Not(testing::Contains("-route 100002")),
                               testing::Contains("export 3"), testing::Contains("list-tunnel 13-3"),
                               testing::Contains("route 100003")));
}

constexpr char everything[] = R"(
router: {srlb: 100000-100999, colored-rib: true}
lfib: {16005: [{nh: 10.0.1.2, if: et1, out: [16005]}]}
policies:
  1 192.0.2.5: {sbfd: {}, candidates: {c: {bsid: 100001, lists: {l1: {labels: [16005]}}}}}
  2 192.0.2.5: {candidates: {c: {bsid: 100002, lists: {l1: {labels: [16005]}}}}}
gribi: {nh: {1: [16005]}, nhg: {10: {1: 1}}, mpls: {900: 10}}
events:
  - {at: 1s, clog: true, restart: true}
)";

TEST(Restart, AnOrderlyStopEmptiesTheTablesConsumersFirst) {
    auto const scenario = scenarioOf(everything);
    Host host(scenario);
    host.begin();
    SurvivingWrites writes(host.tables());
    host.apply(lifeIs(Life::stop));
    std::vector<std::string> tables;  // by their first removal
    for (auto const& write : writes.take()) {
        auto const table = write.substr(0, write.find(' '));
        if (std::find(tables.begin(), tables.end(), table) == tables.end()) tables.push_back(table);
    }
    EXPECT_THAT(tables, testing::ElementsAre("-route", "-status", "-policy-tunnel", "-fec",
                                             "-fec-index", "-tunnel-map", "-ec-policy",
                                             "-sbfd-session", "-list-status-sbfd", "-sbfd-input",
                                             "-gribi-route", "-group", "-next-hop", "-export",
                                             "-list-tunnel", "-list-status", "-selection-input"));
    EXPECT_THAT(rows(host.tables()), testing::IsEmpty());
    EXPECT_EQ(host.machines(), nullptr);

    host.apply(lifeIs(Life::start));
    EXPECT_THAT(rows(host.tables()), testing::Contains("route 2"));
}

TEST(Restart, AStopInTheMiddleOfAStartEmptiesTheTablesAsWell) {
    auto const scenario = scenarioOf(everything);
    Host host(scenario);
    host.begin();
    host.advanceTo(std::chrono::seconds(1));
    host.apply(scenario.events[0]);  // clogs
    ASSERT_FALSE(host.machines()->started());
    EXPECT_THAT(rows(host.tables()), testing::Contains("route 2"));
    host.apply(lifeIs(Life::stop));
    EXPECT_THAT(rows(host.tables()), testing::IsEmpty());
}

}  // namespace
