#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "tests/sim/Model.h"
#include "tests/sim/ModelForwarding.h"

/// The model's rules from the candidates of the sources to the binding SIDs' routes, and from the
/// entries of gRIBI's clients to theirs.
namespace Sim::Expected {

/// A live list.
struct List {
    ListContent content;
    std::optional<Resolution> resolution;  ///< nothing when it cannot be resolved at all
    bool sessionDown = false;

    bool usable() const { return resolution && resolution->usable(); }
};

struct WeightedList {
    List const* list;
    std::uint32_t weight;
};

struct Candidate {
    SrTePolicy::PolicyInputEntry const* entry;
    SrTePolicy::PolicyInvalidReason reason;
    std::vector<WeightedList> lists;   ///< none unless it is valid
    std::vector<WeightedList> usable;  ///< those of them that carry traffic

    SrTePolicy::PolicyId const& id() const { return entry->policyId; }
    bool valid() const { return reason == SrTePolicy::PolicyInvalidReason::usable; }
};

/// A policy with a usable candidate.
struct Policy {
    std::vector<Candidate const*> candidates;  ///< the usable ones, the best one first
    bool refused = false;                      ///< another policy holds the binding SID it wants
    bool published = false;

    Candidate const& active() const { return *candidates.front(); }
};

/// All that follows from the inputs.
struct Outcome {
    std::deque<Candidate> candidates;
    std::map<ListContent, List> lists;
    std::map<SrTePolicy::PolicyKey, Policy> policies;
    std::map<Wirex::MplsLabel, SrTePolicy::PolicyKey> bindingSidHolder;

    std::map<Gribi::NextHopId, List const*> nextHops;  ///< those with a list
    /// Those with a FEC, and the members that share their traffic.
    std::map<Gribi::NextHopGroupId, std::vector<Gribi::NextHopWeight>> groups;
    std::map<Wirex::MplsLabel, Gribi::NextHopGroupId> gribiRoutes;

    Rows unwarranted;  ///< witnesses that nothing bears out
};

Outcome outcome(Agent::Inputs const& inputs, Witnesses const& witnesses);

/// The route of `label` that another application has, or null.
Mpls::ConsolidatedLfibRoute const* otherRoute(Agent::Inputs const& inputs, Wirex::MplsLabel label);

/// A label's status record; nothing when it has none.
std::optional<Segment> segment(Agent::Inputs const& inputs, Outcome const& outcome,
                               Wirex::MplsLabel label);

bool canBeInterned(Wirex::BoundedMplsLabelStack const& labels);

/// Resolves `list` over the routes that are known so far.
void resolve(List& list, Agent::Inputs const& inputs, Outcome const& outcome);

/// All that gRIBI has in an outcome. To be asked first: its routes stand over those of policies.
void takeGribi(Agent::Inputs const& inputs, Outcome& outcome);

/// Whether a list's session takes it out of use: only a peer that is reported down does.
bool sessionDown(Agent::Inputs const& inputs, Witnesses const& witnesses,
                 ListContent const& content);

/// Which unlabelled traffic gets an explicit null, and so a FEC of its own (RFC 9830, 2.4.5).
struct ExplicitNull {
    bool v4;
    bool v6;
};
ExplicitNull explicitNull(SrTePolicy::PolicyKey const& key, SrTePolicy::Enlp enlp);

}  // namespace Sim::Expected
