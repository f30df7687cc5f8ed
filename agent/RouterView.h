#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/Topohub.h"

namespace Agent::Topohub {

using Label = std::uint32_t;

/// A way out of the router over one of its own links: with `out` as the label, or, without one,
/// with the label popped.
struct Via {
    LinkIndex link = 0;
    std::optional<Label> out;

    bool operator==(Via const&) const = default;
};

using Routes = std::map<Label, std::vector<Via>>;

/// A network as one of its routers sees it: the labels and addresses that everyone in it agrees on,
/// and this router's own routes.
///
/// Routers get labels and loopbacks in the file's order, links their labels and addresses, so that
/// the view of any router can be put beside that of any other one.
class RouterView {
public:
    static constexpr Label firstNodeSid = 16001;
    static constexpr Label firstAdjacencySid = 24001;
    static constexpr Label firstBindingSid = 100000;  ///< the SRLB, with the one below
    static constexpr Label lastBindingSid = 100999;

    /// So many fit below the adjacency SIDs, and so many between those and the SRLB.
    static constexpr std::size_t maxRouters = 7999;
    static constexpr std::size_t maxLinks = 37999;

    /// The network outlives the view.
    RouterView(Network const& network, RouterIndex self);

    Network const& network() const { return network_; }
    NetworkGraph const& graph() const { return network_.graph; }
    RouterIndex self() const { return self_; }
    std::string const& name(RouterIndex router) const { return network_.routers.at(router).name; }

    Label nodeSid(RouterIndex router) const;
    Label adjacencySid(LinkIndex link, RouterIndex sender) const;
    std::string loopback(RouterIndex router) const;

    /// Of a link of this router: its neighbor there, the interface (named after the neighbor) and
    /// the neighbor's address.
    RouterIndex neighbor(LinkIndex link) const { return graph().link(link).otherEnd(self_); }
    std::string const& interface(LinkIndex link) const { return interfaces_.at(link); }
    std::string nextHop(LinkIndex link) const;

    /// The routers that a path from this one visits, without this one.
    std::vector<RouterIndex> visited(Path const& path) const;
    /// The adjacency SIDs that keep a packet on a path from this router, top first.
    std::vector<Label> adjacencySids(Path const& path) const;

    /// This router's routes while `failed`, a link, is down: for the node SID of every other router
    /// a via per equal-cost first hop, and one for each own adjacency SID.
    Routes routes(std::optional<LinkIndex> failed = std::nullopt) const;

private:
    void nameInterfaces();

    Network const& network_;
    RouterIndex const self_;
    std::map<LinkIndex, std::string> interfaces_;
};

}  // namespace Agent::Topohub
