#include "agent/ScenarioShape.h"

#include <cstdint>
#include <limits>

#include "agent/ExpectationShape.h"
#include "agent/ScenarioWords.h"

namespace Agent {

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
constexpr std::size_t maxViaLabels = 9;
constexpr std::size_t maxListLabels = 8;
constexpr std::size_t maxVias = 600;

Shape routerShape() {
    return record("the router's settings",
                  {{"enabled", scalar(Words::boolean())},
                   {"srlb", scalar(Words::labelRange())},
                   {"msd", scalar(Words::number("a number of labels", 0, 255))},
                   {"specified-bsid-only", scalar(Words::boolean())},
                   {"colored-rib", scalar(Words::boolean())},
                   {"colored-rib-preference", scalar(Words::number("a preference", 0, 255))},
                   {"tie-breaking", scalar(Words::number32("a number"))}});
}

Shape outShape() {
    return listOr(sequence("labels", {0, maxViaLabels}, scalar(Words::label())),
                  scalar({"a list of labels or `pop`", oneOf({"pop"}).spelling}));
}

Shape pathShape() {
    return record("a path", {{"nh", scalar(Words::address())},
                             {"if", scalar(Words::text("an interface"))},
                             {"out", outShape()}});
}

Shape routeShape() {
    auto const action = scalar(oneOf({"pop", "swap", "push"}));
    auto const via =
        record("a via", {{"nh", scalar(Words::address())},
                         {"if", scalar(Words::text("an interface"))},
                         {"out", outShape()},
                         {"action", action},
                         {"ti-lfa", scalar(Words::name())},
                         {"nhg", scalar(Words::number64("the number of a next-hop group"))},
                         {"tunnel", scalar(Words::tunnelId())}});
    auto const fec =
        record("a FEC", {{"type", scalar(Words::number("a FEC type", 0, 25))},
                         {"id", scalar(Words::number("a FEC id", 0, (std::uint64_t{1} << 56) - 1))},
                         {"ti-lfa", scalar(Words::name())}});
    return listOr(
        sequence("vias", {1, maxVias}, via),
        record("a route (a list of vias, or `kind`, or `fec`)",
               {{"kind", scalar(oneOf({"pseudowire"}))}, {"fec", fec}, {"action", action}}));
}

std::vector<Field> bfdFields() {
    return {{"interval", scalar(Words::interval())},
            {"multiplier", scalar(Words::number("a multiplier", 0, 255))}};
}

Shape policyShape() {
    auto const list =
        record("a segment list",
               {{"labels", sequence("labels", {1, maxListLabels}, scalar(Words::label()))},
                {"weight", scalar(Words::number("a weight", 1, Words::max32))}});
    auto const candidate = record(
        "a candidate", {{"from", scalar(Words::candidateId())},
                        {"preference", scalar(Words::number32("a preference"))},
                        {"bsid", scalar(Words::label())},
                        {"enlp", scalar(oneOf({"none-given", "ipv4", "ipv6", "both", "none"}))},
                        {"lists", table("segment lists by name", Words::name(), list)}});
    auto sbfd = bfdFields();
    sbfd.push_back({"discriminator", scalar(Words::number32("a discriminator"))});
    return record("a policy",
                  {{"sbfd", record("S-BFD settings", sbfd)},
                   {"candidates", table("candidates by name", Words::name(), candidate)}});
}

Shape gribiShape() {
    auto const id = Words::number64("an id");
    auto const label = Words::gribiLabel();
    auto const weight = scalar(Words::number64("a weight"));
    return record(
        "the gRIBI section",
        {{"enabled", scalar(Words::boolean())},
         {"nh", table("next hops by id", id, sequence("labels", {0, unlimited}, scalar(label)))},
         {"nhg", table("groups by id", id, table("weights by next hop", id, weight))},
         {"mpls", table("groups by label", label, scalar(id))}});
}

std::vector<Field> stateSections() {
    auto const tunnel = record("a tunnel", {{"primary", pathShape()}, {"backup", pathShape()}});
    return {{"router", routerShape()},
            {"lfib", table("routes by label", Words::label(), routeShape())},
            {"ti-lfa", table("tunnels by name", Words::name(), tunnel)},
            {"policies", table("policies by key", Words::policyKey(), policyShape())},
            {"gribi", gribiShape()},
            {"bfd", record("the BFD settings", bfdFields())},
            {"counters", table("counters by list", Words::listName(), scalar(oneOf({"true"})))}};
}

Shape eventShape() {
    using enum Field::Null;
    auto const states = scalar(oneOf({"down", "up", "init", "admin-down"}));
    auto fields = stateSections();
    fields.insert(fields.begin(), {"at", scalar(Words::time()), refused});
    fields.push_back({"sbfd-session", table("reports by list", Words::listName(), states)});
    fields.push_back({"clog", scalar(Words::boolean()), refused});
    for (auto const* const change : {"restart", "stop", "start"}) {
        fields.push_back({change, scalar(oneOf({"true"})), refused});
    }
    return record("an event", fields);
}

}  // namespace

Shape scenarioShape() {
    using enum Field::Null;
    auto fields = stateSections();
    fields.insert(fields.begin(), {"scenario", scalar(Words::text("a title"))});
    fields.push_back({"events", sequence("events", {0, unlimited}, eventShape())});
    fields.push_back({"expect", sequence("expectations", {0, unlimited}, expectationShape())});
    return record("a scenario", fields);
}

}  // namespace Agent
