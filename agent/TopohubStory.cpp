#include "agent/TopohubStory.h"

#include <algorithm>
#include <utility>

#include "agent/ScenarioText.h"

namespace Agent::Topohub {

namespace {

/// How many policies the failure leaves with fewer explicit paths, with `shortest` alone, or
/// without any path.
struct Toll {
    std::size_t thinned = 0;
    std::size_t rerouted = 0;
    std::size_t down = 0;
};

Toll toll(TopohubStory const& story) {
    Toll toll;
    for (auto const& policy : story.plan.policies) {
        auto const before = forecast(story.view, policy, story.normal);
        auto const after = forecast(story.view, policy, story.broken);
        if (!after.up()) {
            ++toll.down;
        } else if (after.active != before.active) {
            ++toll.rerouted;
        } else if (after.listUsable != before.listUsable) {
            ++toll.thinned;
        }
    }
    return toll;
}

std::string failureComment(TopohubStory const& story) {
    if (!story.failing) return "# The router has no links: nothing can fail.\n";
    auto const link = *story.failing;
    auto const [thinned, rerouted, down] = toll(story);
    auto const lists = listsByFirstLink(story.plan)[link];
    return "# At 10s the link to " + commentName(story.view.name(story.view.neighbor(link))) +
           " fails, which " + counted(lists, "explicit list") +
           (lists == 1 ? " begins" : " begin") + " with; at 20s it returns. Meanwhile\n# " +
           counted(thinned, "policy") + " with one explicit path less, " +
           std::to_string(rerouted) + " on `shortest`, " + std::to_string(down) +
           " without any path.\n";
}

std::string linkComments(TopohubStory const& story) {
    auto const& view = story.view;
    std::string text = "# Its links (adjacency SID, interface, length):\n";
    for (auto const link : view.graph().linksOf(view.self())) {
        text += "#   " + std::to_string(view.adjacencySid(link, view.self())) + "  " +
                view.interface(link) + "  " +
                lengthText(view.graph().link(link).length, story.metric) + "\n";
    }
    return text;
}

/// A line for one kind of thing that could not be had; nothing when there was none.
std::string leftOut(TopohubStory const& story, std::string const& what,
                    std::vector<RouterIndex> const& destinations) {
    if (destinations.empty()) return "";
    std::vector<std::string> names;
    for (auto const router : destinations) names.push_back(commentName(story.view.name(router)));
    return commentList("  " + what + ":", names);
}

std::string leftOutComments(TopohubStory const& story) {
    auto const& plan = story.plan;
    std::vector<std::string> longPaths;
    for (auto const& path : plan.longPaths) {
        longPaths.push_back(path.list + " to " + commentName(story.view.name(path.destination)) +
                            " (" + std::to_string(path.labels) + ")");
    }
    auto const text =
        leftOut(story, "no second path, hence one list", plan.withoutSecondPath) +
        (longPaths.empty() ? "" : commentList("  paths of more than eight labels:", longPaths)) +
        leftOut(story, "no path, hence no policy", plan.withoutPath) +
        leftOut(story, "the SRLB is used up, hence no policy", plan.withoutBindingSid);
    return text.empty() ? "# Left out: nothing.\n" : "# Left out:\n" + text;
}

std::string policyComments(TopohubStory const& story) {
    if (story.plan.policies.empty()) return "# No demand of the file makes a policy here.\n";
    return "# " + counted(story.plan.policies.size(), "policy") +
           R"( for the demands that start here. Candidate `explicit` shares the traffic between the
# shortest pair of link-disjoint paths, `shortest` leaves the way to the network; both ask for the
# same binding SID, so whoever sends to it need not know which of them is active.
)";
}

}  // namespace

TopohubStory::TopohubStory(RouterView const& ofView, Metric ofMetric)
    : view(ofView),
      metric(ofMetric),
      plan(planPolicies(view)),
      failing(busiestLink(view, plan)),
      normal(view.routes()),
      broken(view.routes(failing)) {}

std::string title(TopohubStory const& story) {
    auto const& view = story.view;
    auto const place = view.network().name + " from " + view.name(view.self());
    if (!story.failing) return place + ", a router without links";
    auto const event =
        place + ": the link to " + view.name(view.neighbor(*story.failing)) + " fails and returns";
    if (story.plan.policies.empty()) return event;
    auto const lost = toll(story).down;
    return event + (lost == 0 ? ", every policy stays up"
                              : ", " + counted(lost, "policy") + " down meanwhile");
}

std::string headComments(TopohubStory const& story, std::string const& command) {
    auto const& view = story.view;
    auto const& router = view.network().routers.at(view.self());
    return "# The network " + commentName(view.network().name) + " as router " +
           commentName(router.name) + " (id " + commentName(router.id) +
           ") sees it, written by\n#\n#     " + commentName(command) + "\n" +
           R"(#
# Everything in here, the expectations too, follows from the network's file alone.
# The networks of TopoHub are under the MIT licence, which belongs beside every copy. To cite:
#   P. Jurkiewicz, "TopoHub", SoftwareX 24 (2023) 101540;
#   for the values of an SNDlib network also Orlowski et al., "SNDlib 1.0", INOC 2007;
#   for one of the Internet Topology Zoo also Knight et al., IEEE JSAC 29(9), 2011.
#
# The routers have node SIDs from 16001 and loopbacks from 10.255.0.1, in the file's order. Each end
# of a link has an adjacency SID from 24001, each link a /31 from 10.0.0.2; lengths are in )" +
           (story.metric == Metric::Km ? "km" : "hops") + ".\n" + linkComments(story) + "#\n" +
           policyComments(story) + leftOutComments(story) + "#\n" + failureComment(story);
}

}  // namespace Agent::Topohub
