#include "agent/Topohub.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/InputError.h"

namespace Agent::Topohub {

namespace {

// The members of `demands` stand in an order that matters.
using Json = nlohmann::ordered_json;

// Far above any distance on earth, and low enough that no sum of lengths overflows.
constexpr double maxKm = 1e9;

/// The place of the byte that the parser stumbled over (counted from 1), and why.
Diagnostic syntaxError(std::string const& fileName, std::string_view text,
                       Json::parse_error const& error) {
    auto const read = text.substr(0, error.byte > 0 ? error.byte - 1 : 0);
    auto const lineStart = read.rfind('\n') + 1;  // 0 when there is no earlier line

    // The parser's words begin with its own name and an account of the place.
    std::string_view message = error.what();
    if (auto const place = message.find("column "); place != message.npos) {
        auto const words = message.find(": ", place);
        if (words != message.npos) message.remove_prefix(words + 2);
    }
    return {fileName, static_cast<int>(std::count(read.begin(), read.end(), '\n')) + 1,
            static_cast<int>(read.size() - lineStart) + 1, std::string(message)};
}

Json parse(std::istream& json, std::string const& fileName) {
    std::string const text(std::istreambuf_iterator<char>(json), {});
    try {
        return Json::parse(text);
    } catch (Json::parse_error const& error) {
        throw InputError({syntaxError(fileName, text, error)});
    } catch (Json::exception const& error) {  // a number beyond every range
        throw InputError({{fileName, 0, 0, error.what()}});
    }
}

/// Turns the document into a network and gathers what is wrong on the way.
class NetworkReader {
public:
    NetworkReader(Json const& document, std::string const& fileName, Metric metric)
        : document_(document), fileName_(fileName), metric_(metric) {}

    Network network();

private:
    void readRouters();
    void readRouter(Json const& node, std::string const& path);
    std::vector<Link> links();
    std::optional<Link> link(Json const& edge, std::string const& path);
    std::optional<std::int64_t> length(Json const& edge, std::string const& path);
    std::optional<RouterIndex> end(Json const& edge, char const* member, std::string const& path);
    void readDemands();
    void readDemandsOf(std::string const& source, Json const& destinations);

    std::optional<RouterIndex> router(std::string const& id, std::string const& path);
    Json const* array(char const* member);
    void error(std::string const& path, std::string const& message) {
        diagnostics_.push_back({fileName_, 0, 0, path + ": " + message});
    }

    Json const& document_;
    std::string const& fileName_;
    Metric const metric_;

