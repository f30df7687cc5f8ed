#pragma once

#include <compare>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "agent/Machines.h"
#include "agent/Tables.h"

namespace Sim {

/// What makes a segment list the same list: its owner, a candidate or a next hop of gRIBI's, and
/// its labels.
struct ListContent {
    SrTePolicy::PolicyId policyId;
    Wirex::BoundedMplsLabelStack labels;
    SrTePolicy::DistinguisherId distinguisherId;

    bool isOfPolicy() const { return distinguisherId.isPolicyList(); }

    friend auto operator<=>(ListContent const&, ListContent const&) = default;
};

/// What history decides and no input tells.
struct Witnesses {
    /// Which of the policies that want a binding SID has it: the one that came first.
    std::map<Wirex::MplsLabel, SrTePolicy::PolicyKey> bindingSidHolder;
    /// The identities of the live lists, which messages name.
    std::map<ListContent, SrTePolicy::SegmentListId> listId;
    /// The policies of tunnels that no policy has any more.
    std::map<Tunnel::TunnelTable::TunnelId, SrTePolicy::PolicyKey> formerOwner;
    /// Whether the agent is yet to look which of these tunnels have lost their counter.
    bool countersArePolled = false;
};

Witnesses witnesses(Agent::SurvivingTables const& tables);

/// One line of text for each row of every output table, sorted. What history decides is replaced by
/// what it stands for: the identity of a list by its labels and its owner, that of a FEC by its
/// policy and its role or by its group; times and versions are left out.
using Rows = std::vector<std::string>;

/// The tables as they are. Of a stopped agent, with `RunTables()`, there are no rows.
Rows observedRows(Agent::Tables const& tables, Agent::RunTables const& run);

/// What the machines of a running agent have written once nothing is pending: a function of the
/// inputs and the witnesses.
namespace Expected {

/// What a label's status record says.
struct Segment {
    Mpls::LfibViaType viaType = Mpls::LfibViaType::unset;
    std::vector<Mpls::LfibMplsVia> vias;  ///< the accepted ones, in index order
    Mpls::LfibExtFecVia extFecVia;        ///< the default one unless it was accepted
    bool overTiLfa = false;
};

/// What a list's status and its tunnel say.
struct Resolution {
    SrTePolicy::SegmentListResolveError error = SrTePolicy::SegmentListResolveError::noError;
    std::vector<Tunnel::TunnelTable::MplsVia> tunnelVias;  ///< none unless it is usable

    bool usable() const { return error == SrTePolicy::SegmentListResolveError::noError; }
};

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
    Wirex::MplsLabel bindingSid() const { return active().entry->bindingSid; }
};

/// All that follows from the inputs, which have to outlive it.
struct Outcome {
    Outcome(Agent::Inputs const& from, Witnesses history);

    Agent::Inputs const& inputs;
    Witnesses const witnesses;

    std::deque<Candidate> candidates;
    std::map<ListContent, List> lists;
    std::map<SrTePolicy::PolicyKey, Policy> policies;
    std::map<Wirex::MplsLabel, SrTePolicy::PolicyKey> bindingSidHolder;

    std::map<Gribi::NextHopId, List const*> nextHops;  ///< those with a list
    /// Those with a FEC, and the members that share their traffic.
    std::map<Gribi::NextHopGroupId, std::vector<Gribi::NextHopWeight>> groups;
    std::map<Wirex::MplsLabel, Gribi::NextHopGroupId> gribiRoutes;

    Rows unwarranted;  ///< witnesses that the inputs do not bear out
};

/// In the words of `observedRows`.
Rows rows(Outcome const& outcome);

/// Identifier and text of a message to the operator.
using Message = std::pair<std::string, std::string>;
/// What an operator would be told if everything were evaluated afresh.
std::set<Message> messages(Outcome const& outcome);
/// The one that says that another application has the binding SID.
Message inUseElsewhere(SrTePolicy::PolicyId const& policyId, Wirex::MplsLabel bindingSid);
/// The one that refuses a binding SID, as another candidate's policy holds it.
Message conflict(SrTePolicy::PolicyId const& refused, SrTePolicy::PolicyId const& holder,
                 Wirex::MplsLabel bindingSid);

// Single rules.

/// The route of `label` that another application has, or null.
Mpls::ConsolidatedLfibRoute const* otherRoute(Agent::Inputs const& inputs, Wirex::MplsLabel label);
/// A label's status record; nothing when it has none.
std::optional<Segment> segment(Outcome const& outcome, Wirex::MplsLabel label);
/// The same of a label that leads where `route`, which may be null, does.
std::optional<Segment> segmentOf(Mpls::ConsolidatedLfibRoute const* route);
/// The resolution of a list of `labels` whose top label's record is `top`.
Resolution resolution(Wirex::BoundedMplsLabelStack const& labels, Segment const& top,
                      Agent::Inputs const& inputs);
/// Resolves `list` over the routes that are known so far.
void resolve(List& list, Outcome const& outcome);
bool canBeInterned(Wirex::BoundedMplsLabelStack const& labels);

/// All that gRIBI has. To be asked first: its routes stand over those of policies.
void takeGribi(Outcome& outcome);

/// The S-BFD settings of a policy, or null.
SrTePolicy::PolicySbfdConfig const* sbfdSettings(Agent::Inputs const& inputs,
                                                 SrTePolicy::PolicyKey const& key);
/// What a session with these settings runs with.
Bfd::Timers sbfdTimers(Agent::Inputs const& inputs, SrTePolicy::PolicySbfdConfig const& settings);
/// Whether a list's session takes it out of use: only a peer that is reported down does.
bool sessionDown(Outcome const& outcome, ListContent const& list);

}  // namespace Expected
}  // namespace Sim
