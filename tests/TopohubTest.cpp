#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "agent/InputError.h"
#include "agent/Topohub.h"

namespace Agent::Topohub {
namespace {

using testing::StartsWith;

Network read(std::string const& text, Metric metric = Metric::Km) {
    std::istringstream json(text);
    return readTopohub(json, "net.json", metric);
}

std::string errors(std::string const& text, Metric metric = Metric::Km) {
    try {
        read(text, metric);
    } catch (InputError const& error) {
        return error.what();
    }
    return "";
}

TEST(Topohub, KilometresAreRoundedHalfUpToAtLeastOne) {
    auto const text = R"({"nodes": [{"id": 0}, {"id": 1}], "edges": [
        {"source": 0, "target": 1, "dist": 0.2}, {"source": 0, "target": 1, "dist": 1.5},
        {"source": 0, "target": 1, "dist": 2.4999}, {"source": 0, "target": 1, "dist": 7}]})";
    auto const lengths = [&](Metric metric) {
        auto const network = read(text, metric);
        std::vector<std::int64_t> all;
        for (auto const& link : network.graph.links()) all.push_back(link.length);
        return all;
    };
    EXPECT_EQ(lengths(Metric::Km), (std::vector<std::int64_t>{1, 2, 2, 7}));
    EXPECT_EQ(lengths(Metric::Hops), (std::vector<std::int64_t>{1, 1, 1, 1}));
}

TEST(Topohub, DemandsKeepTheFilesOrderAndIdsMayBeTexts) {
    auto const network = read(R"({"graph": {"name": "n", "demands": {
            "b": {"9": 2.5, "b": 4, "a": 1}, "9": {"a": 3}}},
        "nodes": [{"id": "a", "name": "Aix"}, {"id": "b"}, {"id": 9, "name": ""}], "links": []})");
    EXPECT_EQ(network.name, "n");
    std::string text;
    for (auto const& demand : network.demands) {
        text += network.routers[demand.source].name + ">" +
                network.routers[demand.destination].name + " ";
    }
    EXPECT_EQ(text, "b>9 b>Aix 9>Aix ");  // what b sends to itself stays there
}

TEST(Topohub, TextThatIsNoJsonIsReportedWithItsPlace) {
    EXPECT_THAT(errors(""), StartsWith("net.json:1:1: syntax error"));
    EXPECT_THAT(errors("{\"nodes\": [],\n  \"edges\": [}"),
                StartsWith("net.json:2:13: syntax error"));
    EXPECT_THAT(errors("[1e999]"), StartsWith("net.json: "));
}

TEST(Topohub, WrongMembersAreReportedAllAtOnce) {
    std::string const two = R"("nodes": [{"id": 0}, {"id": 1}])";
    std::pair<std::string, std::string> const cases[] = {
        {"[]", "net.json: the document is no object: a network is expected"},
        {"{}", "net.json: nodes: missing"},
        {R"({"directed": true, "nodes": {}})",
         "net.json: directed: the links of a network go both ways\n"
         "net.json: nodes: not an array"},
        {R"({"nodes": [{"id": 0}, {"name": "x"}, {"id": 0}, 5]})",
         "net.json: nodes[1]: no id (a whole number or a text)\n"
         "net.json: nodes[2]: the id 0 is taken\n"
         "net.json: nodes[3]: no id (a whole number or a text)"},
        {"{" + two + "}", "net.json: edges: missing"},
        {"{" + two +
             R"(, "edges": [{"source": 0, "target": 1, "dist": -1}, {"target": 7, "dist": 1},
                                    {"source": 1, "target": 1, "dist": 2}],
           "graph": {"demands": {"0": {"1": "x", "6": 1}, "5": 3}}})",
         "net.json: edges[0].dist: -1 is no distance in km\n"
         "net.json: edges[1]: no source (the id of a router)\n"
         "net.json: edges[1].target: no node has the id 7\n"
         "net.json: edges[2]: a link from a router to itself\n"
         "net.json: graph.demands.0.1: not a number\n"
         "net.json: graph.demands.0.6: no node has the id 6\n"
         "net.json: graph.demands.5: no node has the id 5\n"
         "net.json: graph.demands.5: not an object"},
    };
    for (auto const& [text, expected] : cases) EXPECT_EQ(errors(text), expected) << text;

    auto const noDistance = "{" + two + R"(, "edges": [{"source": 0, "target": 1}]})";
    EXPECT_EQ(errors(noDistance),
              "net.json: edges[0]: no dist (a number of km); only the metric hops does without");
    EXPECT_EQ(errors(noDistance, Metric::Hops), "");
}

