#include "agent/Tables.h"

#include <algorithm>

namespace Agent {

namespace {

using SrTePolicy::SegmentListId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

/// Grows to the largest identity that it is shown.
class Largest {
public:
    void include(SegmentListId id) { largest_ = std::max(largest_, id); }
    void include(TunnelId tunnelId) {
        if (tunnelId.type() != TunnelType::srTeSegmentList) return;
        include(segmentListOf(tunnelId));
    }
    SegmentListId value() const { return largest_; }

private:
    SegmentListId largest_;
};

void includeLists(Largest& largest, SurvivingTables const& tables) {
    auto const& status = *tables.segmentListStatus;
    for (auto row = tables.exportedLists->segmentList().begin(); row; row.next()) {
        largest.include(row.key());
    }
    for (auto row = status.status().begin(); row; row.next()) largest.include(row.key());
    for (auto row = status.statusWithSbfd().begin(); row; row.next()) {
        largest.include(row.key().segmentListId);
    }
}

void includePolicies(Largest& largest, SurvivingTables const& tables) {
    for (auto row = tables.selectionInput->policyIdEntry().begin(); row; row.next()) {
        for (auto const& list : row.value().wSegmentList) largest.include(list.segmentListId);
    }
    for (auto row = tables.ecPolicy->policy().begin(); row; row.next()) {
        for (auto const& candidate : row.value().candidates()) {
            for (auto const& tunnel : candidate.wTunnelId) largest.include(tunnel.tunnelId);
        }
    }
}

void includeTunnels(Largest& largest, Tables const& tables) {
    for (auto row = tables.segmentListTunnels->entry().begin(); row; row.next()) {
        largest.include(row.key());
    }
    for (auto row = tables.forwarding->fec().begin(); row; row.next()) {
        for (auto const& via : row.value().vias()) largest.include(via.tunnelId());
    }
    for (auto row = tables.tunnelMap->entry().begin(); row; row.next()) largest.include(row.key());
    auto const& counters = tables.tunnelCounters->tunnelCounter();
    for (auto row = counters.begin(); row; row.next()) largest.include(row.key());
    auto const& nextHops = tables.nextHopTunnels->nhToTunnelMap();
    for (auto row = nextHops.begin(); row; row.next()) largest.include(row.value());
}

void includeSessions(Largest& largest, Tables const& tables) {
    for (auto row = tables.sbfdInputConfig->config().begin(); row; row.next()) {
        largest.include(row.key().segmentListId);
    }
    for (auto row = tables.bfdSessions->session().begin(); row; row.next()) {
        largest.include(row.key().peer.tunnelId);
    }
    for (auto row = tables.bfdPeers->peer().begin(); row; row.next()) {
        largest.include(row.key().tunnelId);
    }
}

}  // namespace

SegmentListId largestSegmentListId(Tables const& tables) {
    Largest largest;
    includeLists(largest, tables);
    includePolicies(largest, tables);
    includeTunnels(largest, tables);
    includeSessions(largest, tables);
    return largest.value();
}

Bfd::AppPeer sbfdSession(SegmentListId id, Bfd::BfdDiscriminator remoteDiscriminator) {
    static Bfd::AppName const application(bfdApplication);
    static L3::VrfName const vrf(bfdVrf);
    return {application, {vrf, id.getTunnelId(), remoteDiscriminator}};
}

SegmentListId segmentListOf(TunnelId tunnelId) {
    return SegmentListId(static_cast<std::uint32_t>(tunnelId.index()));
}

std::optional<SegmentListId> segmentListId(SurvivingTables const& tables,
                                           SrTePolicy::PolicyId const& candidate,
                                           Wirex::BoundedMplsLabelStack const& labels) {
    auto const* const entry = tables.selectionInput->policyIdEntry(candidate);
    if (!entry) return std::nullopt;
    for (auto const& [id, weight] : entry->wSegmentList) {
        auto const* const list = tables.exportedLists->segmentList(id);
        if (list && labelsOf(*list) == labels) return id;
    }
    return std::nullopt;
}

Wirex::BoundedMplsLabelStack labelsOf(SrTePolicy::Export::SegmentList const& list) {
    Wirex::BoundedMplsLabelStack labels;
    for (std::uint32_t i = 0; i < list.size; ++i) labels.append(list.segment[i]);
    return labels;
}

void clearPublishOutputs(SurvivingTables const& tables) {
    tables.policyStatus->policyStatusEntryDelAll();
    tables.policyTunnels->entryDelAll();
    for (auto row = tables.forwarding->fec().begin(); row; row.next()) {
        if (policyFecIds.has(row.key())) tables.forwarding->fecDel(row.key());
    }
    tables.policyStatus->fecIdToPolicyKeyDelAll();
}

}  // namespace Agent
