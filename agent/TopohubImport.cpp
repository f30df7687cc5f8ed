#include "agent/TopohubImport.h"

#include <charconv>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "agent/InputError.h"
#include "agent/ScenarioText.h"
#include "agent/TopohubStory.h"

namespace Agent {

using namespace Topohub;

namespace {

void checkLabelSpace(Network const& network, std::string const& fileName) {
    auto const check = [&](std::size_t number, std::size_t most, std::string const& what) {
        if (number <= most) return;
        throw InputError(
            {{fileName, 0, 0,
              counted(number, what) + ", labels are there for " + std::to_string(most)}});
    };
    check(network.routers.size(), RouterView::maxRouters, "router");
    check(network.graph.links().size(), RouterView::maxLinks, "link");
}

/// A text from the file as YAML takes it, whatever is in it.
std::string quoted(std::string const& text) {
    using Json = nlohmann::json;
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string commandLine(std::string const& fileName, std::string const& router, Metric metric) {
    return "srte import topohub " + shellWord(fileName) + " --router " + shellWord(router) +
           " --metric " + (metric == Metric::Km ? "km" : "hops");
}

std::string numberText(double number) {
    char text[32];
    auto const end = std::to_chars(std::begin(text), std::end(text), number).ptr;
    return std::string(text, end);
}

/// What a route leads to: `IPLSng, 590 km`, or the neighbor over an adjacency.
std::map<Label, std::string> routeComments(TopohubStory const& story) {
    auto const& view = story.view;
    std::map<Label, std::string> comments;
    auto const reaches = view.graph().shortestPaths(view.self());
    for (RouterIndex router = 0; router < reaches.size(); ++router) {
        if (!reaches[router]) continue;
        comments[view.nodeSid(router)] = commentName(view.name(router)) + ", " +
                                         lengthText(reaches[router]->distance, story.metric);
    }
    for (auto const link : view.graph().linksOf(view.self())) {
        comments[view.adjacencySid(link, view.self())] =
            "adjacency to " + commentName(view.name(view.neighbor(link)));
    }
    return comments;
}

std::string lfibSection(TopohubStory const& story) {
    if (story.normal.empty()) return "";
    std::string text = "\nlfib:\n";
    auto const comments = routeComments(story);
    for (auto const& [label, vias] : story.normal) {
        text += "  " + std::to_string(label) + ": " + viasText(story.view, vias) + "  # " +
                comments.at(label) + "\n";
    }
    return text;
}

std::string listLine(TopohubStory const& story, ExplicitList const& list) {
    std::string hops;
    for (auto const router : story.view.visited(list.path)) {
        hops += (hops.empty() ? "" : ", ") + commentName(story.view.name(router));
    }
    return "          " + list.name + ": {labels: " + labelsText(list.labels) +
           ", weight: " + std::to_string(list.weight) + "}  # " + hops + ": " +
           lengthText(list.path.length, story.metric) + "\n";
}

std::string policyText(TopohubStory const& story, PlannedPolicy const& policy) {
    auto const bindingSid = std::to_string(policy.bindingSid);
    auto const destination = policy.demand.destination;
    auto text = "  " + policyKey(story.view, policy) + ":  # " +
                commentName(story.view.name(destination)) + ", demand " +
                numberText(policy.demand.value) + "\n    candidates:\n";
    if (!policy.lists.empty()) {
        text += "      explicit:\n        preference: 200\n        bsid: " + bindingSid +
                "\n        lists:\n";
        for (auto const& list : policy.lists) text += listLine(story, list);
    }
    return text + "      shortest: {preference: 100, bsid: " + bindingSid +
           ", lists: {l1: {labels: " + labelsText({story.view.nodeSid(destination)}) + "}}}\n";
}

std::string policiesSection(TopohubStory const& story) {
    if (story.plan.policies.empty()) return "";
    std::string text = "\npolicies:\n";
    for (auto const& policy : story.plan.policies) text += policyText(story, policy);
    return text;
}

/// The lines of an event that turn the routes `before` into `after`.
std::string routePatch(RouterView const& view, Routes const& before, Routes const& after) {
    std::map<Label, std::string> lines;
    for (auto const& [label, vias] : before) {
        if (!after.contains(label)) lines[label] = "null";
    }
    for (auto const& [label, vias] : after) {
        auto const old = before.find(label);
        if (old == before.end() || old->second != vias) lines[label] = viasText(view, vias);
    }
    std::string text;
    for (auto const& [label, value] : lines) {
        text += "      " + std::to_string(label) + ": " + value + "\n";
    }
    return text;
}

std::string eventsSection(TopohubStory const& story) {
    if (!story.failing) return "";
    auto const neighbor = commentName(story.view.name(story.view.neighbor(*story.failing)));
    return "\nevents:\n  # The link to " + neighbor + " fails.\n  - at: 10s\n    lfib:\n" +
           routePatch(story.view, story.normal, story.broken) +
           "  # It returns.\n  - at: 20s\n    lfib:\n" +
           routePatch(story.view, story.broken, story.normal);
}

}  // namespace

std::string importTopohub(std::istream& json, std::string const& fileName,
                          std::string const& router, Metric metric) {
    auto const network = readTopohub(json, fileName, metric);
    checkLabelSpace(network, fileName);
    RouterView const view(network, routerByName(network, router, fileName));
    TopohubStory const story(view, metric);

    return headComments(story, commandLine(fileName, router, metric)) +
           "\nscenario: " + quoted(title(story)) +
           "\n\nrouter:\n  srlb: " + std::to_string(RouterView::firstBindingSid) + "-" +
           std::to_string(RouterView::lastBindingSid) + "\n" + lfibSection(story) +
           policiesSection(story) + eventsSection(story) + expectations(story);
}

}  // namespace Agent