TEST(Topohub, ARouterIsFoundByIdBeforeName) {
    auto const network = read(
        R"({"nodes": [{"id": 0, "name": "1"}, {"id": 1, "name": "B"}, {"id": 2, "name": "B"},
                      {"id": 3, "name": "C"}], "edges": []})");
    auto const find = [&](std::string const& text) { return routerByName(network, text, "f"); };
    EXPECT_EQ(find("1"), 1U);
    EXPECT_EQ(find("C"), 3U);
    EXPECT_THROW(find("B"), InputError);
    EXPECT_THAT(
        [&] { find("D"); },
        testing::ThrowsMessage<InputError>(
            "f: no router has the name or id D; the routers are 1 (0), B (1), B (2), C (3)"));
}

// What another author's program found for the same file: the load of each direction of each link,
// in percent of the most loaded one, with one hop per link and an equal split over all next hops.
using Loads = std::vector<double>;  // of link i at 2 i from its source, at 2 i + 1 from its target

/// Sends traffic for one destination through the network, router by router from afar.
void forward(NetworkGraph const& graph, RouterIndex to, std::vector<double> traffic, Loads& loads) {
    std::vector<std::vector<LinkIndex>> nextLinks;
    std::vector<std::pair<std::int64_t, RouterIndex>> order;
    for (RouterIndex router = 0; router < graph.routers(); ++router) {
        auto const reach = graph.shortestPaths(router)[to];
        nextLinks.push_back(reach.value().firstLinks);
        order.emplace_back(reach->distance, router);
    }
    std::sort(order.rbegin(), order.rend());
    for (auto const& [distance, router] : order) {
        auto const share = traffic[router] / static_cast<double>(nextLinks[router].size());
        for (auto const link : nextLinks[router]) {
            traffic[graph.link(link).otherEnd(router)] += share;
            loads[2 * link + (graph.link(link).source == router ? 0 : 1)] += share;
        }
    }
}

TEST(Topohub, ForwardedDemandsLoadTheLinksAsPublished) {
    for (std::string const name : {"abilene", "geant"}) {
        auto const file = "examples/" + name + ".json";
        std::ifstream json(file);
        auto const network = readTopohub(json, file, Metric::Hops);
        auto const& graph = network.graph;

        using Matrix = std::vector<std::vector<double>>;  // traffic by destination and source
        Matrix const none(graph.routers(), std::vector<double>(graph.routers()));
        std::map<std::string, Matrix> matrices{{"uni", none}, {"org", none}};
        for (auto const& [source, destination, value] : network.demands) {
            matrices["uni"][destination][source] = 1;
            matrices["org"][destination][source] += value;
            matrices["org"][source][destination] += value;
        }

        std::ifstream again(file);
        auto const edges = nlohmann::json::parse(again)["edges"];
        ASSERT_EQ(edges.size(), graph.links().size());
        for (auto const& [kind, matrix] : matrices) {
            Loads loads(2 * edges.size());
            for (RouterIndex to = 0; to < graph.routers(); ++to) {
                forward(graph, to, matrix[to], loads);
            }
            auto const most = *std::max_element(loads.begin(), loads.end());
            for (LinkIndex link = 0; link < edges.size(); ++link) {
                auto const place = name + " " + kind + " " + std::to_string(link);
                auto const& edge = edges[link];
                EXPECT_NEAR(100 * loads[2 * link] / most, edge["ecmp_fwd"][kind], 0.00501) << place;
                EXPECT_NEAR(100 * loads[2 * link + 1] / most, edge["ecmp_bwd"][kind], 0.00501)
                    << place;
            }
        }
    }
}

}  // namespace
}  // namespace Agent::Topohub
