#include <algorithm>
#include <sstream>

#include "agent/Host.h"
#include "agent/ScenarioReader.h"
#include "tests/support/SurvivingWrites.h"

namespace {

using namespace Agent;

Step lifeIs(Life life) {
    Step step;
    step.life = life;
    return step;
}

/// The rows of all tables that outlive the agent.
std::size_t rows(SurvivingTables const& tables) {
    std::size_t count = 0;
    forEachSurvivingTable(
        tables, [&count](char const*, auto const& table, auto const&) { count += table.size(); });
    return count;
}

constexpr char everything[] = R"(
router: {srlb: 100000-100999, colored-rib: true}
lfib: {16005: [{nh: 10.0.1.2, if: et1, out: [16005]}]}
policies:
  1 192.0.2.5: {sbfd: {}, candidates: {c: {bsid: 100001, lists: {l1: {labels: [16005]}}}}}
  2 192.0.2.5: {candidates: {c: {bsid: 100002, lists: {l1: {labels: [16005]}}}}}
gribi: {nh: {1: [16005]}, nhg: {10: {1: 1}}, mpls: {900: 10}}
)";

TEST(Restart, AnOrderlyStopEmptiesTheTablesConsumersFirst) {
    std::istringstream input(everything);
    auto const scenario = readScenario(input, "-");
    Host host(scenario);
    host.begin();
    auto const before = rows(host.tables());
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
    EXPECT_EQ(rows(host.tables()), 0u);
    EXPECT_EQ(host.machines(), nullptr);

    host.apply(lifeIs(Life::start));
    EXPECT_EQ(rows(host.tables()), before);
}

}  // namespace
