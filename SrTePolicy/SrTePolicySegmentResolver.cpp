#include "SrTePolicy/SrTePolicySegmentResolver.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Tunnel/TunnelId.h"

namespace SrTePolicy {
namespace {

using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

Fastlog::Facility traceFacility("SrTePolicySegmentResolver");

// How a via may be used: as it is, over TI-LFA, or not at all.
enum class ViaUse { plain, overTiLfa, none };

ViaUse useOf(Mpls::LfibMplsVia const& via, Wirex::MplsLabel topLabel) {
    if (via == Mpls::LfibMplsVia()) {
        SRTE_TRACE(8, "Via unavailable for label " << topLabel);
        return ViaUse::none;
    }
    if (via.intf.isNextHopGroup()) {
        SRTE_TRACE(8, "Skipping resolution via NHG " << topLabel);
        return ViaUse::none;
    }
    if (!via.intf.isDynamicTunnel()) return ViaUse::plain;
    if (TunnelId(via.intf.number()).type() == TunnelType::tiLfa) return ViaUse::overTiLfa;
    SRTE_TRACE(8, "Skipping resolution via dynamic tunnel " << topLabel);
    return ViaUse::none;
}

}  // namespace

void SegmentViaInfo::mplsViaIs(Mpls::LfibViaKey const& key, Mpls::LfibMplsVia const& via) {
    auto const [stored, inserted] = mplsVia_.tryEmplace(key, via);
    if (!inserted) *stored = via;
}

std::string SegmentViaInfo::stringValue() const {
    auto text = "ViaType: " + std::to_string(static_cast<std::uint32_t>(viaType_));
    if (viaType_ == Mpls::LfibViaType::extFec) {
        return text + ", Ext-FEC: " + extFecVia_.fecId.stringValue() +
               ", action: " + std::to_string(static_cast<std::uint32_t>(extFecVia_.labelAction));
    }
    if (viaType_ != Mpls::LfibViaType::mpls) return text;
    text += ", Vias: ";
    bool first = true;
    for (auto via = mplsVia_.begin(); via; via.next()) {
        if (!std::exchange(first, false)) text += ",";
        text += " nh: " + via.value().nextHop.stringValue() +
                " intf: " + via.value().intf.stringValue() +
                " stack: " + via.value().operation.stringValue();
    }
    return text;
}

SegmentResolver::SegmentResolver(Quor::Ptr<Mpls::LfibStatus const> lfib) : lfib_(std::move(lfib)) {}

Quor::Ptr<SegmentResolveResult const> SegmentResolver::resolveSegmentMpls(
    Wirex::MplsLabel label) const {
    auto const result = Quor::makePtr<SegmentResolveResult>();
    auto const route = lfib_->route(Mpls::RouteKey::fromLabel(label));
    if (route == Mpls::LfibRoute()) {
        SRTE_TRACE(8, "LFIB route doesnt exist for label " << label);
        return result;
    }
    auto const topLabel = route.key.topLabel();
    if (route.type == Mpls::LfibRouteType::pseudowire) {
        SRTE_TRACE(8, "Skipping resolution via pseudowire for label " << label);
        return result;
    }
    auto const viaSet = lfib_->viaSet(route.viaSetKey);
    if (viaSet == Mpls::LfibViaSet()) {
        SRTE_TRACE(8, "ViaSet doesnt exist for LFIB route " << topLabel);
        return result;
    }
    auto const viaInfo = segmentViaInfoFactory(viaSet.type);
    result->viaInfo = viaInfo;
    if (viaSet.type == Mpls::LfibViaType::mpls) {
        result->state = updateViaFromMplsRoute(route, viaSet, viaInfo);
        if (viaInfo->mplsVia().empty()) {
            SRTE_TRACE(8, "Vias are empty for LFIB route " << topLabel);
            result->state = SegmentResolveState::incomplete;
        }
    } else if (viaSet.type == Mpls::LfibViaType::extFec) {
        result->state = updateViaFromExtFecRoute(route, *viaInfo);
    }
    return result;
}

SegmentResolveState SegmentResolver::updateViaFromMplsRoute(
    Mpls::LfibRoute const& route, Mpls::LfibViaSet const& viaSet,
    Quor::Ptr<SegmentViaInfo> const& viaInfo) const {
    auto state = SegmentResolveState::resolved;
    for (std::uint32_t i = 0; i < viaSet.count; ++i) {
        auto const key = viaSet.key(i);
        auto const& via = lfib_->mplsVia(key);
        auto const use = useOf(via, route.key.topLabel());
        if (use == ViaUse::none) continue;
        if (use == ViaUse::overTiLfa) state = SegmentResolveState::resolvedOverTiLfa;
        viaInfo->mplsViaIs(key, via);
    }
    return state;
}

// A FEC of this library (a policy's or a gRIBI group's) is refused like any unknown one: policies
// never recurse over their own outputs.
SegmentResolveState SegmentResolver::updateViaFromExtFecRoute(Mpls::LfibRoute const& route,
                                                              SegmentViaInfo& viaInfo) const {
    auto const& via = lfib_->extFecVia(route.viaSetKey);
    if (via == Mpls::LfibExtFecVia()) return SegmentResolveState::incomplete;
    auto const adjType = via.fecId.adjType();
    if (via.fecId.isPlain()) {
        viaInfo.extFecViaIs(via);
        return SegmentResolveState::resolved;
    }
    if (!via.fecId.isTunnel()) {
        SRTE_TRACE(8, "Unresolvable adjacency type: " << static_cast<std::uint32_t>(adjType));
        return SegmentResolveState::unresolved;
    }
    if (via.fecId.fecIdToTunnelId().type() != TunnelType::tiLfa) {
        SRTE_TRACE(8, "Skipping resolution via dynamic tunnel " << route.key.topLabel());
        return SegmentResolveState::unresolved;
    }
    viaInfo.extFecViaIs(via);
    return SegmentResolveState::resolvedOverTiLfa;
}

Quor::Ptr<SegmentViaInfo> segmentViaInfoFactory(Mpls::LfibViaType viaType) {
    return Quor::makePtr<SegmentViaInfo>(viaType);
}

Quor::Ptr<SegmentResolver> segmentResolverFactory(Quor::Ptr<Mpls::LfibStatus const> lfib) {
    return Quor::makePtr<SegmentResolver>(std::move(lfib));
}

}  // namespace SrTePolicy