    Network network_;
    std::map<std::string, RouterIndex> routerById_;
    std::vector<Diagnostic> diagnostics_;
};

Json const* find(Json const& object, char const* member) {
    if (!object.is_object()) return nullptr;
    auto const found = object.find(member);
    return found == object.end() ? nullptr : &*found;
}

/// An id is a whole number or a text.
std::optional<std::string> idText(Json const* id) {
    if (id && id->is_number_integer()) return id->dump();
    if (id && id->is_string()) return id->get<std::string>();
    return std::nullopt;
}

std::string indexed(char const* member, std::size_t index) {
    return std::string(member) + "[" + std::to_string(index) + "]";
}

Network NetworkReader::network() {
    if (!document_.is_object()) {
        throw InputError({{fileName_, 0, 0, "the document is no object: a network is expected"}});
    }
    if (auto const* directed = find(document_, "directed"); directed && *directed == true) {
        error("directed", "the links of a network go both ways");
    }

    readRouters();
    // Without its routers the rest of a network cannot be judged.
    if (!diagnostics_.empty()) throw InputError(std::move(diagnostics_));
    network_.graph = NetworkGraph(network_.routers.size(), links());
    readDemands();
    if (!diagnostics_.empty()) throw InputError(std::move(diagnostics_));
    return std::move(network_);
}

Json const* NetworkReader::array(char const* member) {
    auto const* const found = find(document_, member);
    if (!found) error(member, "missing");
    if (found && !found->is_array()) error(member, "not an array");
    return found && found->is_array() ? found : nullptr;
}

void NetworkReader::readRouters() {
    auto const* const nodes = array("nodes");
    if (!nodes) return;
    for (auto const& node : *nodes) {
        readRouter(node, indexed("nodes", network_.routers.size()));
    }
}

void NetworkReader::readRouter(Json const& node, std::string const& path) {
    auto const id = idText(find(node, "id"));
    auto const* const name = find(node, "name");
    auto const named = name && name->is_string() && !name->get_ref<std::string const&>().empty();

    if (!id) error(path, "no id (a whole number or a text)");
    if (id && !routerById_.emplace(*id, network_.routers.size()).second) {
        error(path, "the id " + *id + " is taken");
    }
    // A broken router keeps its place, so that the paths of those behind it are right.
    network_.routers.push_back(
        {id.value_or(""), named ? name->get<std::string>() : id.value_or("")});
}

std::vector<Link> NetworkReader::links() {
    // networkx wrote `links` before it wrote `edges`.
    auto const* const member =
        !find(document_, "edges") && find(document_, "links") ? "links" : "edges";
    auto const* const edges = array(member);
    std::vector<Link> links;
    if (!edges) return links;
    for (std::size_t index = 0; index < edges->size(); ++index) {
        if (auto const read = link((*edges)[index], indexed(member, index))) links.push_back(*read);
    }
    return links;
}

std::optional<Link> NetworkReader::link(Json const& edge, std::string const& path) {
    auto const source = end(edge, "source", path);
    auto const target = end(edge, "target", path);
    auto const size = length(edge, path);
    if (!source || !target || !size) return std::nullopt;
    if (source == target) {
        error(path, "a link from a router to itself");
        return std::nullopt;
    }
    return Link{*source, *target, *size};
}

std::optional<RouterIndex> NetworkReader::end(Json const& edge, char const* member,
                                              std::string const& path) {
    if (auto const id = idText(find(edge, member))) return router(*id, path + "." + member);
    error(path, std::string("no ") + member + " (the id of a router)");
    return std::nullopt;
}

std::optional<std::int64_t> NetworkReader::length(Json const& edge, std::string const& path) {
    if (metric_ == Metric::Hops) return 1;
    auto const* const dist = find(edge, "dist");
    if (!dist || !dist->is_number()) {
        error(path, "no dist (a number of km); only the metric hops does without");
        return std::nullopt;
    }
    auto const km = dist->get<double>();
    if (!(km >= 0 && km <= maxKm)) {
        error(path + ".dist", dist->dump() + " is no distance in km");
        return std::nullopt;
    }
    return std::max<std::int64_t>(1, std::llround(km));
}

void NetworkReader::readDemands() {
    auto const* const graph = find(document_, "graph");
    auto const* const name = graph ? find(*graph, "name") : nullptr;
    auto const named = name && name->is_string() && !name->get_ref<std::string const&>().empty();
    network_.name = named ? name->get<std::string>() : fileName_;

    auto const* const demands = graph ? find(*graph, "demands") : nullptr;
    if (!demands) return;  // not every network comes with demands
    if (!demands->is_object()) return error("graph.demands", "not an object");
    for (auto const& [source, destinations] : demands->items()) {
        readDemandsOf(source, destinations);
    }
}

void NetworkReader::readDemandsOf(std::string const& source, Json const& destinations) {
    auto const path = "graph.demands." + source;
    auto const from = router(source, path);
    if (!destinations.is_object()) return error(path, "not an object");
    for (auto const& [destination, value] : destinations.items()) {
        auto const to = router(destination, path + "." + destination);
        if (!value.is_number()) error(path + "." + destination, "not a number");
        if (!from || !to || from == to || !value.is_number()) continue;
        network_.demands.push_back({*from, *to, value.get<double>()});
    }
}

std::optional<RouterIndex> NetworkReader::router(std::string const& id, std::string const& path) {
    auto const found = routerById_.find(id);
    if (found != routerById_.end()) return found->second;
    error(path, "no node has the id " + id);
    return std::nullopt;
}

}  // namespace

Network readTopohub(std::istream& json, std::string const& fileName, Metric metric) {
    auto const document = parse(json, fileName);
    return NetworkReader(document, fileName, metric).network();
}

RouterIndex routerByName(Network const& network, std::string const& text,
                         std::string const& fileName) {
    std::vector<RouterIndex> named;
    std::string known;
    for (RouterIndex router = 0; router < network.routers.size(); ++router) {
        auto const& [id, name] = network.routers[router];
        if (id == text) return router;
        if (name == text) named.push_back(router);
        known += (known.empty() ? "" : ", ") + name + (name == id ? "" : " (" + id + ")");
    }
    if (named.size() == 1) return named.front();

    auto const fault =
        named.empty() ? "no router has the name or id " : "several routers have the name ";
    throw InputError({{fileName, 0, 0, fault + text + "; the routers are " + known}});
}

}  // namespace Agent::Topohub
