#pragma once

#include <compare>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"
#include "agent/Machines.h"
#include "agent/Tables.h"

namespace Sim {

/// What makes a segment list the same list: its owner, a candidate or a next hop of gRIBI's, and
/// its labels, top first.
struct ListContent {
    SrTePolicy::PolicyId policyId;
    std::vector<Wirex::MplsLabel> labels;
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

    friend bool operator==(Witnesses const&, Witnesses const&) = default;
};

Witnesses witnesses(Agent::SurvivingTables const& tables);

/// One line of text for each row of every output table, sorted. What history decides is replaced by
/// what it stands for: the identity of a list by its labels and its owner, that of a FEC by its
/// policy and its role or by its group; times and versions are left out.
using Rows = std::vector<std::string>;

/// What the machines of a running agent have written once nothing is pending: a function of the
/// inputs and the witnesses. A witness that the inputs do not bear out is a row of its own.
Rows expectedRows(Agent::Inputs const& inputs, Witnesses const& witnesses);

/// The tables as they are, in the same words. Of a stopped agent, with `RunTables()`, there are no
/// rows.
Rows observedRows(Agent::Tables const& tables, Agent::RunTables const& run);

/// Identifier and text of a message to the operator.
using Message = std::pair<std::string, std::string>;

/// What an operator would be told if everything were evaluated afresh.
std::set<Message> expectedMessages(Agent::Inputs const& inputs, Witnesses const& witnesses);

}  // namespace Sim
