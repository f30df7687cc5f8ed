#pragma once

#include <string>

#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"

namespace SrTePolicy {

/// What the LFIB says about a label.
enum class SegmentResolveState {
    resolved,          ///< at least one usable via, none of them over TI-LFA
    unresolved,        ///< no route that a segment could follow
    incomplete,        ///< a route without a usable via
    resolvedOverTiLfa  ///< at least one usable via leads through a TI-LFA tunnel
};

/// The usable forwarding of one segment.
class SRTE_EXPORT SegmentViaInfo final : public Quor::PtrInterface {
public:
    using MplsVias = Quor::OrderedMap<Mpls::LfibViaKey, Mpls::LfibMplsVia>;

    explicit SegmentViaInfo(Mpls::LfibViaType viaType) : viaType_(viaType) {}

    Mpls::LfibViaType viaType() const { return viaType_; }

    /// Of the external-FEC type: the route's FEC via; the default one otherwise.
    Mpls::LfibExtFecVia const& extFecVia() const { return extFecVia_; }
    void extFecViaIs(Mpls::LfibExtFecVia const& via) { extFecVia_ = via; }

    /// Of the MPLS type: the accepted vias in index order.
    MplsVias const& mplsVia() const { return mplsVia_; }
    void mplsViaIs(Mpls::LfibViaKey const& key, Mpls::LfibMplsVia const& via);
    void mplsViaDel(Mpls::LfibViaKey const& key) { mplsVia_.erase(key); }
    void mplsViaDelAll() { mplsVia_.clear(); }

    std::string stringValue() const;

private:
    Mpls::LfibViaType const viaType_;
    Mpls::LfibExtFecVia extFecVia_;
    MplsVias mplsVia_;
};

SRTE_EXPORT Quor::Ptr<SegmentViaInfo> segmentViaInfoFactory(Mpls::LfibViaType viaType);

struct SRTE_EXPORT SegmentResolveResult final : Quor::PtrInterface {
    SegmentResolveState state = SegmentResolveState::unresolved;
    Quor::Ptr<SegmentViaInfo const> viaInfo;  ///< null until a via set was found
};

/// Answers over which paths this router sends a packet whose top label is a segment's: a pure
/// function of the LFIB at the time of the call.
class SRTE_EXPORT SegmentResolver final : public Quor::PtrInterface {
public:
    explicit SegmentResolver(Quor::Ptr<Mpls::LfibStatus const> lfib);

    Quor::Ptr<SegmentResolveResult const> resolveSegmentMpls(Wirex::MplsLabel label) const;

    /// Copies the usable vias of the set into `viaInfo`. `resolved` or `resolvedOverTiLfa`, also
    /// when nothing was usable.
    SegmentResolveState updateViaFromMplsRoute(Mpls::LfibRoute const& route,
                                               Mpls::LfibViaSet const& viaSet,
                                               Quor::Ptr<SegmentViaInfo> const& viaInfo) const;

private:
    SegmentResolveState updateViaFromExtFecRoute(Mpls::LfibRoute const& route,
                                                 SegmentViaInfo& viaInfo) const;

    Quor::Ptr<Mpls::LfibStatus const> const lfib_;
};

SRTE_EXPORT Quor::Ptr<SegmentResolver> segmentResolverFactory(
    Quor::Ptr<Mpls::LfibStatus const> lfib);

}  // namespace SrTePolicy
