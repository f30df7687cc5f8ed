#include <algorithm>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/NetworkGraph.h"
#include "agent/Rounding.h"
#include "agent/Topohub.h"

namespace Agent::Topohub {
namespace {

Network exampleNetwork(std::string const& name, Metric metric) {
    std::ifstream json("examples/" + name + ".json");
    return readTopohub(json, name, metric);
}

TEST(NetworkGraph, ARouteHasEveryFirstLinkOfAShortestPath) {
    // 0 reaches 3 over 1, over 2 and over the long direct link, 2 over the parallel links 1 and 2.
    NetworkGraph const graph(5, {{0, 1, 2}, {0, 2, 1}, {2, 0, 1}, {1, 3, 1}, {2, 3, 2}, {0, 3, 3}});
    auto const reaches = graph.shortestPaths(0);
    EXPECT_EQ(reaches[0], (Reach{0, {}}));
    EXPECT_EQ(reaches[1], (Reach{2, {0}}));
    EXPECT_EQ(reaches[2], (Reach{1, {1, 2}}));
    EXPECT_EQ(reaches[3], (Reach{3, {0, 1, 2, 5}}));
    EXPECT_EQ(reaches[4], std::nullopt);

    auto const failed = graph.shortestPaths(0, 0);
    EXPECT_EQ(failed[1], (Reach{4, {1, 2, 5}}));
    EXPECT_EQ(failed[3], (Reach{3, {1, 2, 5}}));
}

/// Every path that visits no router twice, by trying all of them.
std::vector<Path> simplePaths(NetworkGraph const& graph, RouterIndex from, RouterIndex to) {
    std::vector<Path> paths;
    std::vector<bool> visited(graph.routers());
    Path path;
    std::function<void(RouterIndex)> const walk = [&](RouterIndex router) {
        if (router == to) return paths.push_back(path);
        visited[router] = true;
        for (auto const link : graph.linksOf(router)) {
            auto const next = graph.link(link).otherEnd(router);
            if (visited[next]) continue;
            path.links.push_back(link);
            path.length += graph.link(link).length;
            walk(next);
            path.links.pop_back();
            path.length -= graph.link(link).length;
        }
        visited[router] = false;
    };
    walk(from);
    return paths;
}

bool disjoint(Path const& one, Path const& two) {
    return std::none_of(one.links.begin(), one.links.end(), [&](LinkIndex link) {
        return std::count(two.links.begin(), two.links.end(), link) > 0;
    });
}

std::optional<std::int64_t> shortestPairByTrial(std::vector<Path> const& paths) {
    std::optional<std::int64_t> best;
    for (auto const& one : paths) {
        for (auto const& two : paths) {
            auto const length = one.length + two.length;
            if (disjoint(one, two) && (!best || length < *best)) best = length;
        }
    }
    return best;
}

TEST(NetworkGraph, NoPairOfPathsIsShorterInARealNetwork) {
    for (auto const metric : {Metric::Km, Metric::Hops}) {
        auto const graph = exampleNetwork("abilene", metric).graph;
        for (RouterIndex from = 0; from < graph.routers(); ++from) {
            for (RouterIndex to = 0; to < graph.routers(); ++to) {
                if (from == to) continue;
                auto const paths = simplePaths(graph, from, to);
                auto const pair = graph.shortestDisjointPair(from, to);
                auto const isPath = [&](Path const& path) {
                    return std::count(paths.begin(), paths.end(), path) == 1;
                };
                EXPECT_TRUE(std::all_of(pair.begin(), pair.end(), isPath));
                if (auto const best = shortestPairByTrial(paths)) {
                    ASSERT_EQ(pair.size(), 2U) << from << " to " << to;
                    EXPECT_EQ(pair[0].length + pair[1].length, best) << from << " to " << to;
                    EXPECT_LE(pair[0].length, pair[1].length);
                    EXPECT_TRUE(disjoint(pair[0], pair[1]));
                } else {
                    ASSERT_EQ(pair.size(), 1U) << from << " to " << to;
                    EXPECT_EQ(pair[0].length, graph.shortestPaths(from)[to]->distance);
                }
            }
        }
    }
}

TEST(Rounding, HalvesGoUp) {
    std::tuple<int, int, int> const quotients[] = {
        {0, 7, 0}, {1, 2, 1}, {249, 100, 2}, {250, 100, 3}, {10, 3, 3}};
    for (auto const& [of, by, quotient] : quotients) EXPECT_EQ(roundedQuotient(of, by), quotient);
    std::tuple<int, int, char const*> const percents[] = {
        {3, 4, "75 %"},    {1, 8, "12.5 %"},  {2, 3, "66.67 %"}, {1, 99, "1.01 %"},
        {1, 32, "3.13 %"}, {1, 30000, "0 %"}, {5, 5, "100 %"}};
    for (auto const& [part, whole, text] : percents) EXPECT_EQ(percentText(part, whole), text);
}

}  // namespace
}  // namespace Agent::Topohub
