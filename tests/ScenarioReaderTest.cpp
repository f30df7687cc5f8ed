#include <sstream>
#include <tuple>
#include <vector>

#include "agent/ScenarioReader.h"
#include "agent/ScenarioValues.h"

namespace Agent {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

Scenario read(std::string const& text) {
    std::istringstream input(text);
    return readScenario(input, "f");
}

/// A line for each fault, without the file's name; of several, each ends its line.
std::string faults(std::string const& text) {
    std::ostringstream lines;
    try {
        read(text);
    } catch (InputError const& error) {
        for (auto const& found : error.diagnostics) {
            EXPECT_EQ(found.file, "f");
            lines << found.line << ":" << found.column << ": " << found.message << "\n";
        }
    }
    return lines.str();
}

/// Candidate `main` of policy `1 1.1.1.1` in one line; its description begins in column 41.
std::string candidate(std::string const& description) {
    return "policies: {1 1.1.1.1: {candidates: {main: {" + description + "}}}}";
}

/// Label 5 in one line; its route begins in column 11.
std::string route(std::string const& description) {
    return "lfib: {5: " + description + "}";
}

std::string listOf(int times, std::string const& item) {
    std::string text = "[";
    for (int i = 0; i < times; ++i) text += (i == 0 ? "" : ", ") + item;
    return text + "]";
}

using Case = std::pair<std::string, std::string>;  // a file and its one fault

void expectFaults(std::vector<Case> const& cases) {
    for (auto const& [text, fault] : cases) EXPECT_EQ(faults(text), fault + "\n") << text;
}

TEST(ScenarioReader, RefusesWhatIsNoPlainYamlDocument) {
    expectFaults({
        {"", "1:1: found null, expected a scenario as a mapping"},
        {"lfib: [1\n", "2:1: not YAML: end of sequence flow not found"},
        {"scenario: x\nscenario: y", "2:1: duplicate key `scenario`, first in line 1"},
        {"scenario: x\n---\nscenario: y", "2:1: a second document, expected only one"},
        {"{scenario: x},\nevents: []", "1:14: a second document, expected only one"},
        {"scenario: a\xFF",
         "1:11: bytes that are no UTF-8 are not allowed, expected the value itself"},
        {"scenario: !!str x", "1:11: tags are not allowed, expected the value itself"},
        {"? [1]\n: x", "1:3: found a list as a key, expected text"},
    });
    EXPECT_EQ(faults("scenario: &a x\nlfib: *a"),
              "1:11: anchors are not allowed, expected the value itself\n"
              "2:7: aliases are not allowed, expected the value itself\n");
}

TEST(ScenarioReader, ProposesTheKeyThatWasMeant) {
    expectFaults({
        {"polices: {}", "1:1: unknown key `polices` in a scenario, did you mean `policies`?"},
        {route("[{if: e1, nhop: 1.1.1.1}]"),
         "1:21: unknown key `nhop` in a via, did you mean `nhg`?"},
        {"ti-lfa: {t: {primary: {nh: 1.1.1.1, nhg: pop}}}",
         "1:37: unknown key `nhg` in a path, did you mean `nh`?"},
        {candidate("lists: {l1: {labels: [1], cost: 3}}"),
         "1:70: unknown key `cost` in a segment list, expected one of `labels`, `weight`"},
        {"events: [{at: 1s, reboot: true}]",
         "1:19: unknown key `reboot` in an event, expected one of `at`, `router`, `lfib`, "
         "`ti-lfa`, "
         "`policies`, `gribi`, `bfd`, `counters`, `sbfd-session`, `clog`, `restart`, `stop`, "
         "`start`"},
    });
}

TEST(ScenarioReader, ComparesKeysByValue) {
    expectFaults({
        {"lfib:\n  10: [{if: e}]\n  010: [{if: e}]",
         "3:3: duplicate key `010`, the same as in line 2"},
        {"policies:\n  1 2001:db8::1: {}\n  1 2001:DB8:0::1: {}",
         "3:3: duplicate key `1 2001:DB8:0::1`, the same as in line 2"},
    });
}

TEST(ScenarioReader, RefusesValuesOutOfRange) {
    expectFaults({
        {"router: {srlb: 0-1048576}",
         "1:16: found `0-1048576`, expected a range such as 100000-100999, first to last, within "
         "0 "
         "to 1048575"},
        {"router: {msd: 256}", "1:15: found `256`, expected a number of labels from 0 to 255"},
        {"router: {enabled: yes}", "1:19: found `yes`, expected one of `true`, `false`"},
        {"router: {tie-breaking: 0x10}",
         "1:24: found `0x10`, expected a number from 0 to 4294967295"},
        {"lfib: {1048576: [{if: e}]}",
         "1:8: found `1048576` as a key, expected a label from 0 to 1048575"},
        {route(listOf(601, "{if: e}")), "1:11: found 601 vias, expected 1 to 600"},
        {route("[{if: e, out: " + listOf(10, "1") + "}]"),
         "1:25: found 10 labels, expected 0 to 9"},
        {route("[{if: e, out: swap}]"), "1:25: found `swap`, expected a list of labels or `pop`"},
        {route("[{if: e, nh: 10.0.0.256}]"),
         "1:24: found `10.0.0.256`, expected an IPv4 or IPv6 address"},
        {route("[{tunnel: 32-1}]"),
         "1:21: found `32-1`, expected a tunnel as TYPE-INDEX, type 0 to 31, index 0 to "
         "17592186044415"},
        {route("{fec: {type: 26, id: 1}}"), "1:24: found `26`, expected a FEC type from 0 to 25"},
        {route("{fec: {type: 0, id: 72057594037927936}}"),
         "1:31: found `72057594037927936`, expected a FEC id from 0 to 72057594037927935"},
        {route("{fec: {type: 6, id: 562949953421312}}"),
         "1:31: found `562949953421312`, expected a FEC id of type 6 from 0 to 562949953421311"},
        {candidate("preference: -1"),
         "1:56: found `-1`, expected a preference from 0 to 4294967295"},
        {candidate("lists: {l1: {labels: " + listOf(9, "1") + "}}"),
         "1:65: found 9 labels, expected 1 to 8"},
        {candidate("lists: {l1: {weight: 3}}"),
         "1:52: found list `l1` without `labels`, expected 1 to 8"},
        {candidate("lists: {l1: {labels: [1], weight: 0}}"),
         "1:78: found `0`, expected a weight from 1 to 4294967295"},
        {candidate("lists: {l 1: {labels: [1]}}"),
         "1:52: found `l 1` as a key, expected a name of letters, digits, `.`, `_` and `-`"},
        {"policies: {4294967296 1.1.1.1: {}}",
         "1:12: found `4294967296 1.1.1.1` as a key, expected a policy as COLOR ENDPOINT, such as "
         "100 192.0.2.5"},
    });
}

TEST(ScenarioReader, RefusesRecordsThatContradictThemselves) {
    expectFaults({
        {route("{kind: pseudowire, fec: {type: 0, id: 7}}"),
         "1:30: found both `kind` and `fec` in a route, expected one of them"},
        {"ti-lfa: {t: {primary: {if: e}}}\nlfib: {5: {fec: {ti-lfa: t, id: 7}}}",
         "2:29: found both `ti-lfa` and `id` in a FEC, expected `ti-lfa`, or `type` and `id`"},
        {route("{fec: {type: 0}}"),
         "1:17: found an incomplete FEC, expected `type` and `id`, or `ti-lfa`"},
        {route("{action: swap}"),
         "1:11: found an empty route, expected a list of vias, `kind` or `fec`"},
        {route("[{if: e, nhg: 5}]"),
         "1:12: found more than one of `if`, `ti-lfa`, `nhg`, `tunnel`, expected one"},
        {"ti-lfa: {t: {backup: {if: e}}}",
         "1:13: found a tunnel without a path, expected `primary`"},
        {"policies: {1 1.1.1.1: {candidates: {a: {}, b: {from: config 0 0.0.0.0 1}}}}",
         "1:54: candidates `a` and `b` have the same protocol, AS, originator and discriminator, "
         "expected different ones"},
    });
}

TEST(ScenarioReader, RefusesNamesThatTheFileNeverHas) {
    std::string const policy =
        candidate("lists: {l1: {labels: [1]}}") + "\nexpect: [{at: 1s, policy: ";
    expectFaults({
        {policy + "{1 1.1.1.2: null}}]",
         "2:28: the file never has the policy `1 1.1.1.2`, did you mean `1 1.1.1.1`?"},
        {policy + "{1 1.1.1.1: {active: mian}}}]",
         "2:48: policy `1 1.1.1.1` never has the candidate `mian`, did you mean `main`?"},
        {policy + "{1 1.1.1.1: {candidates: {main: {lists: {list: null}}}}}}]",
         "2:68: candidate `main` of policy `1 1.1.1.1` never has the list `list`, expected one of "
         "`l1`"},
        {"expect: [{between: [0s, 1s], never-withdrawn: {policy: [1 1.1.1.1]}}]",
         "1:57: the file never has the policy `1 1.1.1.1`, there is none"},
        {route("[{ti-lfa: t7}]"), "1:21: the file never has the TI-LFA tunnel `t7`, there is none"},
    });
    // At some time is enough, before or after.
    EXPECT_EQ(
        faults(route("[{ti-lfa: t7}]") + "\nevents: [{at: 1s, ti-lfa: {t7: {primary: {if: e}}}}]"),
        "");
}

TEST(ScenarioReader, RefusesEventsAndExpectationsThatMakeNoSense) {
    expectFaults({
        {"events: [{lfib: {}}]", "1:10: found an event without `at`, expected its time"},
        {"events: [{at: 10}]",
         "1:15: found `10`, expected a time with its unit, such as 10s, 11.2s or 50ms"},
        {"events: [{at: 2s}, {at: 2s}, {at: 1999ms}]",
         "1:35: found an event at 1.999s after one at 2s, expected events in time order"},
        {"events: [{at: 1s, restart: true, start: true}]",
         "1:34: found `start` beside another change of the agent's life, expected one of "
         "`restart`, "
         "`stop`, `start`"},
        {"events: [{at: 1s, stop: false}]", "1:25: found `false`, expected `true`"},
        {"expect: [{at: 1s, syslog: []}]",
         "1:19: found `syslog` in an expectation with `at`, expected `between`"},
        {"expect: [{between: [2s, 1s]}]",
         "1:20: found a window that ends before it begins, expected its beginning first"},
    });
}

TEST(ScenarioReader, ReportsEverythingAtOnceInTheOrderOfTheFile) {
    EXPECT_EQ(
        faults("bfd: {interval: 0.5ms}\n"
               "lfib: {5: [{ti-lfa: t}], 6: []}\n"
               "counters: {1 1.1.1.1 main l1: true}\n"
               "router: {msd: -1}\n"),
        "1:17: found `0.5ms`, expected an interval in whole milliseconds, such as 50ms, up to "
        "4294967295ms\n"
        "2:21: the file never has the TI-LFA tunnel `t`, there is none\n"
        "2:29: found no vias, expected 1 to 600\n"
        "3:12: the file never has the policy `1 1.1.1.1`, there is none\n"
        "4:15: found `-1`, expected a number of labels from 0 to 255\n");
}

TEST(ScenarioReader, SpellsTheKeysOfExpectationsAsTheyArePrinted) {
    auto const scenario = read(R"(
policies: {100 2001:db8::5: {candidates: {a: {}}}}
expect:
  - at: 12s
    policy: {100 2001:DB8:0::5: {state: up, bsid: null}}
    trace: {"024001,16005": [{if: et1, out: [16005], share: 75 %}]}
  - {between: [0s, 30s], never-withdrawn: {lfib: [0100], policy: [100 2001:DB8:0::5]}, syslog: [X]}
)");
    ASSERT_EQ(scenario.expectations.size(), 2u);
    auto const& words = scenario.expectations[0].words;
    auto const* const policy = words.find("policy")->find("100 2001:db8::5");
    ASSERT_NE(policy, nullptr);
    EXPECT_EQ(policy->find("state")->text, "up");
    EXPECT_TRUE(policy->member("bsid")->value.isNull());
    EXPECT_EQ(words.find("trace")->find("24001,16005")->items.at(0).find("share")->text, "75 %");

    auto const& window = scenario.expectations[1];
    ASSERT_EQ(window.neverWithdrawn.size(), 2u);
    EXPECT_EQ(window.neverWithdrawn[0].key, "100");
    EXPECT_EQ(window.neverWithdrawn[1].key, "100 2001:db8::5");
    EXPECT_THAT(window.syslog->identifiers, ElementsAre("X"));
    EXPECT_EQ(scenario.end(), 30s);
}

TEST(ScenarioReader, NamesTunnelsFromOneOn) {
    auto const scenario = read("ti-lfa: {t7: {primary: {if: e}}}");
    auto const name = [&scenario](char const* id) {
        auto const* const found = scenario.tiLfaName(Tunnel::TunnelTable::TunnelId::fromString(id));
        return found ? *found : "none";
    };
    EXPECT_EQ(name("12-0") + " " + name("12-1") + " " + name("12-2"), "none t7 none");
}

TEST(ScenarioReader, ReadsJson) {
    auto const scenario = read(
        "{\"scenario\":\"a \\u00fc\\/b \\ud83d\\ude00\",\n\t\"lfib\":{\"16\":[{\"if\":\"e\","
        "\"nh\":null}]},\"events\":[{\"at\":\"1s\",\"stop\":true}]}");
    EXPECT_EQ(scenario.title, "a \xC3\xBC/b \xF0\x9F\x98\x80");
    EXPECT_EQ(scenario.initial.lfib.written.size(), 1u);
    EXPECT_EQ(scenario.events.at(0).life, Life::stop);
}

TEST(ScenarioValues, DurationsAreExact) {
    EXPECT_EQ(parseDuration("11.2s"), 11200ms);
    EXPECT_EQ(parseDuration("0.000000001s"), 1ns);
    EXPECT_EQ(parseDuration("1.50ms"), 1500us);
    EXPECT_EQ(parseDuration("9000000000s"), 9000000000s);
    for (auto const* const text :
         {"", "5", "s", ".5s", "5.s", "-1s", "1 s", "1m", "1e3s", "0.0000000001s", "9000000001s"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
    EXPECT_EQ(durationText(11200ms), "11.2s");
    EXPECT_EQ(durationText(20s), "20s");
    EXPECT_EQ(durationText(5ms), "0.005s");
}

}  // namespace
}  // namespace Agent
