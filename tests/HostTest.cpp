#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/SrteProgram.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char onePolicy[] = R"(
router: {srlb: 100000-100999}
lfib:
  16005: [{nh: 10.0.1.2, if: et1, out: [16005]}]
  16006: [{if: et2, out: [16006]}]
policies:
  100 192.0.2.5:
    candidates:
      main: {preference: 200, bsid: 100001, lists: {l1: {labels: [16005, 17], weight: 3}, l2: {labels: [99]}}}
      spare: {from: bgp 65001 192.0.2.9 7, lists: {l1: {labels: [16006]}}}
  100 192.0.2.6:
    candidates: {main: {bsid: 7, lists: {l1: {labels: [16005]}}}}
events:
  - {at: 10s, lfib: {16005: null}}
)";

std::string with(std::string const& more) {
    return onePolicy + more;
}

std::string show(std::vector<std::string> arguments, std::string const& scenario = onePolicy) {
    arguments.insert(arguments.begin(), {"show", "-"});
    auto const ended = srte(arguments, scenario);
    EXPECT_EQ(ended.code, 0) << ended.err;
    return ended.out;
}

TEST(Host, EveryExampleHolds) {
    int count = 0;
    for (auto const* const directory : {"examples", "tests/scenarios"}) {
        for (auto const& file : std::filesystem::directory_iterator(directory)) {
            if (file.path().extension() != ".yaml") continue;
            auto const ended = srte({"run", file.path().string()});
            EXPECT_EQ(ended.code, 0) << file.path() << '\n' << ended.out << ended.err;
            ++count;
        }
    }
    EXPECT_GE(count, 13);
}

TEST(Host, ExitCodes) {
    std::tuple<std::vector<std::string>, int, char const*> const cases[] = {
        {{"--version"}, 0, "srte "},
        {{}, 2, ""},
        {{"fly"}, 2, ""},
        {{"run"}, 2, ""},
        {{"run", "-", "--until", "5"}, 2, ""},  // a time needs its unit
        {{"show", "-", "polcies"}, 2, ""},
        {{"show", "-", "lfib", "0x10"}, 2, ""},  // numbers are decimal
        {{"show", "-", "policy", "192.0.2.5"}, 2, ""},
        {{"show", "-", "policy", "--json", "--dump"}, 2, ""},
        {{"trace", "-"}, 2, ""},
        {{"trace", "-", "--label", "1048576"}, 2, ""},
        {{"import", "topohub", "-"}, 2, ""},
        {{"import", "topohub", "-", "--router", "x", "--metric", "miles"}, 2, ""},
        {{"show", "-", "gribi", "10"}, 2, ""},
        {{"run", "/nowhere/at/all.yaml"}, 3, ""},
        {{"run", "tests"}, 3, ""},
        {{"import", "topohub", "-", "--router", "x"}, 3, ""},
    };
    for (auto const& [arguments, code, out] : cases) {
        auto const ended = srte(arguments, onePolicy);
        auto const line = testing::PrintToString(arguments);
        EXPECT_EQ(ended.code, code) << line << ended.err;
        EXPECT_THAT(ended.out, StartsWith(out)) << line;
        EXPECT_EQ(ended.err.empty(), code == 0) << line;
        EXPECT_EQ(ended.out.empty(), code != 0) << line;
    }
}

TEST(Host, HelpBeginsWithTwoExamples) {
    for (std::string const command : {"run", "show", "trace", "import"}) {
        auto const ended = srte({command, "--help"});
        EXPECT_EQ(ended.code, 0);
        auto const second = ended.out.find("\n  srte " + command);
        EXPECT_THAT(ended.out, StartsWith("  srte " + command)) << command;
        EXPECT_EQ(second, ended.out.find('\n')) << command;
    }
}

