#pragma once

#include <optional>
#include <span>
#include <vector>

#include "Platform/Mpls/ConsolidatedLfibRoute.h"
#include "Platform/Tunnel/MplsVia.h"
#include "SrTeTypes/SegmentListStatus.h"
#include "agent/Tables.h"

/// The model's rules for segments and segment lists.
namespace Sim::Expected {

/// What a label's status record says.
struct Segment {
    Mpls::LfibViaType viaType = Mpls::LfibViaType::unset;
    std::vector<Mpls::LfibMplsVia> vias;  ///< the accepted ones, in index order
    Mpls::LfibExtFecVia extFecVia;        ///< the default one unless it was accepted
    bool overTiLfa = false;
};

/// Nothing when the label has no record.
std::optional<Segment> segment(Mpls::ConsolidatedLfibRoute const* route);

/// What a list's status and its tunnel say.
struct Resolution {
    SrTePolicy::SegmentListResolveError error = SrTePolicy::SegmentListResolveError::noError;
    std::vector<Tunnel::TunnelTable::MplsVia> tunnelVias;  ///< none unless it is usable

    bool usable() const { return error == SrTePolicy::SegmentListResolveError::noError; }
};

/// The resolution of the list of `labels` whose top label's record is `top`.
Resolution resolution(std::span<Wirex::MplsLabel const> labels, Segment const& top,
                      Agent::Inputs const& inputs);

}  // namespace Sim::Expected
