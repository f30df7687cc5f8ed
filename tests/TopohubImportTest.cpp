#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>
#include <yaml-cpp/yaml.h>

#include "agent/InputError.h"
#include "agent/TopohubImport.h"

namespace Agent::Topohub {
namespace {

using testing::HasSubstr;
using testing::Not;

struct Edge {
    int source;
    int target;
    double km = 1;
};

/// A network of routers A, B, C, ... (beyond Z: without a name) with the ids 0, 1, 2, ...
std::string network(int routers, std::vector<Edge> const& edges, std::string const& demands) {
    std::string nodes;
    for (int id = 0; id < routers; ++id) {
        auto const name = id < 26 ? std::string(1, static_cast<char>('A' + id)) : "";
        nodes += (id == 0 ? "" : ",") + std::string(R"({"name": ")") + name + R"(", "id": )" +
                 std::to_string(id) + "}";
    }
    std::string links;
    for (auto const& [source, target, km] : edges) {
        links += (links.empty() ? "" : ",") + std::string(R"({"dist": )") + std::to_string(km) +
                 R"(, "source": )" + std::to_string(source) + R"(, "target": )" +
                 std::to_string(target) + "}";
    }
    return R"({"graph": {"name": "net", "demands": )" + demands + R"(}, "nodes": [)" + nodes +
           R"(], "edges": [)" + links + "]}";
}

std::string import(std::string const& json, std::string const& router = "A",
                   Metric metric = Metric::Km) {
    std::istringstream in(json);
    return importTopohub(in, "net.json", router, metric);
}

/// A part of the scenario in one line.
std::string flow(YAML::Node const& node) {
    YAML::Emitter out;
    out.SetMapFormat(YAML::Flow);
    out.SetSeqFormat(YAML::Flow);
    out.SetNullFormat(YAML::LowerNull);
    out << node;
    // The emitter breaks long lines where the format does not care.
    std::string text;
    for (auto const character : std::string(out.c_str())) {
        if (character == '\n') text += ' ';
        if (character != '\n' && !(character == ' ' && text.ends_with(' '))) text += character;
    }
    return text;
}

YAML::Node at(YAML::Node const& scenario, std::string const& time, std::string const& section) {
    for (auto const& entry : scenario["expect"]) {
        if (entry["at"] && entry["at"].as<std::string>() == time) return entry[section];
    }
    return {};
}

std::string windows(YAML::Node const& scenario) {
    std::string text;
    for (auto const& entry : scenario["expect"]) {
        if (!entry["between"]) continue;
        text += flow(entry["between"]) + flow(entry["never-withdrawn"]["lfib"]) + " ";
    }
    return text;
}

class Ring : public testing::Test {
protected:
    // A - B - C - A: 3, 4 and 5 km; C - D is a bridge of 1 km.
    std::string const json =
        network(4, {{0, 1, 3}, {1, 2, 4}, {2, 0, 5}, {2, 3, 1}},
                R"({"1": {"0": 1}, "0": {"2": 10, "3": 2.5, "1": 7, "0": 4}})");
    std::string const text = import(json);
    YAML::Node const scenario = YAML::Load(text);
};

TEST_F(Ring, RoutesAndPoliciesAreTheRoutersOwn) {
    EXPECT_EQ(scenario["scenario"].as<std::string>(),
              "net from A: the link to C fails and returns, every policy stays up");
    EXPECT_EQ(flow(scenario["router"]), "{srlb: 100000-100999}");
    EXPECT_EQ(flow(scenario["lfib"]),
              "{16002: [{nh: 10.0.0.3, if: to-B, out: pop}], "
              "16003: [{nh: 10.0.0.6, if: to-C, out: pop}], "
              "16004: [{nh: 10.0.0.6, if: to-C, out: [16004]}], "
              "24001: [{nh: 10.0.0.3, if: to-B, out: pop}], "
              "24006: [{nh: 10.0.0.6, if: to-C, out: pop}]}");
    EXPECT_EQ(flow(scenario["policies"]),
              "{100 10.255.0.3: {candidates: {explicit: {preference: 200, bsid: 100000, "
              "lists: {l1: {labels: [24006], weight: 100}, "
              "l2: {labels: [24001, 24003], weight: 71}}}, "  // 5 / 7
              "shortest: {preference: 100, bsid: 100000, lists: {l1: {labels: [16003]}}}}}, "
              "100 10.255.0.4: {candidates: {explicit: {preference: 200, bsid: 100001, "
              "lists: {l1: {labels: [24006, 24007], weight: 100}}}, "
              "shortest: {preference: 100, bsid: 100001, lists: {l1: {labels: [16004]}}}}}, "
              "100 10.255.0.2: {candidates: {explicit: {preference: 200, bsid: 100002, "
              "lists: {l1: {labels: [24001], weight: 100}, "
              "l2: {labels: [24006, 24004], weight: 33}}}, "  // 3 / 9
              "shortest: {preference: 100, bsid: 100002, lists: {l1: {labels: [16002]}}}}}}");
    EXPECT_THAT(text, HasSubstr("no second path, hence one list: D\n"));
}

TEST(TopohubImport, APolicyWithoutAnyPathGoesDownAndComesBack) {
    // The bridge A - B leads to C; D is out of reach from the start.
    auto const text = import(network(4, {{0, 1}, {1, 2}}, R"({"0": {"3": 1, "2": 1}})"));
    auto const scenario = YAML::Load(text);
    EXPECT_THAT(text, HasSubstr("no path, hence no policy: D\n"));
    EXPECT_EQ(flow(scenario["events"][0]["lfib"]), "{16002: null, 16003: null, 24001: null}");
    EXPECT_EQ(flow(at(scenario, "15s", "policy")),
              "{100 10.255.0.3: {state: down, reason: no-usable-candidate, active: null, "
              "bsid: null, candidates: {explicit: {state: unusable, reason: no-usable-list, "
              "lists: {l1: {state: unresolved}}}, "
              "shortest: {state: unusable, reason: no-usable-list}}}}");
    EXPECT_EQ(flow(at(scenario, "15s", "trace")), "{100000: null}");
    EXPECT_EQ(windows(scenario), "[0s, 10s][100000] [20s, 30s][100000] ");
}

TEST(TopohubImport, PathsOfMoreThanEightLabelsAreLeftOut) {
    // A ring of A to R with 18 links: H is 7 and 11 away, J, opposite, 9 and 9.
    std::vector<Edge> edges;
    for (int id = 0; id < 18; ++id) edges.push_back({id, (id + 1) % 18});
    auto const text = import(network(18, edges, R"({"0": {"7": 1, "9": 1}})"));
    auto const scenario = YAML::Load(text);
    EXPECT_THAT(text, HasSubstr("paths of more than eight labels: l2 to H (11), l1 to J (9), "
                                "l2 to J (9)\n"));
    EXPECT_EQ(flow(scenario["policies"]["100 10.255.0.8"]["candidates"]["explicit"]["lists"]),
              "{l1: {labels: [24001, 24003, 24005, 24007, 24009, 24011, 24013], weight: 100}}");
    EXPECT_EQ(flow(scenario["policies"]["100 10.255.0.10"]),
              "{candidates: {shortest: {preference: 100, bsid: 100001, "
              "lists: {l1: {labels: [16010]}}}}}");
    EXPECT_EQ(flow(at(scenario, "5s", "policy")["100 10.255.0.10"]),
              "{state: up, active: shortest, bsid: 100001, "
              "candidates: {shortest: {state: active}}}");
    EXPECT_EQ(flow(at(scenario, "5s", "trace")["100001"]),
              "[{if: to-B, nh: 10.0.0.3, out: [16010], share: 50 %}, "
              "{if: to-R, nh: 10.0.0.36, out: [16010], share: 50 %}]");
}

TEST(TopohubImport, AWeightIsAtLeastOneAndRoundedHalfUp) {
    auto const json =
        network(3, {{0, 1, 2}, {0, 1, 16}, {0, 2, 1}, {0, 2, 1000}}, R"({"0": {"1": 1, "2": 1}})");
    auto const lists = [](std::string const& text, std::string const& policy) {
        return flow(YAML::Load(text)["policies"][policy]["candidates"]["explicit"]["lists"]);
    };
    EXPECT_EQ(lists(import(json), "100 10.255.0.2"),
              "{l1: {labels: [24001], weight: 100}, l2: {labels: [24003], weight: 13}}");  // 12.5
    EXPECT_EQ(lists(import(json), "100 10.255.0.3"),
              "{l1: {labels: [24005], weight: 100}, l2: {labels: [24007], weight: 1}}");
    EXPECT_EQ(lists(import(json, "A", Metric::Hops), "100 10.255.0.3"),
              "{l1: {labels: [24005], weight: 100}, l2: {labels: [24007], weight: 100}}");
}

TEST(TopohubImport, NamesFromElsewhereStayNames) {
    auto const text = import(R"({"graph": {"name": "x: \"y\" # z\n"}, "nodes": [
        {"id": 0, "name": "it's A\nlfib: {}"}, {"id": 1, "name": "B {x}"}, {"id": 2, "name": "B+x-"},
        {"id": 3, "name": "Zürich"}],
        "edges": [{"source": 0, "target": 1}, {"source": 0, "target": 2}, {"source": 0, "target": 1},
                  {"source": 0, "target": 3}]})",
                             "0", Metric::Hops);
    auto const scenario = YAML::Load(text);
    EXPECT_EQ(scenario["scenario"].as<std::string>(),
              "x: \"y\" # z\n from it's A\nlfib: {}: the link to B {x} fails and returns");
    EXPECT_EQ(flow(scenario["lfib"]["16002"]),
              "[{nh: 10.0.0.3, if: to-B-x-, out: pop}, {nh: 10.0.0.7, if: to-B-x--3, out: pop}]");
    EXPECT_EQ(scenario["lfib"]["16003"][0]["if"].as<std::string>(), "to-B-x--2");
    EXPECT_EQ(scenario["lfib"]["16004"][0]["if"].as<std::string>(), "to-Z-rich");
}

