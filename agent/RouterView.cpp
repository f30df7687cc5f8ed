#include "agent/RouterView.h"

#include <set>
#include <string_view>

namespace Agent::Topohub {

namespace {

std::string address(std::uint32_t number) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string((number >> shift) & 0xff) + (shift > 0 ? "." : "");
    }
    return text;
}

std::uint32_t number32(std::size_t number) {
    return static_cast<std::uint32_t>(number);
}

/// A router may have any name, an interface has a plain one: other characters become a dash.
std::string plainName(std::string_view name) {
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
    std::string text;
    for (auto const character : name) {
        auto const isPlain = plain.find(character) != plain.npos;
        if (isPlain || text.empty() || text.back() != '-') text += isPlain ? character : '-';
    }
    return text;
}

}  // namespace

RouterView::RouterView(Network const& network, RouterIndex self) : network_(network), self_(self) {
    nameInterfaces();
}

void RouterView::nameInterfaces() {
    std::set<std::string> taken;
    for (auto const link : graph().linksOf(self_)) {
        auto const base = "to-" + plainName(name(neighbor(link)));
        auto unique = base;
        // Parallel links, and neighbors whose plain names are equal.
        for (int copy = 2; !taken.insert(unique).second; ++copy) {
            unique = base + "-" + std::to_string(copy);
        }
        interfaces_[link] = unique;
    }
}

Label RouterView::nodeSid(RouterIndex router) const {
    return firstNodeSid + number32(router);
}

Label RouterView::adjacencySid(LinkIndex link, RouterIndex sender) const {
    return firstAdjacencySid + 2 * number32(link) + (graph().link(link).source == sender ? 0 : 1);
}

std::string RouterView::loopback(RouterIndex router) const {
    constexpr std::uint32_t loopbacks = 0x0aff0000;  // 10.255.0.0
    return address(loopbacks + number32(router) + 1);
}

std::string RouterView::nextHop(LinkIndex link) const {
    constexpr std::uint32_t firstPair = 0x0a000002;  // 10.0.0.2/31: the source has the even address
    auto const source = graph().link(link).source;
    return address(firstPair + 2 * number32(link) + (neighbor(link) == source ? 0 : 1));
}

std::vector<RouterIndex> RouterView::visited(Path const& path) const {
    std::vector<RouterIndex> routers;
    auto router = self_;
    for (auto const link : path.links) {
        router = graph().link(link).otherEnd(router);
        routers.push_back(router);
    }
    return routers;
}

std::vector<Label> RouterView::adjacencySids(Path const& path) const {
    std::vector<Label> labels;
    auto sender = self_;
    for (auto const link : path.links) {
        labels.push_back(adjacencySid(link, sender));
        sender = graph().link(link).otherEnd(sender);
    }
    return labels;
}

Routes RouterView::routes(std::optional<LinkIndex> failed) const {
    Routes routes;
    auto const reaches = graph().shortestPaths(self_, failed);
    for (RouterIndex router = 0; router < reaches.size(); ++router) {
        if (router == self_ || !reaches[router]) continue;
        for (auto const link : reaches[router]->firstLinks) {
            // The neighbor itself gets its packets without the label (penultimate hop popping).
            auto const out =
                neighbor(link) == router ? std::nullopt : std::optional(nodeSid(router));
            routes[nodeSid(router)].push_back({link, out});
        }
    }
    for (auto const link : graph().linksOf(self_)) {
        if (link != failed) routes[adjacencySid(link, self_)] = {{link, std::nullopt}};
    }
    return routes;
}

}  // namespace Agent::Topohub