TEST(Host, ShowsPoliciesForPrograms) {
    EXPECT_EQ(
        show({"policy", "--json", "--at", "5s"}),
        R"({"schema": "srte/1", "at": "5s", "policy": {
  "100 192.0.2.5": {"state":"up","active":"main","bsid":100001,"candidates":{)"
        R"("main":{"state":"active","preference":200,"from":"config 0 0.0.0.0 1","bsid":100001,"lists":{)"
        R"("l1":{"state":"usable","id":2,"labels":[16005,17],"weight":3},)"
        R"("l2":{"state":"unresolved","id":3,"labels":[99],"weight":1}}},)"
        R"("spare":{"state":"usable","reason":"lower-preference","preference":100,)"
        R"("from":"bgp 65001 192.0.2.9 7","lists":{)"
        R"("l1":{"state":"usable","id":1,"labels":[16006],"weight":1}}}}},
  "100 192.0.2.6": {"state":"down","reason":"no-usable-candidate","candidates":{)"
        R"("main":{"state":"unusable","reason":"bsid-out-of-range","preference":100,)"
        R"("from":"config 0 0.0.0.0 1","bsid":7,"lists":{)"
        R"("l1":{"state":"idle","labels":[16005],"weight":1}}}}}
}}
)");
}

TEST(Host, ShowsPoliciesForPeople) {
    EXPECT_EQ(show({"policy", "100 192.0.2.5", "--at", "5s"}),
              "100 192.0.2.5  up, active main, BSID 100001\n"
              "  main   active                    preference 200  bsid 100001  from config 0 "
              "0.0.0.0 1\n"
              "    l1   usable                    weight 3        list 2       16005 17\n"
              "    l2   unresolved                weight 1        list 3       99\n"
              "  spare  usable: lower-preference  preference 100               from bgp 65001 "
              "192.0.2.9 7\n"
              "    l1   usable                    weight 1        list 1       16006\n");
}

// The moment before the events of a time; without one, the end with its events.
TEST(Host, ShowsAMoment) {
    EXPECT_THAT(show({"policy", "--at", "10s"}), HasSubstr("up, active main"));
    EXPECT_THAT(show({"policy"}), HasSubstr("up, active spare"));
    EXPECT_THAT(show({"policy", "--json", "--at", "1000s"}), HasSubstr("\"at\": \"1000s\""));
    EXPECT_EQ(show({"lfib", "16005", "--json"}),
              "{\"schema\": \"srte/1\", \"at\": \"10s\", \"lfib\": {}}\n");
}

TEST(Host, ShowsTables) {
    auto const at5 = [](std::string const& word) { return show({word, "--at", "5s"}); };
    EXPECT_EQ(at5("bsid"), "bsid    policy         waiting\n100001  100 192.0.2.5\n");
    EXPECT_EQ(at5("fec"),
              "fec                 policy         vias\n"
              "0x0f00000100000000  100 192.0.2.5  {tunnel: 13-2, weight: 3}\n"
              "0x0f00000100000001  100 192.0.2.5  {tunnel: 13-2, weight: 3, label: 2}\n");
    EXPECT_EQ(at5("segment"),
              "segment  id  state       vias\n"
              "16006    1   resolved    {if: et2, action: swap, out: [16006]}\n"
              "16005    2   resolved    {if: et1, nh: 10.0.1.2, action: swap, out: [16005]}\n"
              "17       3   unresolved\n"
              "99       4   unresolved\n");
    EXPECT_EQ(at5("segment-list"),
              "segment-list  policy         candidate  state       labels    tunnel\n"
              "1             100 192.0.2.5  spare      usable      16006     13-1\n"
              "2             100 192.0.2.5  main       usable      16005 17  13-2\n"
              "3             100 192.0.2.5  main       unresolved  99\n");
    EXPECT_THAT(at5("tunnel"), HasSubstr("13-1    segment-list  100 192.0.2.5  {if: et2, "));
    EXPECT_EQ(at5("syslog"),
              "at  severity  id                                     text\n"
              "0s  4         SRTE_POLICY_INVALID_BSID_OUT_OF_RANGE  Endpoint 192.0.2.6, color 100, "
              "protocol config, originator 0.0.0.0(AS0), discriminator 1 is unusable: BSID(7) is "
              "outside SRLB [100000, 100999]\n");
    EXPECT_EQ(srte({"show", "-", "colored-rib"}, onePolicy).err,
              "srte: at 10s there is no colored-rib\n");
}

