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
#include "tests/support/Watch.h"

namespace {

using namespace Agent;

std::string keyText(SrTePolicy::PolicyKey const& key) {
    return policyKeyText(key);
}
template <class Key>
std::string keyText(Key const& key) {
    return key.stringValue();
}

/// Those of the tables that outlive the agent which tell of each row.
void forEachTable(SurvivingTables const& tables, auto const& visit) {
    visit("export", tables.exportedLists->segmentList());
    visit("list-status", tables.segmentListStatus->status());
    visit("list-tunnel", tables.segmentListTunnels->entry());
    visit("status", tables.policyStatus->policyStatusEntry());
    visit("fec-index", tables.policyStatus->fecIdToPolicyKey());
    visit("fec", tables.forwarding->fec());
    visit("policy-tunnel", tables.policyTunnels->entry());
    visit("route", tables.bindingSidLfib->rows());
}

/// Every write to the tables that outlive the agent, in order, as "TABLE KEY" or "-TABLE KEY" for a
/// removal.
class Writes {
public:
    explicit Writes(SurvivingTables const& tables) {
        forEachTable(tables, [this](char const* name, auto const& table) { watch(name, table); });
        watch("selection-input", tables.selectionInput->policyIdEntry(),
              tables.selectionInput->entrySubject());
        watch("ec-policy", tables.ecPolicy->policy(), tables.ecPolicy->policySubject());
        watch("ec-active", tables.ecPolicy->policy(), tables.ecPolicy->activeSubject());
        watch("ec-entry", tables.ecPolicy->policy(), tables.ecPolicy->activeEntrySubject());
    }

    std::vector<std::string> take() { return std::exchange(log_, {}); }

private:
    template <class Table>
    void watch(char const* name, Table const& table) {
        watch<Table, typename Table::Key>(name, table, table);
    }
    template <class Table, class Key>
    void watch(char const* name, Table const& table, Quor::Subject<Key> const& subject) {
        auto const told = [this, name, &table](Key const& key) {
            log_.push_back((table.has(key) ? "" : "-") + std::string(name) + " " + keyText(key));
        };
        watches_.push_back(std::make_shared<Watch<Key>>(subject, told));
    }

    std::vector<std::string> log_;
    std::vector<std::shared_ptr<void>> watches_;
};

Scenario scenarioOf(std::string const& text) {
    std::istringstream input(text);
    return readScenario(input, "-");
}

std::map<std::string, Scenario> exampleScenarios() {
    std::map<std::string, Scenario> scenarios;
    for (auto const& file : std::filesystem::directory_iterator("examples")) {
        if (file.path().extension() != ".yaml") continue;
        std::ifstream input(file.path());
        scenarios[file.path().string()] = readScenario(input, file.path().string());
    }
    return scenarios;
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

std::vector<std::string> rows(SurvivingTables const& tables) {
    std::vector<std::string> left;
    auto const note = [&left](char const* name, auto const& table) {
        if (table.size() > 0) left.push_back(name + (" " + std::to_string(table.size())));
    };
    forEachTable(tables, note);
    note("selection-input", tables.selectionInput->policyIdEntry());
    note("ec-policy", tables.ecPolicy->policy());
    return left;
}

TEST(Restart, WithoutChangesWritesNothing) {
    int restarts = 0;
    for (auto const& [name, scenario] : exampleScenarios()) {
        Host host(scenario);
        Writes writes(host.tables());
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
        if (name.ends_with("clogged.yaml")) continue;
        Host running(scenario);
        Host restarted(scenario);
        running.begin();
        restarted.begin();
        Writes writes(restarted.tables());
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
    Writes writes(host.tables());
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

TEST(Restart, AnOrderlyStopEmptiesTheTablesConsumersFirst) {
    auto const scenario = scenarioOf(twoPolicies);
    Host host(scenario);
    host.begin();
    Writes writes(host.tables());
    host.apply(lifeIs(Life::stop));
    std::vector<std::string> tables;  // by their first removal
    for (auto const& write : writes.take()) {
        auto const table = write.substr(0, write.find(' '));
        if (std::find(tables.begin(), tables.end(), table) == tables.end()) tables.push_back(table);
    }
    EXPECT_THAT(tables, testing::ElementsAre("-route", "-status", "-policy-tunnel", "-fec",
                                             "-fec-index", "-ec-policy", "-selection-input",
                                             "-export", "-list-tunnel", "-list-status"));
    EXPECT_THAT(rows(host.tables()), testing::IsEmpty());
    EXPECT_EQ(host.machines(), nullptr);

    host.apply(lifeIs(Life::start));
    EXPECT_THAT(rows(host.tables()), testing::Contains("route 2"));
}

TEST(Restart, AStopInTheMiddleOfAStartEmptiesTheTablesAsWell) {
    auto const scenario = scenarioOf(twoPolicies);
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
