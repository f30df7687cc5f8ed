#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Wirex/IpGenAddr.h"
#include "agent/Share.h"
#include "agent/Tables.h"

namespace Agent {

/// How a packet leaves the router.
struct Outcome {
    std::string interface;           ///< empty when the via names none
    Wirex::IpGenAddr nextHop;        ///< of no family for an unnumbered adjacency
    std::vector<std::uint32_t> out;  ///< the labels on the wire, top first

    friend auto operator<=>(Outcome const&, Outcome const&) = default;
};

/// How the traffic splits, in order, each outcome with its share; equal ones are one. What leads
/// over an absent tunnel or into an unknown FEC is lost, so that the shares may sum to less than
/// the whole.
using Outcomes = std::vector<std::pair<Outcome, Share>>;

/// Follows a packet that arrives with `labels` (top first, at least one) through the router's own
/// tables to the wire, as its forwarding plane would. The first label is looked up, the others stay
/// below what is pushed. No outcome at all: the label leads nowhere.
Outcomes tracePacket(Tables const& tables, std::vector<std::uint32_t> const& labels);

/// Likewise a packet without labels that enters a FEC.
Outcomes traceFec(Tables const& tables, Pooltab::Fib::FecId fecId);

}  // namespace Agent
