#include "SrTePolicy/SrTePolicySegmentListResolver.h"

#include <algorithm>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Syslog/Syslog.h"

namespace SrTePolicy {
namespace {

using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::TiLfaTunnelTable;
using Tunnel::TunnelTable::TunnelId;
using Wirex::BoundedMplsLabelStack;
using Wirex::BoundedMplsLabelStackResult;
using Wirex::MplsLabel;
using Wirex::MplsLabelAction;
using Wirex::MplsLabelOperation;

Fastlog::Facility traceFacility("SrTePolicySegmentListResolver");

constexpr char recommendedAction[] =
    "The configuration needs to be changed such that the segment list after resolution of the top "
    "label does not exceed the platform's MSD";

Syslog::Message const exceedsMsdMessage(
    "SRTE_RESOLVED_SEGMENT_LIST_INVALID_EXCEEDS_MSD",
    "Resolved segment list (ID %u) exceeds maximum supported hardware label push stack depth (%u), "
    "was configured with labels %s",
    "Segment list post resolution of the top label exceeds the maximum SID depth of the platform's "
    "hardware. ",
    recommendedAction);

Syslog::Message const backupExceedsMsdMessage(
    "SRTE_RESOLVED_SEGMENT_LIST_BACKUP_EXCEEDS_MSD",
    "Resolved segment list (ID %u) for the backup path exceeds the maximum supported hardware "
    "label push stack depth (%u), was configured with labels %s",
    "Backup path of Segment list post resolution of the top label exceeds the maximum SID depth of "
    "the platform's hardware. ",
    recommendedAction);

bool writesLabels(MplsLabelAction action) {
    return action == MplsLabelAction::push || action == MplsLabelAction::swap;
}

// An implicit null is written by swap or push, but never sent.
std::uint8_t sentLabels(MplsLabelOperation const& operation) {
    auto count = operation.stack.size();
    if (writesLabels(operation.action)) {
        for (std::size_t i = 0; i < operation.stack.size(); ++i) {
            if (operation.stack.label(i) != MplsLabel::implicitNull()) continue;
            --count;
            break;
        }
    }
    return static_cast<std::uint8_t>(count);
}

void extend(BoundedMplsLabelStack& stack, BoundedMplsLabelStack const& below) {
    [[maybe_unused]] auto const res = stack.append(below);
    QUOR_ASSERT(res == BoundedMplsLabelStackResult::noError_,
                "res == Wirex::BoundedMplsLabelStackResult::noError_");
}

// What an action does to the labels of a list, in one place. A pop puts none of them on the wire:
// only an adjacency, or a path over TI-LFA, gets an implicit null to stand for "send as it is".
void applyAction(MplsLabelOperation& egress, MplsLabelAction action,
                 BoundedMplsLabelStack const& listLabels, Wirex::IpGenAddr const& nextHop,
                 Wirex::IntfId const& intf, bool overTiLfa) {
    if (writesLabels(action)) {
        SRTE_TRACE(7, "Appending topLabels " << listLabels);
        extend(egress.stack, listLabels);
        return;
    }
    if (action != MplsLabelAction::pop || !egress.stack.empty()) return;
    bool const adjacency = !nextHop.isEmpty() && !intf.isEmpty();
    if (!overTiLfa && !adjacency) return;
    if (adjacency) SRTE_TRACE(7, "Adjacency MplsVia hop " << nextHop << " intfId " << intf);
    extend(egress.stack, {MplsLabel::implicitNull().value()});
}

SegmentListResolveError checkStack(std::size_t size, std::optional<std::uint8_t> msd,
                                   TiLfaLabelSizes sizes) {
    if (msd && *msd < size + sizes.first) return SegmentListResolveError::exceedsMsd;
    if (msd && *msd < size + sizes.second) return SegmentListResolveError::backupExceedsMsd;
    return size == 0 ? SegmentListResolveError::zeroResolvedLabels
                     : SegmentListResolveError::noError;
}

std::string configuredLabels(SegmentList const& list) {
    std::string text = "[ ";
    for (std::uint32_t i = 0; i < list.size(); ++i) {
        text += list.segmentLabel(i).stringValue() += " ";
    }
    return text += "]";
}

}  // namespace

MplsViaSet MplsViaSet::fromString(std::string_view) {
    QUOR_ASSERT(false, "!\"No String constructor for MplsViaSet - has collection\"");
}

void MplsViaSet::viaIs(MplsVia via) {
    auto const place = std::lower_bound(vias_.begin(), vias_.end(), via);
    if (place == vias_.end() || *place != via) vias_.insert(place, std::move(via));
}

void MplsViaSet::viaDel(MplsVia const& via) {
    auto const place = std::lower_bound(vias_.begin(), vias_.end(), via);
    if (place != vias_.end() && *place == via) vias_.erase(place);
}

TiLfaLabelSizes getTilfaTunnelLabelStackSizes(TunnelId tunnelId,
                                              Quor::Ptr<TiLfaTunnelTable const> const& table) {
    TiLfaLabelSizes sizes{0, 0};
    if (auto const* const entry = table->entry(tunnelId)) {
        sizes.first = sentLabels(entry->primaryVia.operation);
        if (entry->backupVia) sizes.second = sentLabels(entry->backupVia->operation);
    }
    SRTE_TRACE(7, "TI-LFA tunnel id: " << tunnelId);
    SRTE_TRACE(7, "primaryLabelSize: " << unsigned{sizes.first}
                                       << " backupLabelSize: " << unsigned{sizes.second});
    return sizes;
}

MplsVia computeEgressMplsVia(MplsLabelOperation const& viaOperation, MplsLabelAction action,
                             BoundedMplsLabelStack const& listLabels,
                             Wirex::IpGenAddr const& nextHop, Wirex::IntfId const& intf,
                             Quor::Ptr<Routing::Hardware::Status const> const& hw,
                             SegmentListResolveError& error, bool overTiLfa,
                             TiLfaLabelSizes sizes) {
    MplsVia egress{nextHop, intf, viaOperation};
    applyAction(egress.operation, action, listLabels, nextHop, intf, overTiLfa);
    if (error == SegmentListResolveError::noError) {
        auto const msd = hw ? hw->maxLabelPushDepth() : std::nullopt;
        error = checkStack(egress.operation.stack.size(), msd, sizes);
    }
    return egress;
}

SegmentListResolver::SegmentListResolver(Quor::Ptr<SegmentStatus const> segmentStatus,
                                         Quor::Ptr<TiLfaTunnelTable const> tilfaTunnelTable,
                                         Quor::Ptr<Routing::Hardware::Status const> routingHwStatus)
    : segmentStatus_(std::move(segmentStatus)),
      tilfaTunnelTable_(std::move(tilfaTunnelTable)),
      routingHwStatus_(std::move(routingHwStatus)) {}

Quor::Ptr<SegmentListResolveResult const> SegmentListResolver::resolveSegmentList(
    SegmentList const& list) const {
    if (list.size() == 0) return nullptr;
    MplsLabelOperation belowTop;
    for (auto index = list.size() - 1; index > 0; --index) {
        belowTop.stack.push(list.segmentLabel(index));
    }
    auto const topStatus = segmentStatus_->status(list.segment(0)->segmentId());
    if (!topStatus) return nullptr;
    // Only the lists of policies may ride on a protected top label.
    if (topStatus->resolvedOverTiLfa() && !list.distinguisherId().isPolicyList()) return nullptr;
    return resolveSegmentListWithTopLabel(topStatus, belowTop, list.segmentLabel(0));
}

Quor::Ptr<SegmentListResolveResult const> SegmentListResolver::resolveSegmentListWithTopLabel(
    Quor::Ptr<SegmentResolve const> const& topStatus, MplsLabelOperation const& belowTop,
    [[maybe_unused]] MplsLabel topLabel) const {
    if (!topStatus->viaInfo()) {
        return Quor::makePtr<SegmentListResolveResult const>(
            MplsViaSet(), Pooltab::Fib::FecId(), SegmentListResolveError::zeroResolvedLabels);
    }
    MplsViaSet vias;
    auto error = SegmentListResolveError::noError;
    auto const egress = [&](Mpls::LfibMplsVia const& via, bool overTiLfa, TiLfaLabelSizes sizes) {
        vias.viaIs(computeEgressMplsVia(via.operation, via.operation.action, belowTop.stack,
                                        via.nextHop, via.intf, routingHwStatus_, error, overTiLfa,
                                        sizes));
    };

    auto const& viaInfo = *topStatus->viaInfo();
    vias.reserve(std::max<std::size_t>(viaInfo.mplsVia().size(), 1));
    SRTE_TRACE(7, "No. of vias " << viaInfo.mplsVia().size());
    for (auto row = viaInfo.mplsVia().begin(); row; row.next()) {
        auto const& via = row.value();
        SRTE_TRACE(7, "IntfId new : " << via.intf);
        bool const overTiLfa = via.intf.isDynamicTunnel();
        egress(via, overTiLfa,
               overTiLfa
                   ? getTilfaTunnelLabelStackSizes(TunnelId(via.intf.number()), tilfaTunnelTable_)
                   : TiLfaLabelSizes{0, 0});
    }

    Pooltab::Fib::FecId externalFecId;
    if (viaInfo.viaType() == Mpls::LfibViaType::extFec) {
        externalFecId = viaInfo.extFecVia().fecId;
        bool const overTiLfa = externalFecId.isTunnel();
        Mpls::LfibMplsVia via;
        via.operation.action = viaInfo.extFecVia().labelAction;
        egress(via, overTiLfa,
               overTiLfa ? getTilfaTunnelLabelStackSizes(externalFecId.fecIdToTunnelId(),
                                                         tilfaTunnelTable_)
                         : TiLfaLabelSizes{0, 0});
    }
    // A list without a single via would be a black hole that looks usable.
    if (!vias) error = SegmentListResolveError::zeroResolvedLabels;
    return Quor::makePtr<SegmentListResolveResult const>(std::move(vias), externalFecId, error);
}

void SegmentListResolver::traceAndSyslogSegmentListResolveError(
    SegmentList const& list, Quor::Ptr<SegmentListResolveResult const> const& res) const {
    QUOR_ASSERT(res, "res");
    auto const msd = [this] {
        return unsigned{routingHwStatus_->maxLabelPushDepth().value_or(std::uint8_t{0})};
    };
    switch (res->error) {
        case SegmentListResolveError::zeroResolvedLabels:
            SRTE_TRACE(7, "0 resolved labels for:" << list);
            break;
        case SegmentListResolveError::exceedsMsd:
            SRTE_TRACE(7, "MSD (" << msd() << ") exceeded for: " << list);
            Syslog::emit(exceedsMsdMessage, list.segmentListId().value(), msd(),
                         configuredLabels(list));
            break;
        case SegmentListResolveError::backupExceedsMsd:
            SRTE_TRACE(7, "MSD (" << msd() << ") exceeded for backup of: " << list);
            Syslog::emit(backupExceedsMsdMessage, list.segmentListId().value(), msd(),
                         configuredLabels(list));
            break;
        case SegmentListResolveError::unset:
        case SegmentListResolveError::noError:
        case SegmentListResolveError::sbfdDown: break;
    }
}

}  // namespace SrTePolicy
