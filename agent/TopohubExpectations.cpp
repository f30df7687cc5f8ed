#include <string>
#include <vector>

#include "agent/ScenarioText.h"
#include "agent/TopohubStory.h"

namespace Agent::Topohub {

namespace {

using Active = PolicyForecast::Active;

/// The lists are told where they differ: one that cannot be used has lost its top label's route.
std::string listStates(PlannedPolicy const& policy, PolicyForecast const& expected) {
    std::string text;
    bool allUsable = true;
    for (std::size_t index = 0; index < policy.lists.size(); ++index) {
        auto const usable = expected.listUsable[index];
        allUsable = allUsable && usable;
        text += (index > 0 ? ", " : "") + policy.lists[index].name +
                ": {state: " + (usable ? "usable" : "unresolved") + "}";
    }
    return allUsable ? "" : ", lists: {" + text + "}";
}

std::string explicitState(PlannedPolicy const& policy, PolicyForecast const& expected) {
    auto const isActive = expected.active == Active::explicitPaths;
    return "explicit: {state: " +
           std::string(isActive ? "active" : "unusable, reason: no-usable-list") +
           listStates(policy, expected) + "}";
}

std::string shortestState(PolicyForecast const& expected) {
    std::string state = "unusable, reason: no-usable-list";
    if (expected.shortestUsable) state = "usable, reason: lower-preference";
    if (expected.active == Active::shortest) state = "active";
    return "shortest: {state: " + state + "}";
}

std::string policyState(PlannedPolicy const& policy, PolicyForecast const& expected) {
    auto const bindingSid = std::to_string(policy.bindingSid);
    auto const active = expected.active == Active::shortest ? "shortest" : "explicit";
    auto const state = expected.up()
                           ? "state: up, active: " + std::string(active) + ", bsid: " + bindingSid
                           : "state: down, reason: no-usable-candidate, active: null, bsid: null";
    auto const candidates = (policy.lists.empty() ? "" : explicitState(policy, expected) + ", ") +
                            shortestState(expected);
    return "{" + state + ", candidates: {" + candidates + "}}";
}

std::string moment(TopohubStory const& story, std::string const& at, Routes const& routes) {
    std::string policies;
    std::string traces;
    for (auto const& policy : story.plan.policies) {
        auto const expected = forecast(story.view, policy, routes);
        auto const label = "      " + std::to_string(policy.bindingSid) + ": ";
        policies +=
            "      " + policyKey(story.view, policy) + ": " + policyState(policy, expected) + "\n";
        traces += label + (expected.up() ? wireText(story.view, expected.wire) : "null") + "\n";
    }
    return "  - at: " + at + "\n    policy:\n" + policies + "    trace:\n" + traces;
}

std::string neverWithdrawn(std::string const& window, std::vector<Label> const& bindingSids) {
    if (bindingSids.empty()) return "";
    return "  - {between: " + window + ", never-withdrawn: {lfib: " + labelsText(bindingSids) +
           "}}\n";
}

std::string windows(TopohubStory const& story) {
    std::vector<Label> lasting;
    std::vector<Label> interrupted;
    for (auto const& policy : story.plan.policies) {
        auto& group = forecast(story.view, policy, story.broken).up() ? lasting : interrupted;
        group.push_back(policy.bindingSid);
    }
    return neverWithdrawn("[0s, 30s]", lasting) + neverWithdrawn("[0s, 10s]", interrupted) +
           neverWithdrawn("[20s, 30s]", interrupted);
}

}  // namespace

std::string expectations(TopohubStory const& story) {
    if (story.plan.policies.empty()) return "";
    return "\nexpect:\n  # Before the failure.\n" + moment(story, "5s", story.normal) +
           "\n  # While the link is down.\n" + moment(story, "15s", story.broken) +
           "\n  # After its return: as before.\n" + moment(story, "25s", story.normal) +
           "\n  # No binding SID is withdrawn while a path remains.\n" + windows(story);
}

}  // namespace Agent::Topohub