TEST(TopohubImport, LabelsRunOut) {
    std::string demands;
    std::vector<Edge> edges;
    for (int id = 1; id <= 1001; ++id) {
        demands += (id == 1 ? "\"" : ", \"") + std::to_string(id) + "\": 1";
        edges.push_back({0, id});
    }
    auto const text =
        import(network(1002, edges, R"({"0": {)" + demands + "}}"), "0", Metric::Hops);
    EXPECT_THAT(text, HasSubstr("the SRLB is used up, hence no policy: 1001\n"));
    EXPECT_THAT(text, HasSubstr("bsid: 100999, lists: {l1: {labels: [17001]}}"));
    EXPECT_THAT(text, Not(HasSubstr("bsid: 101000")));
    EXPECT_THAT(import(network(1, {}, "{}")),
                HasSubstr("# The router has no links: nothing can fail.\n"));
    EXPECT_THROW(import(network(8000, {}, "{}"), "0"), InputError);
}

/// What a clone runs first must be what the command writes.
TEST(TopohubImport, TheExamplesAreUpToDate) {
    std::tuple<std::string, std::string, Metric> const examples[] = {
        {"abilene", "IPLSng", Metric::Km}, {"geant", "de1.de", Metric::Hops}};
    for (auto const& [name, router, metric] : examples) {
        auto const file = "examples/" + name + ".json";
        std::ifstream json(file);
        std::ifstream yaml("examples/" + name + ".yaml");
        std::ostringstream written;
        written << yaml.rdbuf();
        EXPECT_EQ(importTopohub(json, file, router, metric), written.str()) << name;
    }
}

}  // namespace
}  // namespace Agent::Topohub
