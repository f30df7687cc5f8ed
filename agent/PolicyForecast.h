#pragma once

#include <string>
#include <vector>

#include "agent/PolicyPlan.h"

namespace Agent::Topohub {

/// A way that packets take out of the router: the labels they leave with, top first, and their
/// share of the whole.
struct WireEntry {
    LinkIndex link = 0;
    std::vector<Label> out;
    std::string share;
};

/// What must become of a policy while the router has certain routes. It follows from the plan and
/// the routes alone, so that it can judge the machines that come to the same end another way.
struct PolicyForecast {
    enum class Active { none, explicitPaths, shortest };

    Active active = Active::none;
    std::vector<bool> listUsable;  ///< of each explicit list
    bool shortestUsable = false;
    std::vector<WireEntry> wire;  ///< ordered by interface; empty while no candidate is active

    bool up() const { return active != Active::none; }
};

PolicyForecast forecast(RouterView const& view, PlannedPolicy const& policy, Routes const& routes);

}  // namespace Agent::Topohub
