#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Agent::Topohub {

/// Routers and links are known by their place in the network's file, counted from 0.
using RouterIndex = std::size_t;
using LinkIndex = std::size_t;

/// A link that carries traffic both ways at the same length (the sum of which paths minimize), 1 or
/// more. Parallel links are links of their own.
struct Link {
    RouterIndex source = 0;
    RouterIndex target = 0;
    std::int64_t length = 1;

    RouterIndex otherEnd(RouterIndex end) const { return end == source ? target : source; }
};

/// How a router reaches another one: the length of the shortest paths, and every own link that one
/// of them begins with, in the file's order. No first link: the router itself.
struct Reach {
    std::int64_t distance = 0;
    std::vector<LinkIndex> firstLinks;

    bool operator==(Reach const&) const = default;
};

/// The links of a path in the order of travel.
struct Path {
    std::vector<LinkIndex> links;
    std::int64_t length = 0;

    bool operator==(Path const&) const = default;
};

/// Routers and the links between them, and the questions that routing asks about them.
class NetworkGraph {
public:
    NetworkGraph() = default;
    NetworkGraph(std::size_t routers, std::vector<Link> links);

    std::size_t routers() const { return linksOf_.size(); }
    std::vector<Link> const& links() const { return links_; }
    Link const& link(LinkIndex link) const { return links_.at(link); }

    /// The links of a router in the file's order.
    std::vector<LinkIndex> const& linksOf(RouterIndex router) const { return linksOf_.at(router); }

    /// The reach of every router from one of them, none where there is no path; `failed` is a link
    /// that is down.
    std::vector<std::optional<Reach>> shortestPaths(
        RouterIndex from, std::optional<LinkIndex> failed = std::nullopt) const;

    /// The pair of paths without a common link whose summed length is the smallest, the shorter
    /// path first; where there is no pair the shortest path alone, and nothing where there is no
    /// path.
    std::vector<Path> shortestDisjointPair(RouterIndex from, RouterIndex to) const;

private:
    std::vector<Link> links_;
    std::vector<std::vector<LinkIndex>> linksOf_;
};

}  // namespace Agent::Topohub
