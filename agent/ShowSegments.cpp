#include "agent/ShowSegments.h"

#include "agent/ScenarioValues.h"
#include "agent/ShowForwarding.h"

namespace Agent {

namespace {

using namespace SrTePolicy;

/// Where a segment's packets go: over a FEC, or over vias. Empty when nowhere.
Json forwardingJson(Host const& host, SegmentViaInfo const& viaInfo) {
    auto row = Json::object();
    auto const& fecVia = viaInfo.extFecVia();
    if (fecVia != Mpls::LfibExtFecVia()) row["fec"] = fecVia.fecId.stringValue();
    for (auto via = viaInfo.mplsVia().begin(); via; via.next()) {
        auto const& [nextHop, intf, operation] = via.value();
        row["vias"].push_back(viaJson(host, nextHop, intf, operation));
    }
    return row;
}

Json segmentJson(Host const& host, SegmentMplsLabel const& segment) {
    auto const status = host.machines()->tables().segmentStatus->status(segment.segmentId());
    auto const viaInfo = status ? status->viaInfo() : nullptr;
    auto const forwarding = viaInfo ? forwardingJson(host, *viaInfo) : Json::object();
    char const* state = status ? "incomplete" : "unresolved";
    if (!forwarding.empty()) {
        state = status->resolvedOverTiLfa() ? "resolved-over-ti-lfa" : "resolved";
    }
    Json row{{"id", segment.segmentId().value()}, {"state", state}};
    row.update(forwarding);
    return row;
}

Json listJson(Host const& host, Export::SegmentList const& list) {
    auto const& key = list.policyId.key;
    Json row;
    if (list.distinguisherId.isPolicyList()) {
        row = {{"policy", policyKeyText(key)},
               {"candidate", host.filePolicies().candidateName(list.policyId)}};
    } else {
        row = {{"next-hop", list.distinguisherId.stringValue()}};
    }
    row["state"] = listStateText(listStatus(host.tables(), key, list.segmentListId));
    row["labels"] = labelsJson(labelsOf(list));
    auto const tunnelId = list.segmentListId.getTunnelId();
    if (host.tables().segmentListTunnels->entry(tunnelId)) row["tunnel"] = tunnelId.stringValue();
    return row;
}

}  // namespace

char const* listStateText(std::optional<SegmentListResolveError> status) {
    switch (status.value_or(SegmentListResolveError::unset)) {
        case SegmentListResolveError::noError: return "usable";
        case SegmentListResolveError::zeroResolvedLabels: return "zero-labels";
        case SegmentListResolveError::exceedsMsd: return "exceeds-msd";
        case SegmentListResolveError::sbfdDown: return "sbfd-down";
        case SegmentListResolveError::backupExceedsMsd: return "backup-exceeds-msd";
        case SegmentListResolveError::unset: break;
    }
    return "unresolved";
}

std::optional<SegmentListResolveError> listStatus(Tables const& tables, PolicyKey const& key,
                                                  SegmentListId id) {
    auto const& status = *tables.segmentListStatus;
    return tables.config->sbfdConfigured(key) ? status.statusWithSbfd(Sbfd::SbfdKey::of(key, id))
                                              : status.status(id);
}

void showSegments(Host const& host, Rows& rows) {
    if (!host.machines()) return;
    auto const& live = *host.machines()->tables().coreDedupTables->notifyingSegmentCollection();
    for (auto row = live.segmentNotifier().begin(); row; row.next()) {
        auto const& segment = static_cast<SegmentMplsLabel const&>(*row.value()->segmentRawPtr());
        auto const label = segment.label().stringValue();
        if (rows.wants(label)) rows.add(label, segmentJson(host, segment));
    }
}

void showSegmentLists(Host const& host, Rows& rows) {
    for (auto row = host.tables().exportedLists->segmentList().begin(); row; row.next()) {
        auto const key = row.key().stringValue();
        if (rows.wants(key)) rows.add(key, listJson(host, row.value()));
    }
}

}  // namespace Agent
