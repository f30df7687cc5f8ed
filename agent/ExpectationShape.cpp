#include "agent/ExpectationShape.h"

#include <limits>

#include "agent/ScenarioWords.h"

namespace Agent {

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

/// Expected values are compared as text, so only their form is judged.
Shape value(std::string const& what) {
    return scalar(Words::text(what));
}

Shape stateAndReason() {
    return record("an expected state",
                  {{"state", value("a state")}, {"reason", value("a reason")}});
}

Shape policyShape() {
    auto const list = record("an expected list", {{"state", value("a state")}});
    auto const candidate =
        record("an expected candidate", {{"state", value("a state")},
                                         {"reason", value("a reason")},
                                         {"lists", table("lists by name", Words::name(), list)}});
    return record("an expected policy",
                  {{"state", value("a state")},
                   {"reason", value("a reason")},
                   {"active", value("a candidate")},
                   {"bsid", value("a label")},
                   {"candidates", table("candidates by name", Words::name(), candidate)}});
}

Shape traceShape() {
    auto const path =
        record("an expected path", {{"if", value("an interface")},
                                    {"nh", value("a next hop")},
                                    {"out", sequence("labels", {0, unlimited}, value("a label"))},
                                    {"share", value("a share such as 75 %")}});
    return sequence("paths", {0, unlimited}, path);
}

Shape sbfdShape() {
    return record("an expected session", {{"state", value("a state")},
                                          {"interval", value("an interval")},
                                          {"multiplier", value("a multiplier")},
                                          {"discriminator", value("a discriminator")}});
}

Shape gribiShape() {
    auto const id = Words::number64("an id");
    auto const label = Words::gribiLabel();
    auto const group = record("an expected group",
                              {{"state", value("a state")},
                               {"reason", value("a reason")},
                               {"next-hops", table("next hops by id", id, stateAndReason())}});
    return record("expected gRIBI entries",
                  {{"running", value("true or false")},
                   {"nh", table("next hops by id", id, stateAndReason())},
                   {"nhg", table("groups by id", id, group)},
                   {"mpls", table("entries by label", label, stateAndReason())}});
}

Shape keptShape() {
    return record("the tables of never-withdrawn",
                  {{"lfib", sequence("labels", {0, unlimited}, scalar(Words::label()))},
                   {"policy", sequence("policies", {0, unlimited}, scalar(Words::policyKey()))}});
}

}  // namespace

Shape expectationShape() {
    using enum Field::Null;
    auto const route = record("an expected route", {{"source", value("a source")}});
    auto const tunnels =
        record("an expected row", {{"tunnels", value("a number")}, {"waiting", value("a number")}});
    return record(
        "an expectation",
        {{"at", scalar(Words::time()), refused},
         {"between", sequence("times", {2, 2}, scalar(Words::time())), refused},
         {"policy", table("policies by key", Words::policyKey(), policyShape()), refused},
         {"lfib", table("routes by label", Words::label(), route), refused},
         {"trace", table("traces by label", Words::labelStack(), traceShape()), refused},
         {"sbfd", table("sessions by list", Words::listName(), sbfdShape()), refused},
         {"tunnel-map", table("rows by policy", Words::policyKey(), tunnels), refused},
         {"gribi", gribiShape(), refused},
         {"never-withdrawn", keptShape(), refused},
         {"syslog", sequence("identifiers", {0, unlimited}, value("an identifier")), refused}});
}

}  // namespace Agent