TEST(Host, DumpsMachines) {
    EXPECT_THAT(show({"policy", "--dump"}), HasSubstr("srlbConfigRangeMax: 100999\n"));
    EXPECT_THAT(show({"lfib", "--dump", "--at", "5s"}), HasSubstr("endpoint 192.0.2.5 color 100"));
    EXPECT_EQ(show({"policy", "1 192.0.2.5", "--dump"}), show({"policy", "--dump"}));
    EXPECT_EQ(srte({"show", "-", "syslog", "--dump"}, onePolicy).err,
              "srte: no machine dumps syslog\n");
    auto const stopped = srte({"show", "-", "fec", "--dump"}, with("  - {at: 11s, stop: true}\n"));
    EXPECT_EQ(stopped.out, "");
    EXPECT_EQ(stopped.err, "srte: at 11s the agent is stopped\n");
}

// Objects by the members that are named, scalars by their text, arrays as a whole, null for
// nothing: whatever is otherwise is told with its line.
TEST(Host, TellsWhatAnExpectationFound) {
    auto const ended = srte({"run", "-"}, with(R"(
expect:
  - at: 5s
    policy:
      100 192.0.2.5: {state: up, active: spare, reason: null, bsid: null}
      100 192.0.2.6: {candidates: {main: {lists: {l1: {state: usable}}}}}
    lfib: {100001: {source: sr-te}, 16005: null}
    trace:
      100001: [{if: et1, share: 50 %}]
      100001,18: [{out: [16005, 17, 18], share: 100 %}]
      16006: []
  - {between: [0s, 12s], never-withdrawn: {lfib: [16005, 16006, 5]}, syslog: []}
  - {at: 12s, policy: {100 192.0.2.5: {active: spare}}}
)"));
    EXPECT_EQ(ended.code, 1);
    EXPECT_THAT(
        ended.out,
        EndsWith(
            "\n"
            "-:19: at 5s, policy 100 192.0.2.5 active: expected `spare`, found `main`\n"
            "-:19: at 5s, policy 100 192.0.2.5 bsid: expected nothing, found `100001`\n"
            "-:20: at 5s, policy 100 192.0.2.6 candidates main lists l1 state: expected "
            "`usable`, found `idle`\n"
            "-:21: at 5s, lfib 16005: expected nothing, found `{source: other, vias: [{if: "
            "et1, nh: 10.0.1.2, action: swap, out: [16005]}]}`\n"
            "-:23: at 5s, trace 100001: expected `[{if: et1, share: 50 %}]`, found `[{if: et1, "
            "nh: 10.0.1.2, out: [16005, 17], share: 100 %}]`\n"
            "-:25: at 5s, trace 16006: expected `[]`, found `[{if: et2, out: [16006], share: "
            "100 %}]`\n"
            "-:26: between 0s and 12s, lfib 16005: expected never withdrawn, found withdrawn "
            "at 10s\n"
            "-:26: between 0s and 12s, lfib 5: expected never withdrawn, found absent at 12s\n"
            "-:26: between 0s and 12s, syslog: expected `[]`, found "
            "`[SRTE_POLICY_INVALID_BSID_OUT_OF_RANGE]`\n"
            "1 expectation holds, 2 failed\n"));
}

TEST(Host, LeavesOutWhatEndsLater) {
    auto const scenario = with(R"(
expect:
  - {at: 10s, policy: {100 192.0.2.5: {active: main}}}
  - {between: [0s, 11s], never-withdrawn: {lfib: [16005]}}
  - {at: 12s, policy: {100 192.0.2.5: {active: main}}}
)");
    auto const early = srte({"run", "-", "--until", "10s"}, scenario);
    EXPECT_EQ(early.code, 0);
    EXPECT_THAT(early.out, EndsWith("\n10s  end\n"
                                    "  2 policies: 1 up, 1 down\n"
                                    "  100 192.0.2.6  down: no-usable-candidate (main "
                                    "bsid-out-of-range)\n\n"
                                    "1 expectation holds, 2 left out\n"));
    EXPECT_EQ(srte({"run", "-"}, scenario).code, 1);
}

TEST(Host, TellsWhatHappenedForPrograms) {
    auto const ended = srte({"run", "-", "--json"}, with("  - {at: 11s, router: {srlb: null}}\n"));
    EXPECT_EQ(ended.code, 0);
    EXPECT_THAT(ended.out, HasSubstr("\"at\": \"11s\""));
    EXPECT_THAT(ended.out, HasSubstr("\"line\": 15"));
    EXPECT_THAT(ended.out, HasSubstr("\"share\": \"100 %\""));
    EXPECT_THAT(ended.out, Not(HasSubstr("\033")));
}

TEST(Host, ShowsGribiForPeople) {
    std::string const gribi = R"(gribi:
  nh: {1: [16006, 17], 2: [5]}
  nhg: {10: {1: 3, 2: 1}}
  mpls: {900: 10, 901: 11}
)";
    auto const scenario = with(gribi);
    EXPECT_EQ(show({"gribi"}, scenario),
              "running  true\n"
              "nh       1     usable                   16006 17\n"
              "nh       2     unusable: unresolved     5\n"
              "nhg      10    installed                FEC 0x0f00000200000000\n"
              "  nh     1     used                     weight 3\n"
              "  nh     2     unused: unusable         weight 1\n"
              "mpls     900   installed                group 10\n"
              "mpls     901   not-installed: no-group  group 11\n");
    EXPECT_THAT(show({"gribi", "--dump"}, scenario), HasSubstr("nhToSlMap #2"));
    std::string const events =
        "  - {at: 11s, gribi: {enabled: false}}\n  - {at: 12s, gribi: null}\n";
    EXPECT_THAT(show({"gribi", "--at", "12s"}, with(events + gribi)),
                HasSubstr("mpls     900    not-installed: not-running  group 10\n"));
    EXPECT_EQ(show({"gribi"}, with(events + gribi)), "running  true\n");
    EXPECT_EQ(show({"fec", "0x0f00000200000000"}, scenario),
              "fec                 group  vias\n"
              "0x0f00000200000000  10     {tunnel: 13-1, weight: 3}\n");
    EXPECT_THAT(show({"segment-list", "1"}, scenario), HasSubstr("next-hop"));
}

