#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "agent/NetworkGraph.h"

namespace Agent {

/// What the length of a link counts.
enum class Metric {
    Km,    ///< its kilometres rounded half up, at least 1
    Hops,  ///< 1
};

}  // namespace Agent

namespace Agent::Topohub {

struct Router {
    std::string id;    ///< unique in the file; a number is kept as its digits
    std::string name;  ///< the id where the file gives none; may repeat
};

/// Traffic that the network is to carry from one router to another one.
struct Demand {
    RouterIndex source = 0;
    RouterIndex destination = 0;
    double value = 0;
};

struct Network {
    std::string name;  ///< the file's where it gives none
    std::vector<Router> routers;
    NetworkGraph graph;
    std::vector<Demand> demands;  ///< in the file's order
};

/// Reads a network of TopoHub: networkx node-link JSON with `nodes`, undirected `edges` and, in
/// `graph`, `demands` by source id and destination id. Members of no use here are not looked at; a
/// demand of a router to itself is dropped, because it never leaves the router.
///
/// Throws InputError: for text that is no JSON with its place, for members that are missing or
/// wrong all at once with their path in the document (those of the routers before all others).
Network readTopohub(std::istream& json, std::string const& fileName, Metric metric);

/// The router with this id, or else the only one with this name. Throws InputError when there is
/// none.
RouterIndex routerByName(Network const& network, std::string const& text,
                         std::string const& fileName);

}  // namespace Agent::Topohub
