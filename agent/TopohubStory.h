#pragma once

#include <optional>
#include <string>

#include "agent/PolicyForecast.h"

namespace Agent::Topohub {

/// What an imported scenario tells: a router's policies, its busiest link failing and that link's
/// return, with the routes of the router while all is well and while the link is down.
struct TopohubStory {
    TopohubStory(RouterView const& view, Metric metric);

    RouterView const& view;
    Metric const metric;
    PolicyPlan const plan;
    std::optional<LinkIndex> const failing;  ///< none for a router without links: nothing happens
    Routes const normal;
    Routes const broken;  ///< while the link is down
};

/// The story's title: network, router and what happens.
std::string title(TopohubStory const& story);

/// The comments at the head of the scenario: the command that it comes from, how it is built, what
/// had to be left out.
std::string headComments(TopohubStory const& story, std::string const& command);

/// What must hold before the failure, during it and after the return; empty without policies.
std::string expectations(TopohubStory const& story);

}  // namespace Agent::Topohub