// Ten delays of a tenth of a second are a second: the task that is due at the time of the event
// still meets the clogged log, and the next one comes a tenth later.
TEST(Host, TasksAndEventsMeetOnTheNanosecond) {
    auto const scenario = with(R"(
  - {at: 20s, clog: true, policies: {100 192.0.2.5: {candidates: {spare: null}}}}
  - {at: 21s, clog: false}
expect:
  - {at: 21s, policy: {100 192.0.2.5: {active: spare}}}
  - {at: 21.099s, policy: {100 192.0.2.5: {active: spare}}}
  - {at: 21.1s, policy: {100 192.0.2.5: {state: down}}}
)");
    auto const ended = srte({"run", "-"}, scenario);
    EXPECT_EQ(ended.code, 0) << ended.out;
}

TEST(Host, ImportsWhatItRuns) {
    std::ifstream network("examples/abilene.json");
    std::ostringstream json;
    json << network.rdbuf();
    auto const imported = srte({"import", "topohub", "-", "--router", "NYCMng"}, json.str());
    ASSERT_EQ(imported.code, 0) << imported.err;
    auto const ended = srte({"run", "-"}, imported.out);
    EXPECT_EQ(ended.code, 0) << ended.out;
    EXPECT_THAT(ended.out, HasSubstr("Left out"));
}

}  // namespace
