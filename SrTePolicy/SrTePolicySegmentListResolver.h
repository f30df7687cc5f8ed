#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Routing/HardwareStatus.h"
#include "Platform/Tunnel/TiLfaTunnelTable.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/SegmentListStatus.h"

namespace SrTePolicy {

/// The vias of a resolved list: each different one once, in the order of their content.
class SRTE_EXPORT MplsViaSet {
public:
    using Vias = std::vector<Tunnel::TunnelTable::MplsVia>;

    MplsViaSet() = default;
    /// A set has no text form to read: calling this is a programming error.
    static MplsViaSet fromString(std::string_view text);

    Vias const& via() const { return vias_; }
    void reserve(std::size_t count) { vias_.reserve(count); }
    void viaIs(Tunnel::TunnelTable::MplsVia via);
    void viaDel(Tunnel::TunnelTable::MplsVia const& via);
    void viaDelAll() { vias_.clear(); }

    explicit operator bool() const { return !vias_.empty(); }
    friend bool operator==(MplsViaSet const&, MplsViaSet const&) = default;

private:
    Vias vias_;
};

/// The forwarding of a segment list, or why it has none.
class SRTE_EXPORT SegmentListResolveResult final : public Quor::PtrInterface {
public:
    SegmentListResolveResult(MplsViaSet vias, Pooltab::Fib::FecId fecId,
                             SegmentListResolveError resolveError)
        : mplsViaSet(std::move(vias)), externalFecId(fecId), error(resolveError) {}

    MplsViaSet const mplsViaSet;
    /// The FEC that the top segment resolved over; 0 for none.
    Pooltab::Fib::FecId const externalFecId;
    SegmentListResolveError const error;
};

/// Labels that a TI-LFA tunnel pushes on its primary and on its backup path.
using TiLfaLabelSizes = std::pair<std::uint8_t, std::uint8_t>;

SRTE_EXPORT TiLfaLabelSizes
getTilfaTunnelLabelStackSizes(Tunnel::TunnelTable::TunnelId tunnelId,
                              Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable const> const& table);

/// One egress via of a list: the via's own labels, and those of the list below its top where the
/// action writes labels. An `error` that is still `noError` becomes what the depth of the hardware,
/// or an empty stack, says. A null `hw` and one without a depth both leave the depth unchecked.
SRTE_EXPORT Tunnel::TunnelTable::MplsVia computeEgressMplsVia(
    Wirex::MplsLabelOperation const& viaOperation, Wirex::MplsLabelAction action,
    Wirex::BoundedMplsLabelStack const& listLabels, Wirex::IpGenAddr const& nextHop,
    Wirex::IntfId const& intf, Quor::Ptr<Routing::Hardware::Status const> const& hw,
    SegmentListResolveError& error, bool overTiLfa, TiLfaLabelSizes sizes);

/// Turns an interned list into forwarding: the top segment's resolution gives the egress vias, the
/// labels below are pushed under what each via imposes, and the result is checked against the
/// maximum SID depth (RFC 8491).
class SRTE_EXPORT SegmentListResolver {
public:
    SegmentListResolver(Quor::Ptr<SegmentStatus const> segmentStatus,
                        Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable const> tilfaTunnelTable,
                        Quor::Ptr<Routing::Hardware::Status const> routingHwStatus);

    /// Null when the list cannot be resolved at all.
    Quor::Ptr<SegmentListResolveResult const> resolveSegmentList(SegmentList const& list) const;
    Quor::Ptr<SegmentListResolveResult const> resolveSegmentListWithTopLabel(
        Quor::Ptr<SegmentResolve const> const& topStatus, Wirex::MplsLabelOperation const& belowTop,
        Wirex::MplsLabel topLabel) const;

    /// Traces an error, and logs one that exceeds the depth. A null `res` is a programming error.
    void traceAndSyslogSegmentListResolveError(
        SegmentList const& list, Quor::Ptr<SegmentListResolveResult const> const& res) const;

private:
    Quor::Ptr<SegmentStatus const> const segmentStatus_;
    Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable const> const tilfaTunnelTable_;
    Quor::Ptr<Routing::Hardware::Status const> const routingHwStatus_;
};

}  // namespace SrTePolicy
